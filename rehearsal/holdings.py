"""What an instrument holds, to be compared before and after."""

import os
from collections.abc import Sequence
from typing import Protocol

from rehearsal.source import parse_manifest

VERSIONS = ("1", "7", "8")
RECOVERY = "mnt/recovery"
NO_FILE, UNREADABLE = "no plain file", "unreadable"
KEYS = "etc/update/keys"  # the public keys of those whose updates the instrument accepts
WATCHED = ("dev/mmcblk0*", "etc/pointercal", "etc/display-size", KEYS, "home", "media", "mnt", "var/log")


class Contents(Protocol):
    """The files of an instrument as a stage can read them, by their paths without the first slash."""

    def marks(self, patterns: Sequence[str]) -> dict[str, str]:
        """All that is no directory, or a closed one, at and below the paths that match. A mark is "link to
        TARGET", NO_FILE, or the permissions in octal and the SHA-256 of the content; in place of the sum
        "UNREADABLE: reason"."""

    def read(self, path: str, length: int = -1) -> bytes | None:
        """The first bytes of a plain file, or all; None if there is none that can be read."""

    def link(self, path: str) -> str:
        """Where a symbolic link points to; empty if there is no link."""


class Holdings:
    """The state of everything that lasts, taken when the object is made; contents are read when asked for."""

    def __init__(self, contents: Contents, reboots: int):
        self._contents = contents
        self.files = contents.marks(WATCHED)
        self.active = self.text(f"{RECOVERY}/download/partition_c").strip()
        self.manifests = {version: self.text(self.manifest_path(version)) for version in VERSIONS}
        home = contents.link("home/tesk")
        self.home = os.path.normpath(os.path.join("/home", home)) if home else ""
        self.reboots = reboots  # that the instrument has gone through

    @property
    def keys(self) -> list[bytes]:
        """The keys that the instrument knows; without any it verifies no signature."""
        return [self.read(path) for path in self.files if path.startswith(f"{KEYS}/") and path.endswith(".pub")]

    @staticmethod
    def manifest_path(version: str) -> str:
        return f"{RECOVERY}/update_files/{version}manifest.txt"

    def manifest(self, version: str) -> dict[str, str]:
        return parse_manifest(self.manifests[version])

    def read(self, path: str, length: int = -1) -> bytes:
        """The first bytes of a plain file, or all; nothing if there is none that can be read."""
        return self._contents.read(path, length) or b""

    def text(self, path: str) -> str:
        """A file's text; empty if there is none to read."""
        return self.read(path).decode(errors="replace")

    def user_files(self, owner: str) -> dict[str, str]:
        """The user files of a version, or the factory's, by their path below its directory."""
        top = f"mnt/userdata/{owner}/"
        return {path.removeprefix(top): mark for path, mark in self.files.items() if path.startswith(top)}
