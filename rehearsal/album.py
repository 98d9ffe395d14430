"""The pictures of a rehearsal: one file for every state that the screen showed, in order."""

import re
import struct
import time
import zlib
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from xconnection import XConnection

SETTLED_AFTER = 0.06  # seconds without a change: the program has painted the whole of it
NO_CHANGE_AFTER = 0.5  # seconds after which a state that has changed nothing will not


def png(width: int, height: int, pixels: bytes) -> bytes:
    """A PNG file of pixels as an X server gives them."""
    rows = bytearray(width * height * 3)
    rows[0::3], rows[1::3], rows[2::3] = pixels[2::4], pixels[1::4], pixels[0::4]
    unfiltered = b"".join(b"\0" + rows[y * width * 3:(y + 1) * width * 3] for y in range(height))

    def chunk(kind: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(unfiltered, 6)) + chunk(b"IEND", b""))


def slug(text: str) -> str:
    """A text in the form that file names have."""
    return re.sub(r"[^a-z0-9]+", "-", text.lower()).strip("-")


class Album:
    """Takes a picture whenever the screen has changed and come to rest, named after the state it is in.

    The owner calls look() when the X connection has something to read, settle() every now and then,
    and enter() when the program says that it goes on to another state. Before the first enter() the
    pictures are named after the first states, one each, the last for all that follow. The files are
    complete after close().
    """

    def __init__(self, connection: XConnection, folder: Path, first_states: tuple[str, ...]):
        self.pixels = b""  # what the screen shows
        self.on_demand = False  # pictures are kept only when the owner says so
        self._connection = connection
        self._folder = folder
        self._states = list(first_states)
        self._saved = b""
        self._count = 0
        self._entered_at = time.monotonic()
        self._changed_at = 0.0
        self._unsaved = False
        self._pictured = False  # the state has a picture
        self._writer = ThreadPoolExecutor(1)  # what the screen does next must not be missed meanwhile

    def fileno(self) -> int:
        return self._connection.fileno()

    def look(self) -> None:
        """Takes what the X server has sent."""
        self._connection.read_events()

    def settle(self) -> float | None:
        """Looks at the screen if it has changed, and keeps its picture once it is at rest; tells in how
        many seconds to ask again."""
        if self._connection.damaged:
            self._take()
            return 0.0  # there may be another change already
        if not self._unsaved:
            return None
        left = self._changed_at + SETTLED_AFTER - time.monotonic()
        if self.on_demand:
            return None
        if left > 0:
            return left
        self.keep()
        return None

    def at_rest(self, seconds: float) -> bool:
        """Whether the screen has not changed for so long."""
        return not self._connection.damaged and time.monotonic() > self._changed_at + seconds

    def shows_state(self) -> bool:
        """Whether the picture of the state last entered has been taken, or nothing changed with it."""
        return self._pictured or time.monotonic() > self._entered_at + NO_CHANGE_AFTER

    def enter(self, state: str) -> None:
        """What is shown from now on belongs to another state.

        A picture that has not come to rest is half way there already, or there.
        """
        if not self.on_demand and time.monotonic() > self._changed_at + SETTLED_AFTER:
            self.keep()
        self._states = [state]
        self._pictured = False
        self._unsaved = True
        self._entered_at = self._changed_at = time.monotonic()

    def keep(self) -> None:
        """Writes the picture, unless the last one written shows the same."""
        if self.on_demand and self._pictured:
            return  # a cursor blinks
        if self._unsaved and self.pixels and self.pixels != self._saved:
            self._count += 1
            self._pictured = True
            self._saved = self.pixels
            state = self._states.pop(0) if len(self._states) > 1 else self._states[0]
            file = self._folder / f"{self._count:02}-{slug(state)}.png"
            self._writer.submit(self._write, file, self.pixels)
        self._unsaved = False

    def close(self) -> None:
        self.keep()
        self._writer.shutdown()
        self._connection.close()

    def _write(self, file: Path, pixels: bytes) -> None:
        file.write_bytes(png(self._connection.width, self._connection.height, pixels))

    def _take(self) -> None:
        pixels = self._connection.picture()
        empty = pixels == pixels[:4] * (len(pixels) // 4)  # no window yet, or no more
        if not empty and pixels != self.pixels:
            self.pixels = pixels
            self._changed_at = time.monotonic()
            self._unsaved = True
