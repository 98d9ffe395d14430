"""Lines that come through a pipe."""

import os
import select
import time
from collections.abc import Iterator

LINE_LENGTH = 1000


class Lines:
    """Puts what is read from a pipe together to lines; overlong ones come in pieces."""

    def __init__(self, pipe: int):
        os.set_blocking(pipe, False)
        self.pipe = pipe
        self.ended = False  # nobody is left who could write more
        self._rest = b""

    def take(self) -> Iterator[str]:
        """Some of what there is; never waits."""
        try:
            data = os.read(self.pipe, 65536)
        except BlockingIOError:
            return
        *whole, self._rest = (self._rest + data).split(b"\n")
        if len(self._rest) > LINE_LENGTH or (not data and self._rest):
            whole.append(self._rest)
            self._rest = b""
        self.ended = not data
        for line in whole:
            yield line[:LINE_LENGTH].decode(errors="replace")

    def take_all(self, within: float) -> Iterator[str]:
        """The rest, up to the pipe's end, but for no longer than some seconds."""
        deadline = time.monotonic() + within
        while not self.ended and (left := deadline - time.monotonic()) > 0:
            if select.select([self.pipe], [], [], left)[0]:
                yield from self.take()
