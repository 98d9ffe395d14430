"""The file tree that is an instrument's root directory, read from outside."""

import hashlib
import os
import stat
from collections.abc import Sequence
from pathlib import Path

from rehearsal.holdings import NO_FILE, UNREADABLE, Holdings

REBOOTED = "run/rebooted"  # a line for each reboot


def fingerprint(path: Path) -> str:
    """A file's permissions and content, or where a link points to."""
    status = path.lstat()
    if stat.S_ISLNK(status.st_mode):
        return f"link to {os.readlink(path)}"
    if not stat.S_ISREG(status.st_mode):
        return NO_FILE
    try:
        with path.open("rb") as file:
            content = hashlib.file_digest(file, "sha256").hexdigest()
    except OSError as error:
        content = f"{UNREADABLE}: {error.strerror}"
    return f"{stat.S_IMODE(status.st_mode):o} {content}"


def files_below(path: Path) -> list[Path]:
    """All that is no directory, or a closed one, below a directory or the path itself."""
    if path.is_symlink() or not path.is_dir():
        return [path] if os.path.lexists(path) else []
    try:
        entries = sorted(path.iterdir())
    except PermissionError:
        return [path]
    return [file for entry in entries for file in files_below(entry)]


class Tree:
    """An instrument's files; what the instrument calls "/" is `root`."""

    def __init__(self, root: Path):
        self.root = root

    def marks(self, patterns: Sequence[str]) -> dict[str, str]:
        return {
            str(file.relative_to(self.root)): fingerprint(file)
            for pattern in patterns
            for top in self.root.glob(pattern)
            for file in files_below(top)
        }

    def read(self, path: str, length: int = -1) -> bytes | None:
        file = self.root / path
        try:
            if not stat.S_ISREG(file.lstat().st_mode):
                return None  # it might never end
            with file.open("rb") as opened:
                return opened.read(length)
        except OSError:
            return None

    def link(self, path: str) -> str:
        file = self.root / path
        return os.readlink(file) if file.is_symlink() else ""

    def reboots(self) -> int:
        return len((self.read(REBOOTED) or b"").splitlines())


    def holdings(self) -> Holdings:
        return Holdings(self, self.reboots())
