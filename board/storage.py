"""What the board holds: its internal storage and its stick as files, made for a scene and read afterwards."""

import hashlib
import itertools
import os
import shutil
from collections.abc import Sequence
from fnmatch import fnmatch
from pathlib import Path

from board.firmware import Firmware
from board.images import MEGABYTE, copy_sparse, make_ext4, make_fat, read_ext4, read_fat, run, write_file, write_text
from board.layout import BY_NAME, LAYOUT, STORAGE_SIZE, Partition, file_systems, partition_table
from rehearsal.holdings import Holdings
from rehearsal.leash import Leash
from rehearsal.reader import ours
from rehearsal.sandbox.instrument import Instrument, Tools
from rehearsal.sandbox.tree import Tree
from rehearsal.source import parse_manifest
from rehearsal.stage import Scene

INSTRUMENT = ours()  # the board is no other
STICK_SIZE = 512 * MEGABYTE  # sparse
SETTINGS = ("pointercal", "display-size")  # files in /etc that all versions share
ACTIVE = "mnt/userdata/active"  # a link that the board sets at its start; /home/tesk leads through it
REQUEST = "download/update_mode"
LAST = 'name="recoveryfs"'  # the partition that is made last
MEDIUM_VERSION = "4.05"


class Contents(Tree):
    """The board's files, copied out of its file systems, and its slots."""

    def __init__(self, root: Path, storage: Path):
        super().__init__(root)
        self._storage = storage
        self._slots = {part.device: part for part in LAYOUT if not part.mount}

    def marks(self, patterns: Sequence[str]) -> dict[str, str]:
        slots = {
            device: f"660 {self._sum(part)}"
            for device, part in self._slots.items()
            if any(fnmatch(device, pattern) for pattern in patterns)
        }
        return {**super().marks(patterns), **slots}

    def read(self, path: str, length: int = -1) -> bytes | None:
        if path not in self._slots:
            return super().read(path, length)
        part = self._slots[path]
        with self._storage.open("rb") as file:
            file.seek(part.start)
            return file.read(part.size if length < 0 else min(length, part.size))

    def _sum(self, part: Partition) -> str:
        total = hashlib.sha256()
        with self._storage.open("rb") as file:
            file.seek(part.start)
            for _ in range(0, part.size, MEGABYTE):
                total.update(file.read(min(MEGABYTE, part.size)))
        return total.hexdigest()


