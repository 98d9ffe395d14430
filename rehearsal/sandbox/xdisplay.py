"""An X client that can do what a person before the screen can: see that it changed, look at it, touch it."""

import contextlib
import io
from collections.abc import Iterator
from typing import Any

from PIL import Image
from Xlib import X, Xatom, display, error
from Xlib.ext import damage

TITLE_LENGTH = 256
LEFT_BUTTON = 1
Area = tuple[int, int, int, int]  # left, top, width, height


class DisplayGone(ConnectionError):
    """The X server went away, or could not be reached; the text says why."""


@contextlib.contextmanager
def told() -> Iterator[None]:
    """Tells everything that can go wrong with a server as one kind of error."""
    try:
        yield
    except (error.DisplayError, error.ConnectionClosedError, error.XError, OSError) as reason:
        raise DisplayGone(str(reason)) from reason


class XDisplay:
    """The root window of a display such as ":1". Every drawing is reported, or just that there was some
    since the last picture."""

    def __init__(self, name: str, every_drawing: bool = False):
        self._changed = True  # nothing has been seen of the screen yet
        self._areas: list[Area] = []
        # the library prints what it thinks of the user's file of access rights
        with told(), contextlib.redirect_stdout(io.StringIO()):
            self._display: Any = display.Display(name)
            self._root: Any = self._display.screen().root
            geometry = self._root.get_geometry()
            if geometry.depth != 24:
                raise DisplayGone("the X server's screen is not 24 bits deep")
            self.size: tuple[int, int] = geometry.width, geometry.height
            for extension in ("DAMAGE", "XTEST"):
                if not self._display.has_extension(extension):
                    raise DisplayGone(f"the X server has no {extension} extension")
            self._display.damage_query_version()
            level = damage.DamageReportRawRectangles if every_drawing else damage.DamageReportNonEmpty
            self._damage = self._root.damage_create(level)
            self._display.flush()

    def fileno(self) -> int:
        return int(self._display.fileno())

    def close(self) -> None:
        with contextlib.suppress(DisplayGone), told():
            self._display.close()

    def changed(self) -> bool:
        """Whether there was any drawing since the last picture."""
        self._take_events()
        return self._changed

    def areas(self) -> list[Area]:
        """What was drawn since the last call, if every drawing is reported."""
        self._take_events()
        areas, self._areas = self._areas, []
        return areas

    def picture(self, area: Area | None = None) -> Image.Image:
        """The screen as it is now, or an area of it."""
        left, top, width, height = area or (0, 0, *self.size)
        self._take_events()
        self._changed = False
        with told():
            self._display.damage_subtract(self._damage)
            reply = self._root.get_image(left, top, width, height, X.ZPixmap, 0xFFFFFFFF)
        return Image.frombytes("RGB", (width, height), reply.data, "raw", "BGRX")

    def touch(self, x: int, y: int) -> None:
        with told():
            self._display.xtest_fake_input(X.MotionNotify, x=x, y=y)
            for event in (X.ButtonPress, X.ButtonRelease):
                self._display.xtest_fake_input(event, LEFT_BUTTON)
            self._display.flush()

    def top_window(self) -> tuple[int, str]:
        """The window in front: its number and title; 0 if there is none, or if it has just gone."""
        with told():
            try:
                for window in reversed(self._root.query_tree().children):
                    if window.get_attributes().map_state == X.IsViewable:
                        return window.id, self._title(window)
            except error.XError:
                pass  # a window closes between two questions
        return 0, ""

    @staticmethod
    def _title(window: Any) -> str:
        title = window.get_property(Xatom.WM_NAME, X.AnyPropertyType, 0, TITLE_LENGTH)
        if title is None:
            return ""
        value = title.value
        return value if isinstance(value, str) else bytes(value).decode(errors="replace")

    def _take_events(self) -> None:
        with told():
            while self._display.pending_events():
                event = self._display.next_event()
                if event.type == self._display.extension_event.DamageNotify:
                    self._changed = True
                    area = event.area
                    self._areas.append((area.x, area.y, area.width, area.height))
