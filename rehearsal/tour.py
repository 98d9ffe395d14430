"""Plays a tour through the maintenance screens: each touch once what the one before leads to is there."""

import time
from collections.abc import Callable
from dataclasses import dataclass

from PIL import ImageChops
from PIL.Image import Image

from rehearsal.album import Album
from rehearsal.holdings import Holdings
from rehearsal.player import TAKES_EFFECT_WITHIN, TRIES
from rehearsal.stage import Stage, StageError
from rehearsal.tourscreens import MIDDLES, SIZES, Stop

AT_REST_AFTER = 0.3  # seconds without a change: longer than a button is drawn pressed
LAST_AT_REST_AFTER = 0.1  # of the last picture: the instrument is going down already
LOOKS_EVERY = 0.02
LEFT = 0.6  # of the screen: what is shown; the buttons that change it lie to the right
# Share of pixels that may differ on the same screen: touched buttons do, up to 8 %; other screens do from 21 % on.
RESEMBLES = 0.15


@dataclass(frozen=True)
class Visit:
    """A stop that was reached, and what the instrument held then."""

    stop: Stop
    holdings: Holdings | None  # none at the last: the instrument is going down


@dataclass(frozen=True)
class Sight:
    """What was seen at a stop."""

    name: str
    window: int  # 0 where the stage has only pictures
    image: Image | None
    left: bytes  # of the picture

    def resembles(self, other: "Sight") -> bool:
        """Whether both show the same screen, whichever of its buttons has the focus."""
        if self.image is None or other.image is None:
            return False
        shares = ImageChops.difference(self.image, other.image).convert("L").histogram()
        return sum(shares[1:]) <= RESEMBLES * sum(shares)


NOTHING_SEEN = Sight("", 0, None, b"")


class Tour:
    """Does what Player does, for stops instead of buttons; `visits` are those reached so far.

    By hand: it waits for each touch, however long, instead of touching itself.
    """

    def __init__(self, stage: Stage, album: Album, size: str, stops: tuple[Stop, ...],
                 told: Callable[[str, str], None], by_hand: bool):
        self.failure = ""
        self.visits: list[Visit] = []
        self._stage, self._album = stage, album
        self._size, self._stops = size, stops
        self._told, self._by_hand = told, by_hand
        self._playing = False
        self._tries = 0
        self._touched_at = 0.0
        self._there_since = 0.0
        self._said = False
        self._seen: dict[str, Sight] = {}  # the latest, by the name of the stop
        self._before = NOTHING_SEEN  # at the stop before

    def begin(self) -> None:
        self._playing = True

    def heard(self, line: str) -> None:
        if self._tries and self._stop.says and line.startswith(self._stop.says):
            self._said = True

    def step(self) -> float | None:
        """Does what is due; tells in how many seconds to ask again."""
        if not self._playing or self.failure or len(self.visits) == len(self._stops):
            return None
        if not self._seen:
            return self._arrive_at_main()
        if self._tries and self._reached():
            self._arrive()
            return 0.0
        if not self._tries:
            self._album.on_demand = True
            self._touch()
        elif time.monotonic() > self._touched_at + TAKES_EFFECT_WITHIN * self._stage.pace and not self._by_hand:
            self._touch_again()
        return LOOKS_EVERY

    @property
    def _stop(self) -> Stop:
        return self._stops[len(self.visits)]

    @property
    def _is_last(self) -> bool:
        return len(self.visits) == len(self._stops) - 1

    def _arrive_at_main(self) -> float:
        if self._album.at_rest(AT_REST_AFTER * self._stage.pace):
            self._remember("main")
        return LOOKS_EVERY

    def _remember(self, name: str) -> None:
        self._before = self._seen[name] = self._look(name)

    def _look(self, name: str = "") -> Sight:
        window = self._stage.window()
        image = self._album.image
        width, height = (int(side) for side in self._size.split("x"))
        left = image.crop((0, 0, int(LEFT * width), height)).tobytes() if image else b""
        return Sight(name, window.number if window else 0, image, left)

    def _reached(self) -> bool:
        """Whether what the stop is about has been there for a moment, and the screen has not changed meanwhile."""
        now = time.monotonic()
        if not self._there():
            self._there_since = now
        rest = (LAST_AT_REST_AFTER if self._is_last else AT_REST_AFTER) * self._stage.pace
        return now > self._there_since + rest and self._album.at_rest(rest)

    def _there(self) -> bool:
        stop = self._stop
        if stop.says and not self._said:
            return False
        if stop.opens or stop.back_to:
            return self._window_there(stop) if self._stage.tells_windows else self._screen_there(stop)
        sight = self._look()
        return sight.window == self._before.window and sight.left != self._before.left and \
            (not stop.same_as or sight.left == self._seen[stop.same_as].left)

    def _window_there(self, stop: Stop) -> bool:
        window = self._stage.window()
        if window is None:
            return False
        if stop.back_to:
            return window.number == self._seen[stop.back_to].window
        return window.title == stop.opens and all(window.number != sight.window for sight in self._seen.values())

    def _screen_there(self, stop: Stop) -> bool:
        """The same, told from nothing but pictures."""
        sight = self._look()
        if stop.back_to:
            return sight.resembles(self._seen[stop.back_to])
        return not sight.resembles(self._before)

    def _arrive(self) -> None:
        stop = self._stop
        self._album.keep()
        self._remember(stop.shows)
        self.visits.append(Visit(stop, None if self._is_last else self._stage.holdings()))
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
            self._stage.touch(x, y)
        except StageError as error:
            self.failure = f"{stop.touch} cannot be touched: {error}"

    def _touch_again(self) -> None:
        """A touch that had no effect at all is repeated; one that led elsewhere is not."""
        sight, before = self._look(), self._before
        if self._stop.touch and self._tries < len(TRIES) and (sight.window, sight.left) == (before.window, before.left):
            self._touch()
            return
        window = self._stage.window()
        where = f": the window in front is \"{window.title if window else ''}\"" if self._stage.tells_windows else ""
        self.failure = f"after \"{self._stop.touch or before.name}\" there is no {self._stop.shows}{where}"
