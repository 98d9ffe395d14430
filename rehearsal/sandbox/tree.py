"""The file tree that is an instrument's root directory, read from outside."""

import hashlib
import os
import stat
import time
from collections.abc import Sequence
from pathlib import Path

from rehearsal.description import Description
from rehearsal.holdings import NO_FILE, UNREADABLE, Holdings
from rehearsal.reader import ours

CLOCK_STEP = 20_000_000  # nanoseconds in which two changes of a file may bear the same time
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
    except FileNotFoundError:
        return []  # it has just gone
    return [file for entry in entries for file in files_below(entry)]


class Tree:
    """An instrument's files; what the instrument calls "/" is `root`."""

    def __init__(self, root: Path, description: Description | None = None):
        self.root = root
        self.description = description or ours()
        self._known: dict[Path, tuple[tuple[int, ...], str]] = {}  # marks, and the state that they are of

    def marks(self, patterns: Sequence[str]) -> dict[str, str]:
        files = {file for pattern in patterns for top in self.root.glob(pattern) for file in files_below(top)}
        marks = {str(file.relative_to(self.root)): self._mark(file) for file in sorted(files)}
        return {path: mark for path, mark in marks.items() if mark}

    def _mark(self, file: Path) -> str:
        """The mark of a file, taken anew only where it may have changed; empty if it has just gone."""
        try:
            now = file.lstat()
            state = (now.st_dev, now.st_ino, now.st_size, now.st_mode, now.st_mtime_ns, now.st_ctime_ns)
            known = self._known.get(file)
            if known and known[0] == state:
                return known[1]
            mark = fingerprint(file)
        except FileNotFoundError:
            return ""
        if now.st_ctime_ns < time.time_ns() - CLOCK_STEP:  # later changes will be seen in its time
            self._known[file] = (state, mark)
        return mark

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
        return Holdings(self, self.reboots(), self.description)
