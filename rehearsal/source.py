"""Where an update comes from, a stick or a downloaded archive: what it holds, and whether it is whole.

Read from the original, which the instrument never sees, so what a script does to its copy hides nothing.
"""

import hashlib
import math
import os
import zipfile
from collections.abc import Iterator, Sequence
from pathlib import Path

from rehearsal import signature
from rehearsal.description import Description
from rehearsal.reader import ours

PROGRAM_BOOTLOADER = "V4.05.00"
LARGEST = 1 << 30  # bytes; what is larger is no part of an update, and is not read
LARGEST_LIST = 1 << 20
DOWNLOAD = "/mnt/recovery/download/update.zip"  # where a description does not say it


def parse_manifest(text: str) -> dict[str, str]:
    """A manifest's values; a key given twice has its last one."""
    return dict(line.split("=", 1) for line in text.replace("\r", "").split("\n") if "=" in line)


def download_files(archive: Path, description: Description) -> Iterator[tuple[Path, str]]:
    """An archive and, if there is one, its signature, each with its place on the instrument without the first slash."""
    yield archive, (description.update.download or DOWNLOAD).lstrip("/")
    beside = archive.with_name(f"{archive.name}{signature.BESIDE}")
    if description.signature.download_signature and beside.is_file():
        yield beside, description.signature.download_signature.lstrip("/")


class Source:
    """The files of an update: a directory that holds "update", or an archive of that directory's files."""

    def __init__(self, path: Path, description: Description | None = None):
        self.path = path
        self._description = description or ours()

    def read(self, name: str) -> bytes | None:
        """A file of the update; None if there is none that an instrument may read, or if the archive is damaged."""
        if self.path.is_dir():
            file = self.path / "update" / name
            plain = file.is_file() and not file.is_symlink() and not file.parent.is_symlink()
            return file.read_bytes() if plain and file.stat().st_size <= LARGEST else None
        try:
            with zipfile.ZipFile(self.path) as archive:
                return archive.read(name) if archive.getinfo(name).file_size <= LARGEST else None
        except (KeyError, zipfile.BadZipFile, EOFError):
            return None

    @property
    def instead(self) -> Path | None:
        """The stick that takes this one's place once it has been checked, if it is one of those that do so."""
        other = self.path.with_name(f"{self.path.name}.instead")
        return other if other.is_dir() else None

    @property
    def takes_a_log(self) -> bool:
        """Whether the stick has room for a log: nothing is logged through a link, or into anything but a plain file."""
        log = self.path / self._description.logs.update.removeprefix("/media/usb0/").lstrip("/")
        return not log.parent.is_symlink() and (not os.path.lexists(log) or log.is_file() and not log.is_symlink())

    def manifest(self) -> dict[str, str]:
        name = self._description.update.manifest
        return parse_manifest(((self.read(name) if name else None) or b"").decode(errors="replace"))

    def flaw(self, keys: Sequence[bytes] = (), any_bootloader: bool = False) -> str:
        """Why an instrument that knows these keys has to reject this update; empty if it has no reason to."""
        if keys and (flaw := self._flaw_of_signature(keys)):
            return flaw
        update = self._description.update
        bootloader = self.manifest().get(update.bootloader_key, "")
        if update.bootloader_key and bootloader != PROGRAM_BOOTLOADER and not any_bootloader:
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
        """The files of the OVERRIDE directory by name, without their sums and signature."""
        directory = self.path / "update/OVERRIDE"
        files = directory.iterdir() if directory.is_dir() else ()
        return {
            file.name: file.read_bytes()
            for file in files
            if file.is_file() and not file.is_symlink() and file.name not in self._no_overrides()
        }

    def _no_overrides(self) -> tuple[str, ...]:
        told = self._description
        return told.update.sums, told.signature.list, told.signature.list_signature

    def _flaw_of_signature(self, keys: Sequence[bytes]) -> str:
        told, update = self._description.signature, self.path / "update"
        if self.path.is_dir():
            return signature.flaw_of(update / told.list, update / told.list_signature, keys)
        return signature.flaw_of(self.path, self.path.with_name(f"{self.path.name}{signature.BESIDE}"), keys)

    def _listed_sums(self) -> dict[str, str]:
        sums = self._description.update.sums
        text = ((self.read(sums) if sums else None) or b"")[:LARGEST_LIST].decode(errors="replace")
        rows = (line.split(None, 1) for line in text.splitlines())
        return {row[1].strip().lstrip("*"): row[0].lower() for row in rows if len(row) == 2}
