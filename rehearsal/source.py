"""Where an update comes from, a stick or a downloaded archive: what it holds, and whether it is whole.

Read from the original, which the instrument never sees, so what a script does to its copy hides nothing.
"""

import hashlib
import math
import zipfile
from pathlib import Path

from rehearsal.description import Description
from rehearsal.reader import ours

PROGRAM_BOOTLOADER = "V4.05.00"


def parse_manifest(text: str) -> dict[str, str]:
    """A manifest's values; a key given twice has its last one."""
    return dict(line.split("=", 1) for line in text.replace("\r", "").split("\n") if "=" in line)


class Source:
    """The files of an update: a directory that holds "update", or an archive of that directory's files."""

    def __init__(self, path: Path, description: Description | None = None):
        self.path = path
        self._description = description or ours()

    def read(self, name: str) -> bytes | None:
        """A file of the update; None if there is none, or if the archive is damaged."""
        if self.path.is_dir():
            file = self.path / "update" / name
            return file.read_bytes() if file.is_file() else None
        try:
            with zipfile.ZipFile(self.path) as archive:
                return archive.read(name)
        except (KeyError, zipfile.BadZipFile, EOFError):
            return None

    def manifest(self) -> dict[str, str]:
        name = self._description.update.manifest
        return parse_manifest(((self.read(name) if name else None) or b"").decode(errors="replace"))

    def flaw(self) -> str:
        """Why an instrument has to reject this update; empty if it has no reason to."""
        update = self._description.update
        bootloader = self.manifest().get(update.bootloader_key, "")
        if update.bootloader_key and bootloader != PROGRAM_BOOTLOADER:
            return f'it is for bootloader "{bootloader}", not {PROGRAM_BOOTLOADER}'
        listed = self._listed_sums()
        brought = [name for name in update.more if self.read(name) is not None]
        for name in filter(None, (update.manifest, *self._description.images, *brought)):
            content = self.read(name)
            if not content:
                return f"{name} is missing"
            if update.sums and listed.get(name) != hashlib.sha256(content).hexdigest():
                return f"{name} has not the sum listed for it"
            if len(content) > self.room_for(name):
                return f"{name} does not fit: {len(content)} bytes, {self.room_for(name)} in its partition"
        return ""

    def room_for(self, name: str) -> float:
        """How many bytes the smallest partition has that a file of the update goes to."""
        slots = self._description.images.get(name, {})
        return min((self._description.partitions[device].size for device in slots), default=math.inf)

    def overrides(self) -> dict[str, bytes]:
        """The files of the OVERRIDE directory by name, without their sums."""
        directory = self.path / "update/OVERRIDE"
        files = directory.iterdir() if directory.is_dir() else ()
        return {
            file.name: file.read_bytes()
            for file in files
            if file.is_file() and not file.is_symlink() and file.name not in self._lists()
        }

    def _lists(self) -> tuple[str, str]:
        """The list of sums beside files, and its signature."""
        sums = self._description.update.sums
        return sums, sums + self._description.signature.suffix

    def _listed_sums(self) -> dict[str, str]:
        sums = self._description.update.sums
        text = ((self.read(sums) if sums else None) or b"").decode(errors="replace")
        rows = (line.split(None, 1) for line in text.splitlines())
        return {row[1].strip().lstrip("*"): row[0].lower() for row in rows if len(row) == 2}
