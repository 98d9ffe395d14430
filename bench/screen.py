"""Tells when the first picture of a program is on the screen."""

import select
import time

from rehearsal.sandbox.xdisplay import Area, XDisplay


class Screen:
    """Of an X server without other clients, whose empty screen is black."""

    def __init__(self, display: str) -> None:
        self.display = XDisplay(display, every_drawing=True)
        self.await_blank()

    def await_picture(self, limit: float = 10) -> float:
        """The time of the first drawing that leaves something on the screen."""
        deadline = time.monotonic() + limit
        while (left := deadline - time.monotonic()) > 0:
            areas = self.display.areas()
            if not areas:
                select.select([self.display], [], [], left)
                areas = self.display.areas()
            drawn = time.monotonic()
            if not all(self._blank(area) for area in areas):
                return drawn
        raise TimeoutError("nothing was painted")

    def await_blank(self, limit: float = 10) -> None:
        deadline = time.monotonic() + limit
        while not self._blank():
            if time.monotonic() > deadline:
                raise TimeoutError("the screen is not empty")

    def _blank(self, area: Area | None = None) -> bool:
        return self.display.picture(area).getbbox() is None
