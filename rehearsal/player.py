"""Touches the screen from outside, as a finger would, and sees to it that each touch takes effect."""

import time
from collections.abc import Callable
from dataclasses import dataclass

from rehearsal.album import Album
from rehearsal.stage import Stage, StageError

TAKES_EFFECT_WITHIN = 8.0  # seconds; touching a toggle once more too early would undo it
SOON = 0.01
TRIES = ((0, 0), (0, -6), (0, 6))  # pixels beside the middle


@dataclass(frozen=True)
class Button:
    """Where a button lies, and what shows that a touch has taken effect."""

    middles: dict[str, tuple[int, int]]  # by the size of the screen
    console: str | None = None  # the program prints this line
    label: tuple[int, int, int, int] | None = None  # or the screen changes here: left, top from the middle, size


BUTTONS = {
    "USB": Button({"800x480": (133, 378), "1024x600": (133, 478), "1280x800": (133, 635)},
                  console="Update in progress"),
    "Restore Settings": Button({"800x480": (287, 316), "1024x600": (287, 416), "1280x800": (287, 552)},
                               label=(44, -28, 170, 56)),
}


class Player:
    """Plays touches one after the other, each once the effect of the one before has been seen.

    The owner calls begin() when the buttons are there, heard() with each console line, and step() at
    every turn; `failure` then says which touch was in vain.
    """

    def __init__(self, stage: Stage, album: Album, size: str, touches: tuple[str, ...],
                 told: Callable[[str, str], None]):
        self.failure = ""
        self._stage, self._album = stage, album
        self._size = size
        self._left = list(touches)
        self._told = told
        self._playing = False
        self._tries = 0
        self._touched_at = 0.0
        self._label_before = b""

    def begin(self) -> None:
        self._playing = True

    def heard(self, line: str) -> None:
        if self._tries and self._left and line == BUTTONS[self._left[0]].console:
            self._took_effect()

    def step(self) -> float | None:
        """Does what is due; tells in how many seconds to ask again."""
        if not self._playing or not self._left or self.failure:
            return None
        if self._tries and self._label_changed():
            self._took_effect()
            return 0.0
        waited = time.monotonic() - self._touched_at
        patience = TAKES_EFFECT_WITHIN * self._stage.pace
        if self._tries and waited < patience:
            return patience - waited
        if not self._tries and not self._album.shows_state():
            return SOON
        if self._tries == len(TRIES):
            self.failure = f"touching \"{self._left[0]}\" has no effect"
            return None
        self._touch()
        return patience

    def _touch(self) -> None:
        name = self._left[0]
        x, y = BUTTONS[name].middles[self._size]
        x, y = x + TRIES[self._tries][0], y + TRIES[self._tries][1]
        self._label_before = self._label()
        self._tries += 1
        self._touched_at = time.monotonic()
        self._told(name, f"at {x}, {y}")
        try:
            self._stage.touch(x, y)
        except StageError as error:
            self.failure = f"{name} cannot be touched: {error}"

    def _took_effect(self) -> None:
        del self._left[0]
        self._tries = 0

    def _label(self) -> bytes:
        button = BUTTONS[self._left[0]]
        if button.label is None or self._album.image is None:
            return b""
        x, y = button.middles[self._size]
        left, top, columns, rows = button.label
        return self._album.image.crop((x + left, y + top, x + left + columns, y + top + rows)).tobytes()

    def _label_changed(self) -> bool:
        return self._label() != self._label_before
