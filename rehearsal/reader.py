"""Reads the description of an instrument: simulator/instrument.toml, or an integrator's own file of that kind.

Strictly: whatever it does not know, or cannot be true, is a mistake, told with the file, the line and the key.
"""

import difflib
import functools
import re
import tomllib
from collections.abc import Callable
from dataclasses import fields
from pathlib import Path
from typing import Any

from rehearsal.description import (
    KNOWN_VERSIONS,
    Description,
    Logs,
    Maintenance,
    Partition,
    Signature,
    Survives,
    Update,
    Versions,
)
from rehearsal.modes import SCRIPTS

OURS = Path(__file__).resolve().parent.parent / "simulator/instrument.toml"
FLASHED = "mmcblk0p2"  # without it the program takes a board for a blank one
SIZE = 'a size such as "512K" or "4M"'
UNITS = {"": 1, "K": 2**10, "M": 2**20, "G": 2**30}
SECTIONS: dict[str, type] = {
    "versions": Versions,
    "update": Update,
    "signature": Signature,
    "logs": Logs,
    "survives": Survives,
    "maintenance": Maintenance,
}
# What is the name of a file of an update, or of a line of one; all else is a full path.
NAMES = (
    ("update", "manifest"),
    ("update", "sums"),
    ("update", "more"),
    ("update", "bootloader_key"),
    ("signature", "list"),
    ("signature", "list_signature"),
)
TOP = ("name", "scripts", "overlay", "partitions", "images", *SECTIONS)


class DescriptionError(Exception):
    """A mistake in a description; the text names file, line and key."""


@functools.cache
def ours() -> Description:
    """The description of the simulated instrument."""
    return read(OURS)


def read(file: Path) -> Description:
    """The description in a file."""
    text = ""
    try:
        text = file.read_text(encoding="utf-8")
        return Reader(file, text, tomllib.loads(text)).read()
    except tomllib.TOMLDecodeError as error:
        reason, _, place = str(error).partition(" (at ")
        line = re.search(r"line (\d+)", place)
        where = line[1] if line else len(text.splitlines())  # "at end of document"
        raise DescriptionError(f"{file}:{where}: {reason}") from error
    except UnicodeDecodeError as error:
        raise DescriptionError(f"{file}: it is no text in UTF-8") from error
    except OSError as error:
        raise DescriptionError(f"{file}: {error.strerror}") from error


