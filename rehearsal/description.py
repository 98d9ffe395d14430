"""An instrument as its description tells it: partitions, what an update writes where, what has to survive.

What a description leaves out is empty here.
"""

import re
from dataclasses import dataclass, field
from pathlib import Path

KNOWN_VERSIONS = ("1", "7", "8")  # the program knows no others


@dataclass(frozen=True)
class Partition:
    device: str  # below /dev
    size: int  # in bytes
    holds: str  # what the verdict calls it
    fixed: bool  # there on a blank board too


@dataclass(frozen=True)
class Versions:
    """The version partitions. A path may hold {version}; one that is not given is empty."""

    ring: tuple[str, ...] = ()
    active: str = ""
    manifest: str = ""
    user_files: str = ""
    factory_user_files: str = ""
    home: str = ""


@dataclass(frozen=True)
class Update:
    """How an update is told to be whole, and where it is found."""

    manifest: str = ""
    sums: str = ""
    more: tuple[str, ...] = ()
    bootloader_key: str = ""
    overrides: str = ""
    download: str = ""
    unpacked: str = ""

    @property
    def tells(self) -> bool:
        """Whether a good update can be told from a bad one."""
        return bool(self.sums or self.bootloader_key)


@dataclass(frozen=True)
class Signature:
    """Whom the instrument believes. Without keys it verifies no signature."""

    keys: str = ""  # the directory of the public ones
    list: str = ""  # the file of an update that is signed, with the sums of the others
    list_signature: str = ""
    download_signature: str = ""

    def paths(self) -> tuple[str, ...]:
        """Where the instrument has something of it."""
        return tuple(filter(None, (self.keys, self.download_signature)))


@dataclass(frozen=True)
class Logs:
    update: str = ""
    override: str = ""
    download: str = ""
    fallback: str = ""
    maintenance: str = ""
    every_script: bool = False


@dataclass(frozen=True)
class Survives:
    files: tuple[str, ...] = ()


@dataclass(frozen=True)
class Maintenance:
    """What the maintenance screens remove, and what an export holds; None where it is not told."""

    local_remote_reset: tuple[str, ...] | None = None
    touch_reset: tuple[str, ...] | None = None
    display_reset: tuple[str, ...] | None = None
    system_reset: tuple[str, ...] | None = None
    export: tuple[str, ...] | None = None


@dataclass(frozen=True)
class Description:
    file: Path
    name: str
    partitions: dict[str, Partition]
    images: dict[str, dict[str, str]]  # by image: its partitions, and the version each is of; "" is all versions
    scripts: tuple[str, ...] | None = None  # that the instrument has; None is all that the program may run
    overlay: Path | None = None  # a directory whose files the instrument holds besides
    versions: Versions = field(default_factory=Versions)
    update: Update = field(default_factory=Update)
    signature: Signature = field(default_factory=Signature)
    logs: Logs = field(default_factory=Logs)
    survives: Survives = field(default_factory=Survives)
    maintenance: Maintenance = field(default_factory=Maintenance)

    def has(self, script: str) -> bool:
        return self.scripts is None or script in self.scripts

    def slots_of(self, version: str) -> dict[str, str]:
        """The partitions that an update to a version writes, and the image of each."""
        return {
            device: image for image, slots in self.images.items() for device, of in slots.items() if of in ("", version)
        }

    def what_is(self, device: str) -> str:
        """What a partition holds, in words."""
        version = self.version_of(device)
        return f"{self.partitions[device].holds}{f' of {on_screen(version)}' if version else ''}".strip()

    def version_of(self, device: str) -> str:
        """The version whose partition it is; empty if it is nobody's, or everybody's."""
        return next((slots[device] for slots in self.images.values() if device in slots), "")

    def path_of(self, path: str, version: str) -> str:
        """A path of [versions] for one of them, without the first slash."""
        return path.replace("{version}", version).lstrip("/")

    def after(self, active: str) -> str | None:
        """The version that an update goes to while another, or none, is active."""
        ring = self.versions.ring
        if not active:
            return ring[0] if ring else None
        return ring[(ring.index(active) + 1) % len(ring)] if active in ring else None


def on_screen(version: str) -> str:
    """A version as the console and the documents know it, and as the version screen numbers it."""
    return f"{version} ({KNOWN_VERSIONS.index(version) + 1} on the screen)" if version in KNOWN_VERSIONS else version


def short(device: str) -> str:
    """A device as people say it."""
    return re.sub(r"^mmcblk[0-9]+(?=p[0-9]|boot)", "", device)