class Storage:
    """The internal storage of a board that a scene describes; making the object makes the file."""

    def __init__(self, firmware: Firmware, scene: Scene, scratch: Path, leash: Leash):
        self.image = scratch / "storage.img"
        self.stick: Path | None = None  # the image of the stick that was made last
        self._scratch = scratch
        self._readings = itertools.count(1)
        instrument = Instrument(scratch / "instrument", scene, Tools(scratch, leash))
        self.unwatched = instrument.unwatched
        # the board's root file systems have nothing yet that could verify a signature
        shutil.rmtree(instrument.root / "etc/update/keys", ignore_errors=True)
        self._instrument = instrument.root
        self.medium: Path | None = None  # what a blank board starts from
        if not scene.scripts:
            self._describe_storage()
        with self.image.open("wb") as file:
            file.truncate(STORAGE_SIZE)
        if scene.blank:
            self.medium = self._make_medium(firmware)
        else:
            self._make(firmware, instrument.root)

    def make_stick(self, content: Path) -> Path:
        self.stick = self._scratch / "stick.img"
        make_fat(self.stick, content, STICK_SIZE)
        return self.stick

    def download(self, archive: Path) -> None:
        write_file(self.image, BY_NAME["recovery"].start, "download/update.zip", archive)

    def ask_for(self, mode: str) -> None:
        """Leaves word of the mode that the next start is to have."""
        write_text(self.image, BY_NAME["recovery"].start, REQUEST, f"{mode}\n", self._scratch)

    def holdings(self, reboots: int) -> Holdings:
        if not self._divided():
            return Holdings(Tree(self._instrument), reboots)
        root = self._scratch / f"holdings-{next(self._readings)}"
        for name, path in (("recovery", "mnt/recovery"), ("userdata", "mnt/userdata"), ("settings", "srv")):
            part = BY_NAME[name]
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            read_ext4(self.image, root / path, self._scratch, part.start, part.size)
        self._arrange(root)
        if self.stick:
            read_fat(self.stick, root / "media/usb0")
        return Holdings(Contents(root, self.image), reboots)

    @staticmethod
    def _arrange(root: Path) -> None:
        """Puts what was read where the instrument itself has it."""
        (root / "etc").mkdir()
        for name in SETTINGS:
            if (root / "srv/etc" / name).exists():
                shutil.move(root / "srv/etc" / name, root / "etc" / name)
        (root / "var").mkdir()
        shutil.move(root / "srv/log", root / "var/log")
        if (root / "srv/tmp").exists():
            shutil.move(root / "srv/tmp", root / "tmp")
        (root / "home").mkdir()
        if (root / ACTIVE).is_symlink():
            (root / "home/tesk").symlink_to(f"../mnt/userdata/{os.readlink(root / ACTIVE)}")
            (root / ACTIVE).unlink()

    def _make(self, firmware: Firmware, tree: Path) -> None:
        run(["sfdisk", "--quiet", self.image], stdin=partition_table())
        active = (tree / "mnt/recovery/download/partition_c").read_text().strip()
        (tree / ACTIVE).symlink_to(active)
        trees = {"recovery": tree / "mnt/recovery", "userdata": tree / "mnt/userdata", "settings": self._settings(tree)}
        for part in LAYOUT:
            if part.name in trees:
                make_ext4(self.image, trees[part.name], part.size, part.start)
            elif part.name.startswith("rootfs"):
                manifest = tree / INSTRUMENT.path_of(INSTRUMENT.versions.manifest, part.name.removeprefix("rootfs"))
                version = parse_manifest(manifest.read_text())["core_version"]
                self._fill(part, firmware.root_image(version, *self._scripts))
            else:
                self._fill(part, tree / part.device)

    @property
    def _scripts(self) -> tuple[Path, Path]:
        return self._instrument / "etc/update", self._instrument / "opt/scripts"

    def _divided(self) -> bool:
        """Whether the storage has its last partition; a blank one has none."""
        return LAST in run(["sfdisk", "--dump", self.image], allowed=(0, 1))

    def _describe_storage(self) -> None:
        """Tells our own scripts what the storage of this instrument is like."""
        (self._scripts[0] / "storage.sfdisk").write_text(partition_table())
        (self._scripts[0] / "filesystems.txt").write_text(file_systems())

    def _make_medium(self, firmware: Firmware) -> Path:
        """What a blank board starts from, with what it begins with in memory."""
        for area in (self._instrument / "dev").glob("mmcblk0*"):
            area.unlink()  # here they are made with the partitions
        blank = self._scratch / "blank"
        shutil.copytree(self._instrument / "mnt", blank / "mnt", symlinks=True)
        shutil.copytree(self._settings(self._instrument), blank / "srv")
        return firmware.root_image(MEDIUM_VERSION, *self._scripts, blank)

    def _settings(self, tree: Path) -> Path:
        settings = self._scratch / "settings"
        for directory in ("etc", "work"):
            (settings / directory).mkdir(parents=True)
        for name in SETTINGS:
            if (tree / "etc" / name).exists():
                shutil.copy(tree / "etc" / name, settings / "etc" / name)
        shutil.copytree(tree / "var/log", settings / "log")
        return settings

    def _fill(self, part: Partition, source: Path) -> None:
        if source.stat().st_size > part.size:
            raise ValueError(f"{source} does not fit into {part.name}")
        piece = self._scratch / "piece"
        copy_sparse(source, piece)
        run(
            [
                "dd",
                f"if={piece}",
                f"of={self.image}",
                "bs=1M",
                f"seek={part.start}",
                "oflag=seek_bytes",
                "conv=notrunc,sparse",
                "status=none",
            ]
        )
        piece.unlink()
