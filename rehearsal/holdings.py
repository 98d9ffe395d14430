"""What an instrument holds, to be compared before and after."""

import os
from collections.abc import Iterator, Sequence
from typing import Protocol

from rehearsal.description import Description
from rehearsal.reader import ours
from rehearsal.source import parse_manifest

NO_FILE, UNREADABLE = "no plain file", "unreadable"
MARKER = "tmp/verifyFailed"  # its existence is a rejection
PLACES = ("etc", "home", "media", "mnt", "srv", "var/lib", "var/log", MARKER)  # where scripts may change something


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

    def __init__(self, contents: Contents, reboots: int, description: Description | None = None):
        self._contents = contents
        self.description = description or ours()
        self.files = contents.marks(list(patterns(self.description)))
        versions = self.description.versions
        self.active = self.text(versions.active.lstrip("/")).strip() if versions.active else ""
        self.manifests = {version: self.text(self.manifest_path(version)) for version in versions.ring}
        self.marker = self.text(MARKER).strip() if MARKER in self.files else None  # the reason of a rejection
        home = contents.link(versions.home.lstrip("/")) if versions.home else ""
        self.home = os.path.normpath(os.path.join(os.path.dirname(versions.home), home)) if home else ""
        self.reboots = reboots  # that the instrument has gone through

    @property
    def keys(self) -> list[bytes]:
        """The keys that the instrument knows; without any it verifies no signature."""
        top = f"{self.description.signature.keys.lstrip('/')}/"
        return [self.read(path) for path in sorted(self.files) if path.startswith(top) and path.endswith(".pub")]

    def manifest_path(self, version: str) -> str:
        return self.description.path_of(self.description.versions.manifest, version)

    def manifest(self, version: str) -> dict[str, str]:
        return parse_manifest(self.manifests[version])

    def read(self, path: str, length: int = -1) -> bytes:
        """The first bytes of a plain file, or all; nothing if there is none that can be read."""
        return (self._contents.read(path, length) or b"") if path else b""

    def text(self, path: str) -> str:
        """A file's text; empty if there is none to read."""
        return self.read(path).decode(errors="replace")

    def user_files(self, version: str) -> dict[str, str]:
        """The user files of a version, by their path below its directory."""
        return self.below(self.description.path_of(self.description.versions.user_files, version))

    def factory_user_files(self) -> dict[str, str]:
        """Those that a version starts with."""
        return self.below(self.description.versions.factory_user_files.lstrip("/"))

    def below(self, directory: str) -> dict[str, str]:
        """The files below a directory, by their path in it."""
        top = f"{directory}/"
        return {path.removeprefix(top): mark for path, mark in self.files.items() if path.startswith(top)}

    def real(self, path: str) -> str:
        """Where a full path leads if the user's directory is a link, without the first slash."""
        home = self.description.versions.home
        if self.home and path.startswith(f"{home}/"):
            path = self.home + path.removeprefix(home)
        return path.lstrip("/")

    def known_as(self, path: str) -> str:
        """The full path by which the user of the instrument knows a file."""
        path = f"/{path}"
        if self.home and path.startswith(f"{self.home}/"):
            return self.description.versions.home + path.removeprefix(self.home)
        return path


def patterns(description: Description) -> Iterator[str]:
    """Where to look: all that the description names, and where scripts may leave something besides."""
    yield from (f"dev/{device}" for device in description.partitions)
    yield from PLACES
    versions, update, logs = description.versions, description.update, description.logs
    named = (
        versions.active,
        versions.manifest,
        versions.user_files,
        versions.factory_user_files,
        versions.home,
        update.overrides,
        update.unpacked,
        *description.signature.paths(),
        *description.survives.files,
        logs.update,
        logs.download,
    )
    paths = {path.lstrip("/").replace("{version}", "*") for path in named if path}
    yield from sorted(path for path in paths if not path.startswith(tuple(f"{place}/" for place in PLACES)))
