"""What the board holds: its internal storage and its stick as files, made for a scene and read afterwards."""

import hashlib
import itertools
import os
import shutil
from collections.abc import Sequence
from fnmatch import fnmatch
from pathlib import Path

from board.firmware import Firmware
from board.images import (
    MEGABYTE,
    copy_sparse,
    make_ext4,
    make_fat,
    read_ext4,
    read_fat,
    read_squashfs,
    run,
    write_file,
    write_text,
)
from board.layout import (
    BY_NAME,
    LAYOUT,
    STORAGE_SIZE,
    Partition,
    described,
    file_systems,
    partition_table,
    slot_sizes,
)
from rehearsal.holdings import Holdings
from rehearsal.leash import Leash
from rehearsal.plan import WATCHED
from rehearsal.reader import ours
from rehearsal.sandbox.instrument import Instrument, Tools
from rehearsal.sandbox.tree import Tree
from rehearsal.source import download_files, parse_manifest
from rehearsal.stage import Scene

INSTRUMENT = described(ours())  # the board is no other
RECOVERY = "mnt/recovery"
STICK_SIZE = 512 * MEGABYTE  # sparse
SETTINGS = ("pointercal", "display-size")  # files in /etc that all versions share
ACTIVE = "mnt/userdata/active"  # a link that the board sets at its start; /home/tesk leads through it
PARTITION_FILE = INSTRUMENT.versions.active.lstrip("/")
SCRIPTS, ASIDE = "etc/update", "opt/scripts"  # the second where those lie that are watched
REQUEST = "download/update_mode"
LAST = 'name="recoveryfs"'  # the partition that is made last
MEDIUM_VERSION = "4.05"


def describe_storage(scripts: Path) -> None:
    """Tells our own scripts what the storage of this instrument is like."""
    (scripts / "storage.sfdisk").write_text(partition_table())
    (scripts / "filesystems.txt").write_text(file_systems())
    (scripts / "partitions.txt").write_text(slot_sizes())


def scripts_of_update(scratch: Path, leash: Leash) -> tuple[Path, Path]:
    """What an update brings: our own scripts, watched as those of the installed versions, with the keys that this
    instrument knows; and the scripts themselves."""
    place = scratch / "of-update"
    if not place.exists():
        Instrument(place, Scene(WATCHED), Tools(scratch, leash))
        describe_storage(place / SCRIPTS)
    return place / SCRIPTS, place / ASIDE


class Contents(Tree):
    """The board's files, copied out of its file systems, and its slots."""

    def __init__(self, root: Path, storage: Path):
        super().__init__(root, INSTRUMENT)
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
        self._instrument = instrument.root
        self.medium: Path | None = None  # what a blank board starts from
        if not scene.scripts:
            describe_storage(instrument.root / SCRIPTS)
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
        for file, path in download_files(archive, INSTRUMENT):
            write_file(self.image, BY_NAME["recovery"].start, path.removeprefix(f"{RECOVERY}/"), file)

    def ask_for(self, mode: str) -> None:
        """Leaves word of the mode that the next start is to have."""
        write_text(self.image, BY_NAME["recovery"].start, REQUEST, f"{mode}\n", self._scratch)

    def holdings(self, reboots: int) -> Holdings:
        if not self._divided():
            return Holdings(Tree(self._instrument, INSTRUMENT), reboots, INSTRUMENT)
        root = self._scratch / f"holdings-{next(self._readings)}"
        for name, path in (("recovery", RECOVERY), ("userdata", "mnt/userdata"), ("settings", "srv")):
            part = BY_NAME[name]
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            read_ext4(self.image, root / path, self._scratch, part.start, part.size)
        self._read_keys(root)
        self._arrange(root)
        if self.stick:
            read_fat(self.stick, root / "media/usb0")
        return Holdings(Contents(root, self.image), reboots, INSTRUMENT)

    def _read_keys(self, root: Path) -> None:
        """Those of the version that is active, or of what a blank board has started from; the settings that all
        versions share come over them."""
        keys = INSTRUMENT.signature.keys.lstrip("/")
        if not (root / PARTITION_FILE).exists():
            shutil.copytree(self._instrument / keys, root / keys)
        elif part := BY_NAME.get(f"rootfs{(root / PARTITION_FILE).read_text().strip()}"):
            read_squashfs(self.image, part.start, keys, root)

    @staticmethod
    def _arrange(root: Path) -> None:
        """Puts what was read where the instrument itself has it."""
        shutil.copytree(root / "srv/etc", root / "etc", symlinks=True, dirs_exist_ok=True)
        shutil.rmtree(root / "srv/etc")
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
        active = (tree / PARTITION_FILE).read_text().strip()
        (tree / ACTIVE).symlink_to(active)
        trees = {"recovery": tree / RECOVERY, "userdata": tree / "mnt/userdata", "settings": self._settings(tree)}
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
        return self._instrument / SCRIPTS, self._instrument / ASIDE

    def _divided(self) -> bool:
        """Whether the storage has its last partition; a blank one has none."""
        return LAST in run(["sfdisk", "--dump", self.image], allowed=(0, 1))

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