class Reader:
    """Takes a description apart. A place is a path of keys, such as ("images", "kernel.img", "7")."""

    def __init__(self, file: Path, text: str, content: dict[str, Any]):
        self._file, self._lines, self._content = file, text.splitlines(), content

    def read(self) -> Description:
        self._known((), self._content, TOP)
        partitions = self._partitions()
        sections: dict[str, Any] = {name: self._section(name, kind) for name, kind in SECTIONS.items()}
        ring = self._ring(sections["versions"])
        if sections["update"].bootloader_key and not sections["update"].manifest:
            raise self._mistake(("update", "bootloader_key"), "needs a manifest in [update]")
        self._check_signature(sections["signature"], sections["update"])
        name = self._typed(("name",), self._content.get("name", self._file.stem), str, "a text")
        images = self._images(partitions, ring)
        return Description(self._file, name, partitions, images, self._scripts(), self._overlay(), **sections)

    def _partitions(self) -> dict[str, Partition]:
        table = self._typed(
            ("partitions",),
            self._content.get("partitions"),
            dict,
            "a table of devices, [partitions], and has to be there",
        )
        partitions = {device: self._partition(("partitions", device), device, entry) for device, entry in table.items()}
        if FLASHED not in partitions:
            raise self._mistake(
                ("partitions",), f"lacks {FLASHED}: without it the program takes every board for a " "blank one"
            )
        return partitions

    def _partition(self, place: tuple[str, ...], device: str, entry: Any) -> Partition:
        if not re.fullmatch(r"[A-Za-z][A-Za-z0-9_-]*", device):
            raise self._mistake(place, "is not the name of a device below /dev")
        entry = self._typed(place, entry, dict, 'a table such as { size = "4M", holds = "kernel" }')
        self._known(place, entry, ("size", "holds", "fixed"))
        size = self._typed((*place, "size"), entry.get("size"), str, f"{SIZE}, and has to be there")
        match = re.fullmatch(r"([0-9]+)([KMG]?)", size, re.ASCII)
        if not match or int(match[1]) == 0:
            raise self._mistake((*place, "size"), f'is "{size}", not {SIZE}')
        holds = self._typed((*place, "holds"), entry.get("holds", ""), str, "a text")
        fixed = self._typed((*place, "fixed"), entry.get("fixed", False), bool, "true or false")
        return Partition(device, int(match[1]) * UNITS[match[2]], holds, fixed)

    def _images(self, partitions: dict[str, Partition], ring: tuple[str, ...]) -> dict[str, dict[str, str]]:
        table = self._typed(("images",), self._content.get("images", {}), dict, "a table of files")
        images: dict[str, dict[str, str]] = {}
        for image, slots in table.items():
            place = ("images", image)
            if not re.fullmatch(r"[A-Za-z0-9_][A-Za-z0-9_.-]*", image):
                raise self._mistake(place, "is not the name of a file of an update")
            images[image] = self._slots(place, slots, ring)
            if not images[image]:
                raise self._mistake(place, "goes to no partition")
            for device in images[image]:
                if device not in partitions:
                    raise self._mistake(place, f"goes to {device}, which is not in [partitions]", device)
                if other := next((name for name in images if name != image and device in images[name]), ""):
                    raise self._mistake(place, f"goes to {device}, and so does {other}", device)
        return images

    def _slots(self, place: tuple[str, ...], slots: Any, ring: tuple[str, ...]) -> dict[str, str]:
        if isinstance(slots, list):
            return dict.fromkeys(self._texts(place, slots), "")
        of_version = self._typed(place, slots, dict, "a list of partitions, or a table of one for each version")
        for version in of_version:
            if version not in ring:
                raise self._mistake((*place, version), "is not in the ring of [versions]")
        for version in ring:
            if version not in of_version:
                raise self._mistake(place, f"names no partition for version {version}")
        return {
            self._typed((*place, version), device, str, "a partition"): version
            for version, device in of_version.items()
        }

    def _section(self, name: str, kind: type) -> Any:
        table = self._typed((name,), self._content.get(name, {}), dict, f"a table, [{name}]")
        kinds = {key.name: key.type for key in fields(kind)}
        self._known((name,), table, tuple(kinds))
        return kind(**{key: self._value((name, key), value, kinds[key]) for key, value in table.items()})

    def _check_signature(self, signature: Signature, update: Update) -> None:
        """What is verified in one place and not in another would be a way in."""
        if signature == Signature():
            return
        for key in ("keys", "list", "list_signature"):
            if not getattr(signature, key):
                raise self._mistake(("signature",), f"lacks {key}")
        if update.download and not signature.download_signature:
            raise self._mistake(("signature",), "lacks download_signature, which an update that is downloaded needs")
        if update.sums not in ("", signature.list):
            raise self._mistake(
                ("signature", "list"), f'is "{signature.list}", but the sums of [update] are "{update.sums}"'
            )

    def _value(self, place: tuple[str, ...], value: Any, kind: Any) -> Any:
        if kind is bool:
            return self._typed(place, value, bool, "true or false")
        texts = (self._typed(place, value, str, "a text"),) if kind is str else self._texts(place, value)
        for text in texts:
            if why := wrong_path(place, text):
                raise self._mistake(place, f'is "{text}", {why}', text)
        return texts[0] if kind is str else texts

    def _ring(self, versions: Versions) -> tuple[str, ...]:
        place = ("versions", "ring")
        for version in versions.ring:
            if version not in KNOWN_VERSIONS:
                raise self._mistake(place, f'names "{version}"; the program knows {", ".join(KNOWN_VERSIONS)}')
        if len(set(versions.ring)) != len(versions.ring):
            raise self._mistake(place, "names a version twice")
        if not versions.ring and (versions.manifest or versions.user_files or versions.active):
            raise self._mistake(("versions",), "says where versions lie, but not which there are: ring is missing")
        return versions.ring

    def _scripts(self) -> tuple[str, ...] | None:
        if "scripts" not in self._content:
            return None
        names = self._texts(("scripts",), self._content["scripts"])
        for name in names:
            if name not in SCRIPTS:
                close = difflib.get_close_matches(name, SCRIPTS, 1)
                hint = f"; did you mean {close[0]}?" if close else ""
                raise self._mistake(("scripts",), f"names {name}, which no update runs{hint}", name)
        return names

    def _overlay(self) -> Path | None:
        if "overlay" not in self._content:
            return None
        name = self._typed(("overlay",), self._content["overlay"], str, "a directory beside the description")
        directory = self._file.resolve().parent / str(name)
        if not directory.is_dir():
            raise self._mistake(("overlay",), f"there is no directory {directory}")
        return directory

    def _texts(self, place: tuple[str, ...], value: Any) -> tuple[str, ...]:
        texts = self._typed(place, value, list, "a list of texts")
        return tuple(self._typed(place, text, str, "a list of texts") for text in texts)

    def _typed(self, place: tuple[str, ...], value: Any, kind: Callable[..., Any] | type, wanted: str) -> Any:
        if not isinstance(value, kind):  # type: ignore[arg-type]
            raise self._mistake(place, f"has to be {wanted}")
        return value

    def _known(self, place: tuple[str, ...], table: dict[str, Any], keys: tuple[str, ...]) -> None:
        for key in table:
            if key not in keys:
                close = difflib.get_close_matches(key, keys, 1)
                hint = f"did you mean {close[0]}?" if close else f"there are {', '.join(keys)}"
                raise self._mistake((*place, key), f"is not known here; {hint}")

    def _mistake(self, place: tuple[str, ...], what: str, near: str = "") -> DescriptionError:
        line = line_of(self._lines, place, near)
        return DescriptionError(f"{self._file}{f':{line}' if line else ''}: {'.'.join(place)} {what}")


