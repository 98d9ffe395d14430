"""Where a rehearsal leaves what it has to show: a folder of pictures and the report."""

import datetime
import itertools
import re
from pathlib import Path

REHEARSALS = Path(__file__).resolve().parent.parent / "rehearsals"


class FolderError(Exception):
    """A folder cannot be used; the text says why."""


def given_folder(folder: Path) -> Path:
    """The user's own choice, which has to be empty."""
    if folder.exists() and not folder.is_dir():
        raise FolderError(f"{folder} is no folder")
    folder.mkdir(parents=True, exist_ok=True)
    if any(folder.iterdir()):
        raise FolderError(f"{folder} is not empty")
    return folder


def new_folder(mode: str, stick: str) -> Path:
    """A new one, named after what is rehearsed and when."""
    name = f"{mode}-{re.sub(r'[^.a-zA-Z0-9_-]', '-', Path(stick).name)}-{datetime.datetime.now():%Y%m%d-%H%M%S}"
    for number in itertools.count(1):
        folder = REHEARSALS / (name if number == 1 else f"{name}-{number}")
        try:
            folder.mkdir(parents=True)
            return folder
        except FileExistsError:  # another rehearsal began in the same second
            continue
    raise AssertionError("there is always another number")


def write_file(file: Path, content: bytes) -> None:
    """Raises errors that name the file, as those of writing do not."""
    try:
        file.write_bytes(content)
    except OSError as error:
        raise OSError(error.errno, error.strerror, str(file)) from error
