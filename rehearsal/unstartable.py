"""Why a script cannot be started, in words that follow its name."""

import os
import re
from pathlib import Path


def reason(script: Path) -> str:
    """What is wrong with a script that the instrument cannot start."""
    if not script.exists():
        return "is missing"
    if not script.is_file():
        return "is no file"
    if not os.access(script, os.X_OK) and not script.stat().st_mode & 0o111:
        return "is not executable"
    with script.open("rb") as file:
        first = file.readline(256)
    words = interpreter(first)
    if not words:
        return "is empty" if not first else "does not begin with #! and an interpreter"
    if words[-1].endswith("\r"):
        return f'has Windows line ends, so its interpreter "{words[0].rstrip(chr(13))}\\r" is not there'
    return f"names the interpreter {words[0]}, which is not there"


def interpreter(first: bytes) -> list[str]:
    """The interpreter that a first line names and its argument, as the kernel takes them apart."""
    if not first.startswith(b"#!"):
        return []
    line = first[2:].removesuffix(b"\n").strip(b" \t")
    return [os.fsdecode(word) for word in re.split(rb"[ \t]+", line, maxsplit=1) if word]