def wrong_path(place: tuple[str, ...], text: str) -> str:
    """Why a text cannot be what its key wants: a full path, or in an update the name of a file; empty if it can."""
    section, key = place
    if place == ("versions", "ring"):
        return ""
    if place in NAMES:
        return "which is not a name" if "/" in text or not text else ""
    if not text.startswith("/") or ".." in Path(text).parts or text.endswith("/"):
        return "which is no full path"
    needs = section == "versions" and key in ("manifest", "user_files")
    if needs != ("{version}" in text):
        return "which needs {version}" if needs else "which cannot have {version}"
    return ""


def line_of(lines: list[str], place: tuple[str, ...], near: str) -> int:
    """The line where a place is, or as much of it as there is; 0 if there is none of it."""
    found, depth = 0, 0
    table: tuple[str, ...] = ()
    for number, line in enumerate(lines, 1):
        if header := re.match(r"\s*\[+([^\]]+)\]", line):
            table = keys_of(header[1])
        elif key := re.match(r"\s*((?:[\w.-]+|\"[^\"]*\"|'[^']*')+)\s*=", line):
            at = (*table, *keys_of(key[1]))
            inside = all(re.search(rf"(?<![\w-]){re.escape(rest)}['\"]?\s*=", line) for rest in place[len(at) :])
            deep = len(place) if inside else len(at)
            if at == place[: len(at)] and deep > depth:
                found, depth = number, deep
            continue
        if header and table == place[: len(table)] and len(table) > depth:
            found, depth = number, len(table)
    if near and found:
        return next((number for number in range(found, len(lines) + 1) if near in lines[number - 1]), found)
    return found


def keys_of(text: str) -> tuple[str, ...]:
    """A dotted key, taken apart."""
    return tuple(part.strip("\"'") for part in re.findall(r"\"[^\"]*\"|'[^']*'|[\w-]+", text))
