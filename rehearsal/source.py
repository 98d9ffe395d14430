"""Where an update comes from, a stick or a downloaded archive: what it holds, and whether it is whole.

Read from the original, which the instrument never sees, so what a script does to its copy hides nothing.
"""

import hashlib
import os
import zipfile
from collections.abc import Sequence
from pathlib import Path

from rehearsal import signature

IMAGES = ("u-boot.img", "kernel.img", "recovery-kernel.img", "recoveryfs.img", "rootfs.img")
PROGRAM_BOOTLOADER = "V4.05.00"
LARGEST = 1 << 30  # bytes; what is larger is no part of an update, and is not read
LARGEST_LIST = 1 << 20
SUMS = "sha256sums.txt"
NO_OVERRIDES = (SUMS, f"{SUMS}.minisig")


def parse_manifest(text: str) -> dict[str, str]:
    """A manifest's values; a key given twice has its last one."""
    return dict(line.split("=", 1) for line in text.replace("\r", "").split("\n") if "=" in line)


class Source:
    """The files of an update: a directory that holds "update", or an archive of that directory's files."""

    def __init__(self, path: Path):
        self.path = path

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
        log = self.path / "update/update.log"
        return not log.parent.is_symlink() and (not os.path.lexists(log) or log.is_file() and not log.is_symlink())

    def manifest(self) -> dict[str, str]:
        return parse_manifest((self.read("manifest.txt") or b"").decode(errors="replace"))

    def flaw(self, keys: Sequence[bytes] = (), any_bootloader: bool = False) -> str:
        """Why an instrument that knows these keys has to reject this update; empty if it has no reason to."""
        sums = self.path / "update" / SUMS if self.path.is_dir() else self.path
        if keys and (flaw := signature.flaw_of(sums, keys)):
            return flaw
        bootloader = self.manifest().get("image_bootloader_version", "")
        if bootloader != PROGRAM_BOOTLOADER and not any_bootloader:
            return f"it is for bootloader \"{bootloader}\", not {PROGRAM_BOOTLOADER}"
        listed = self._listed_sums()
        optional = ("post-update.sh",) if self.read("post-update.sh") is not None else ()
        for name in ("manifest.txt", *IMAGES, *optional):
            content = self.read(name)
            if not content:
                return f"{name} is missing"
            if listed.get(name) != hashlib.sha256(content).hexdigest():
                return f"{name} has not the sum listed for it"
        return ""

    def overrides(self) -> dict[str, bytes]:
        """The files of the OVERRIDE directory by name, without their sums and signature."""
        directory = self.path / "update/OVERRIDE"
        files = directory.iterdir() if directory.is_dir() else ()
        return {file.name: file.read_bytes() for file in files
                if file.is_file() and not file.is_symlink() and file.name not in NO_OVERRIDES}

    def _listed_sums(self) -> dict[str, str]:
        text = (self.read(SUMS) or b"")[:LARGEST_LIST].decode(errors="replace")
        rows = (line.split(None, 1) for line in text.splitlines())
        return {row[1].strip().lstrip("*"): row[0].lower() for row in rows if len(row) == 2}
