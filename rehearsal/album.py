"""The pictures of a rehearsal: one file for every state that the screen showed, in order."""

import io
import re
import time
from concurrent.futures import Future, ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from PIL.Image import Image

from rehearsal.folders import naming
from rehearsal.likeness import share_of_tiles
from rehearsal.stage import Stage

SETTLED_AFTER = 0.06  # seconds without a change: the program has painted the whole of it
CURSOR = 0.01  # share of tiles in which a blinking cursor lies at most: with it a screen is at rest all the same
NO_CHANGE_AFTER = 0.5  # seconds after which a state that has changed nothing will not


def slug(text: str) -> str:
    """A text in the form that file names have."""
    return re.sub(r"[^a-z0-9]+", "-", text.lower()).strip("-")


@dataclass(frozen=True)
class Picture:
    file: Path
    state: str
    at: float  # when the screen came to show it, by the monotonic clock


class Album:
    """Takes a picture whenever the screen has changed and come to rest, named after the state it is in.

    The owner calls settle() every now and then, and enter() when the program says that it goes on to
    another state. Before the first enter() the pictures are named after the first states, one each, the
    last for all that follow. The files are complete after close().
    """

    def __init__(self, stage: Stage, folder: Path, first_states: tuple[str, ...]):
        self.image: Image | None = None  # what the screen shows
        self.on_demand = False  # pictures are kept only when the owner says so
        self.pictures: list[Picture] = []
        self._stage = stage
        self._folder = folder
        self._states = list(first_states)
        self._saved: Image | None = None
        self._count = 0
        self._entered_at = time.monotonic()
        self._changed_at = 0.0
        self._unsaved = False
        self._heard_since = False  # the console was read after the picture was taken, and told of no other state
        self._pictured = False  # the state has a picture
        self._writer = ThreadPoolExecutor(1)  # what the screen does next must not be missed meanwhile
        self._written: list[Future[None]] = []

    def settle(self) -> float | None:
        """Looks at the screen if it has changed, and keeps its picture once it is at rest; tells in how
        many seconds to ask again."""
        if self._stage.changed():
            self._take()
            return 0.0  # there may be another change already
        self._heard_since = True
        if not self._unsaved or self.on_demand:
            return None
        left = self._changed_at + SETTLED_AFTER * self._stage.pace - time.monotonic()
        if left > 0:
            return left
        self.keep()
        return None

    def at_rest(self, seconds: float) -> bool:
        """Whether the screen has not changed for so long."""
        return not self._stage.changed() and time.monotonic() > self._changed_at + seconds

    def shows_state(self) -> bool:
        """Whether the picture of the state last entered has been taken, or nothing changed with it."""
        return self._pictured or time.monotonic() > self._entered_at + NO_CHANGE_AFTER * self._stage.pace

    def enter(self, state: str) -> None:
        """What is shown from now on belongs to another state.

        A picture that has not come to rest is half way there already, or there.
        """
        if (
            not self.on_demand
            and self._heard_since
            and time.monotonic() > self._changed_at + SETTLED_AFTER * self._stage.pace
        ):
            self.keep()
        self._states = [state]
        self._pictured = False
        self._unsaved = True
        self._entered_at = self._changed_at = time.monotonic()

    def keep(self) -> None:
        """Writes the picture, unless the last one written shows the same."""
        if self.on_demand and self._pictured:
            return  # a cursor blinks
        if self._unsaved and self.image and self.image != self._saved:
            self._count += 1
            self._pictured = True
            self._saved = self.image
            state = self._states.pop(0) if len(self._states) > 1 else self._states[0]
            file = self._folder / f"{self._count:02}-{slug(state)}.png"
            self.pictures.append(Picture(file, state, self._changed_at))
            self._written.append(self._writer.submit(write_picture, file, self.image))
        self._unsaved = False

    def close(self) -> None:
        """Raises what went wrong with a file."""
        self.keep()
        self._writer.shutdown()
        for written in self._written:
            written.result()

    def _take(self) -> None:
        image = self._stage.picture()
        empty = image.getcolors(1) is not None  # no window yet, or no more
        if not empty and image != self.image:
            if not (self.on_demand and self.image and share_of_tiles(image, self.image) < CURSOR):
                self._changed_at = time.monotonic()
            self.image = image
            self._heard_since = False
            self._unsaved = True


def write_picture(file: Path, image: Image) -> None:
    content = io.BytesIO()
    image.save(content, "PNG")
    with naming(file):
        file.write_bytes(content.getvalue())
