"""Sees an instrument come up again after its reboot: which version it is, and what its Versions screen shows."""

import select
import time

from rehearsal.album import Album
from rehearsal.case import Case, Line
from rehearsal.follow import READY
from rehearsal.likeness import same_screen
from rehearsal.player import TAKES_EFFECT_WITHIN
from rehearsal.report import Report
from rehearsal.stage import Complained, Ended, Event, Rebooted, Said, ScriptStarts, Stage, StageError, Started
from rehearsal.tourscreens import MIDDLES, SIZES

COMES_UP_WITHIN = 60.0  # seconds
AT_REST_AFTER = 0.3
LOOKS_EVERY = 0.05
SEEN = "opened by a touch"


class Arrival:
    """What came up; `lines` says what was promised."""

    def __init__(self, stage: Stage, album: Album, size: str, report: Report):
        self._stage, self._album, self._report = stage, album, report
        self._middle = MIDDLES["main: Versions"][SIZES.index(size)]
        self._started: Started | None = None
        self._may_touch = False
        self._over = False
        self._screen = "not reached"

    def watch(self) -> None:
        """Comes back when the screen was seen, or is not to be seen; then nothing runs any more."""
        try:
            self._stage.come_back()
            self._album.enter("back")
            deadline = time.monotonic() + COMES_UP_WITHIN * self._stage.pace
            while not self._over and time.monotonic() < deadline and not self._offers_versions():
                self._turn()
            if not self._over and self._may_touch:
                self._touch()
        except StageError as error:
            self._screen = str(error)
        finally:
            self._stage.stop()

    def lines(self, case: Case) -> list[Line]:
        active = case.target or case.mode.tour_ends_with or case.before.active
        manifest = case.source.manifest() if case.target else case.before.manifest(active)
        return [
            Line(
                "comes back as", described(self._started), described(Started(manifest.get("core_version", "?"), active))
            ),
            Line("its Versions screen", self._screen, SEEN),
        ]

    def _offers_versions(self) -> bool:
        return self._may_touch and self._album.at_rest(AT_REST_AFTER * self._stage.pace)

    def _touch(self) -> None:
        before = self._album.image
        x, y = self._middle
        self._report.event("touch", f"Versions at {x}, {y}")
        self._album.keep()
        self._album.enter("versions after the reboot")
        self._stage.touch(x, y)
        deadline = time.monotonic() + TAKES_EFFECT_WITHIN * self._stage.pace
        while not self._over and time.monotonic() < deadline:
            self._turn()
            if not same_screen(before, self._album.image) and self._album.at_rest(AT_REST_AFTER * self._stage.pace):
                self._screen = SEEN
                return
        self._screen = "not opened by a touch"

    def _turn(self) -> None:
        for event in self._stage.take():
            self._take(event)
        self._album.settle()
        if not self._over:
            select.select(self._stage.descriptors(), [], [], LOOKS_EVERY)

    def _take(self, event: Event) -> None:
        match event:
            case Started():
                self._started = event
                self._report.event("board", described(event))
            case Said(line):
                self._report.event("console", f"| {line}")
                self._may_touch = self._may_touch or line == READY or line.startswith("FAIL - ")
            case Complained(line):
                self._report.event("stderr", f"| {line}")
            case ScriptStarts():
                self._stage.let_go()
            case Rebooted() | Ended():
                self._over = True
                self._screen = "it went down again"


def described(started: Started | None) -> str:
    return f"firmware {started.version} from version partition {started.partition}" if started else "nothing"
