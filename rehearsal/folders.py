"""Where a rehearsal leaves what it has to show: a folder of pictures and the report."""

import contextlib
import datetime
import itertools
import re
import shutil
from collections.abc import Iterator
from pathlib import Path

REHEARSALS = Path(__file__).resolve().parent.parent / "rehearsals"
KEPT = 20  # of the folders that were named here, the newest
STAMP = re.compile(r"-(\d{8}-\d{6})(?:-(\d+))?$")


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
    """A new one among the rehearsals, named after what is rehearsed and when; the oldest of these go."""
    stick = re.sub(r"[^\w.-]", "-", Path(stick).name)
    name = f"{mode}-{stick}-{datetime.datetime.now():%Y%m%d-%H%M%S}"
    for number in itertools.count(1):
        folder = REHEARSALS / (name if number == 1 else f"{name}-{number}")
        try:
            folder.mkdir(parents=True)
        except FileExistsError:  # another rehearsal began in the same second
            if not REHEARSALS.is_dir():
                raise FolderError(f"{REHEARSALS} is no folder") from None
            continue
        forget_old(REHEARSALS)
        return folder
    raise AssertionError("there is always another number")


def forget_old(rehearsals: Path) -> None:
    """Removes all folders that were named here but the newest; whatever is called otherwise stays."""
    named = [(stamp, folder) for folder in rehearsals.iterdir()
             if (stamp := STAMP.search(folder.name)) and folder.is_dir() and not folder.is_symlink()]
    named.sort(key=lambda one: (one[0][1], int(one[0][2] or 1)))
    for _, folder in named[:-KEPT]:
        shutil.rmtree(folder, ignore_errors=True)  # another rehearsal may do the same


@contextlib.contextmanager
def naming(what: Path | str) -> Iterator[None]:
    """Names what could not be written, which errors of writing do not."""
    try:
        yield
    except BrokenPipeError:
        raise
    except OSError as error:
        raise OSError(error.errno, error.strerror, str(what)) from error
