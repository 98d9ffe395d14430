"""Where an update comes from, a stick or a downloaded archive: what it holds, and whether it is whole.

Read from the original, which the instrument never sees, so what a script does to its copy hides nothing.
"""

import hashlib
import zipfile
from pathlib import Path

IMAGES = ("u-boot.img", "kernel.img", "recovery-kernel.img", "recoveryfs.img", "rootfs.img")
PROGRAM_BOOTLOADER = "V4.05.00"


def parse_manifest(text: str) -> dict[str, str]:
    """A manifest's values; a key given twice has its last one."""
    return dict(line.split("=", 1) for line in text.replace("\r", "").split("\n") if "=" in line)


class Source:
    """The files of an update: a directory that holds "update", or an archive of that directory's files."""

    def __init__(self, path: Path):
        self.path = path

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
        return parse_manifest((self.read("manifest.txt") or b"").decode(errors="replace"))

    def flaw(self) -> str:
        """Why an instrument has to reject this update; empty if it has no reason to."""
        bootloader = self.manifest().get("image_bootloader_version", "")
        if bootloader != PROGRAM_BOOTLOADER:
            return f'it is for bootloader "{bootloader}", not {PROGRAM_BOOTLOADER}'
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
        """The files of the OVERRIDE directory by name, without their sums."""
        directory = self.path / "update/OVERRIDE"
        files = directory.iterdir() if directory.is_dir() else ()
        return {
            file.name: file.read_bytes()
            for file in files
            if file.is_file() and not file.is_symlink() and file.name != "sha256sums.txt"
        }

    def _listed_sums(self) -> dict[str, str]:
        text = (self.read("sha256sums.txt") or b"").decode(errors="replace")
        rows = (line.split(None, 1) for line in text.splitlines())
        return {row[1].strip().lstrip("*"): row[0].lower() for row in rows if len(row) == 2}
