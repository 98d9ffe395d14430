"""Plays a tour through the maintenance screens: each touch once what the one before leads to is there."""

import os
import subprocess
import time
from collections.abc import Callable
from dataclasses import dataclass

from album import Album
from holdings import Holdings
from player import TAKES_EFFECT_WITHIN, TRIES, cut
from tourscreens import MIDDLES, SIZES, Stop
from xconnection import XConnection

AT_REST_AFTER = 0.3  # seconds without a change: longer than a button is drawn pressed
LAST_AT_REST_AFTER = 0.1  # of the last picture: the instrument is going down already
LOOKS_EVERY = 0.02
LEFT = 0.6  # of the screen: what is shown; the buttons that change it lie to the right


@dataclass(frozen=True)
class Visit:
    """A stop that was reached, and what the instrument held then."""
    stop: Stop
    holdings: Holdings | None  # none at the last: the instrument is going down


class Tour:
    """Does what Player does, for stops instead of buttons; `visits` are those reached so far.

    By hand: it waits for each touch, however long, instead of touching itself.
    """

    def __init__(self, stops: tuple[Stop, ...], screen: tuple[str, str], album: Album, connection: XConnection,
                 holdings: Callable[[], Holdings], told: Callable[[str, str], None], by_hand: bool):
        self.failure = ""
        self.visits: list[Visit] = []
        self._stops = stops
        self._display, self._size = screen
        self._album, self._connection = album, connection
        self._holdings, self._told, self._by_hand = holdings, told, by_hand
        self._playing = False
        self._tries = 0
        self._touched_at = 0.0
        self._there_since = 0.0
        self._said = False
        self._windows: dict[str, int] = {}  # the one in front, by the name of the stop
        self._pictures: dict[str, bytes] = {}  # the left of the screen
        self._before = ("", 0, b"")  # the stop before: its name, window and picture

    def begin(self) -> None:
        self._playing = True

    def heard(self, line: str) -> None:
        if self._tries and self._stop.says and line.startswith(self._stop.says):
            self._said = True

    def step(self) -> float | None:
        """Does what is due; tells in how many seconds to ask again."""
        if not self._playing or self.failure or len(self.visits) == len(self._stops):
            return None
        if not self._windows:
            return self._arrive_at_main()
        if self._tries and self._reached():
            self._arrive()
            return 0.0
        if not self._tries:
            self._album.on_demand = True
            self._touch()
        elif time.monotonic() > self._touched_at + TAKES_EFFECT_WITHIN and not self._by_hand:
            self._touch_again()
        return LOOKS_EVERY

    @property
    def _stop(self) -> Stop:
        return self._stops[len(self.visits)]

    def _arrive_at_main(self) -> float:
        if self._album.at_rest(AT_REST_AFTER):
            self._remember("main")
        return LOOKS_EVERY

    def _remember(self, name: str) -> None:
        window, _ = self._connection.top_window()
        self._windows[name], self._pictures[name] = window, self._left()
        self._before = (name, window, self._pictures[name])

    def _left(self) -> bytes:
        width, height = (int(side) for side in self._size.split("x"))
        return cut(self._album.pixels, width, 0, 0, int(LEFT * width), height) if self._album.pixels else b""

    def _reached(self) -> bool:
        """Whether what the stop is about has been there for a moment, and the screen has not changed meanwhile."""
        now = time.monotonic()
        if not self._there():
            self._there_since = now
        last = len(self.visits) == len(self._stops) - 1
        rest = LAST_AT_REST_AFTER if last else AT_REST_AFTER
        return now > self._there_since + rest and self._album.at_rest(rest)

    def _there(self) -> bool:
        stop, (_, window_before, picture_before) = self._stop, self._before
        if stop.says and not self._said:
            return False
        window, title = self._connection.top_window()
        if stop.opens:
            return window not in self._windows.values() and title == stop.opens
        if stop.back_to:
            return window == self._windows[stop.back_to]
        left = self._left()
        return window == window_before and left != picture_before and \
            (not stop.same_as or left == self._pictures[stop.same_as])

    def _arrive(self) -> None:
        stop = self._stop
        self._album.keep()
        self._remember(stop.shows)
        last = len(self.visits) == len(self._stops) - 1
        self.visits.append(Visit(stop, None if last else self._holdings()))
        self._tries, self._said = 0, False

    def _touch(self) -> None:
        stop = self._stop
        self._album.enter(stop.shows)
        self._tries, self._touched_at = self._tries + 1, time.monotonic()
        self._there_since = self._touched_at
        if not stop.touch:
            return
        x, y = MIDDLES[stop.touch][SIZES.index(self._size)]
        x, y = x + TRIES[self._tries - 1][0], y + TRIES[self._tries - 1][1]
        self._told(stop.touch, "yourself" if self._by_hand else f"at {x}, {y}")
        if self._by_hand:
            return
        try:
            subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True, timeout=20,
                           stdin=subprocess.DEVNULL, env={**os.environ, "DISPLAY": self._display})
        except (OSError, subprocess.SubprocessError) as error:
            self.failure = f"{stop.touch} cannot be touched: {error}"

    def _touch_again(self) -> None:
        """A touch that had no effect at all is repeated; one that led elsewhere is not."""
        window, title = self._connection.top_window()
        if self._stop.touch and self._tries < len(TRIES) and (window, self._left()) == self._before[1:]:
            self._touch()
            return
        where = f"the window in front is \"{title}\""
        self.failure = f"after \"{self._stop.touch or self._before[0]}\" there is no {self._stop.shows}: {where}"
