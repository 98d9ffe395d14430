"""Reads the program's includes against the table of rooms in docs/design.md."""

import re
from pathlib import Path

ROW = re.compile(r"^\| `(\w+)/` \|[^\n]*\|([^|\n]*)\|$", re.MULTILINE)
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def read_table(document: str) -> dict[str, set[str]]:
    """The rooms, and which others each may include."""
    return {room: set(re.findall(r"`(\w+)/`", allowed)) for room, allowed in ROW.findall(document)}


def wrong_includes(top: Path, table: dict[str, set[str]]) -> list[str]:
    """Every include that leads from a room into one that the table does not allow it."""
    wrong = []
    for room, allowed in table.items():
        for file in sorted((top / room).rglob("*")):
            if file.suffix not in (".h", ".cpp"):
                continue
            for include in INCLUDE.findall(file.read_text()):
                folder, slash, _ = include.partition("/")
                if slash and folder not in allowed | {room}:
                    wrong.append(f"{file.relative_to(top)} includes {include}")
    return wrong
