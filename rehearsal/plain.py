"""Text that comes from scripts, made harmless for whoever reads it: nothing in it moves a cursor, hides or reverses."""

CONTROLS = {code: f"\\x{code:02x}" for code in (*range(0x20), *range(0x7F, 0xA0)) if chr(code) not in "\n\t"}
TURNING = (0x061C, 0x200E, 0x200F, *range(0x2028, 0x202F), *range(0x2066, 0x206A), 0xFEFF)
TURNS = {code: f"\\u{code:04x}" for code in TURNING}


def plain(text: str) -> str:
    """The same with escapes for control characters, for what turns text around, and for what is not UTF-8."""
    return text.translate(CONTROLS | TURNS).encode(errors="backslashreplace").decode()
