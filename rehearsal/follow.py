"""Follows the program from its start to the reboot, or to where it can go no further."""

import select
import time
from collections.abc import Callable
from dataclasses import dataclass
from typing import Protocol

from rehearsal import modes
from rehearsal.album import Album
from rehearsal.record import Record, ScriptRun
from rehearsal.report import Report
from rehearsal.stage import (
    UNSTARTABLE,
    Complained,
    Ended,
    Event,
    Rebooted,
    Said,
    ScriptEnded,
    ScriptStarts,
    Stage,
    StageError,
)

GATE_OPENS_WITHIN = 2.0  # seconds, whatever the screen shows
SOON = 0.01
OVERRIDES_BEGIN = "Implementing overrides..."
REJECTIONS = ("Version Checking...FAILED", "Verifying Files...FAILED")
REPEATED = 5  # starts of one script: the program has come into a loop
LINES_KEPT = 20000
READY = "BOARD Previously Flashed - Partition 2 already exists"
STATES = {
    READY: "ready",
    "Update in progress": "update in progress",
    "BLANK BOARD - Partition 2 does not exist": "blank board",
    "Implementing overrides...": "overrides",
    "Version Checking...FAILED": "rejected",
    "Verifying Files...FAILED": "rejected",
    modes.FINISHED: "finished",
}


@dataclass(frozen=True)
class Limits:
    """In seconds."""

    silence: float  # without a console line, or a script's start or end
    whole: float
    after_finish: float  # between the program's last word and the reboot
    after_rejection: float  # the same for an update that was turned down


class Touching(Protocol):
    """Who touches the screen."""

    failure: str  # why it cannot go on

    def begin(self) -> None:
        """The buttons are there."""

    def heard(self, line: str) -> None:
        """The program printed a line."""

    def step(self) -> float | None:
        """Does what is due; tells in how many seconds to ask again."""


class Follower:
    """One run of a stage that has been started."""

    def __init__(
        self,
        stage: Stage,
        album: Album,
        player: Touching,
        report: Report,
        limits: Limits,
        before_script: Callable[[str], None] = lambda name: None,
    ):
        self.record = Record()
        self._before_script = before_script  # is told of each script before it is let go on
        self._stage, self._album, self._player, self._report, self._limits = stage, album, player, report, limits
        self._done_at = time.monotonic() + limits.whole
        self._done_reason = f"it did not end within {limits.whole:.0f} s"
        self._last_event = time.monotonic()
        self._over = False
        self._at_gate: list[tuple[str, float]] = []  # scripts that wait to be let go on, since when
        self._step = ""  # the last that the program has announced
        self._rejected = False
        self._looked = False  # at the instrument, since the last event
        self._overrides = 0  # how often they were begun

    def follow(self) -> Record:
        """Comes back when the instrument has rebooted, or when nothing more is to come; then nothing runs any more."""
        try:
            while not self.record.fault and not self._over:
                self._turn()
            self._album.keep()
            return self.record
        finally:
            for event in self._stage.stop():
                self._take(event)
            for run in self.record.runs:
                if run.ended is None:
                    run.printed += self._stage.printed(run.name)

    def _turn(self) -> None:
        try:
            self._take_all()
            waits = [self._album.settle(), self._let_go(), self._player.step(), self._stage.looks_every]
            if self._stage.changed():  # seen by one of these, so it is in no descriptor any more
                waits.append(0.0)
        except StageError as error:
            self.record.fault = str(error)
            return
        self.record.fault = self.record.fault or self._player.failure
        if not self._over and not self.record.fault and self._in_time():
            left = min(wait for wait in (*waits, self._time_left()) if wait is not None)
            select.select(self._stage.descriptors(), [], [], max(0.0, left))

    def _take_all(self) -> None:
        """Looking at the instrument takes a moment: what was said meanwhile is heard before the screen is seen."""
        self._looked = True
        while self._looked:
            self._looked = False
            for event in self._stage.take():
                self._take(event)

    def _take(self, event: Event) -> None:
        match event:
            case Said(line):
                self._heard(line)
            case Complained(line):
                self._report.event("stderr", f"| {line}")
            case ScriptStarts(name):
                self._last_event = time.monotonic()
                self._at_gate.append((name, self._last_event))
            case ScriptEnded():
                self._script_ended(event)
            case Rebooted():
                self._over = True
            case Ended(status):
                self.record.exit_status = status
                self._over = True

    def _let_go(self) -> float | None:
        """Lets a script go on once the picture of what the screen shows with it is there."""
        if not self._at_gate:
            return None
        name, since = self._at_gate[0]
        announced = name not in modes.MESSAGES or self._step in modes.MESSAGES[name]
        opens_at = since + GATE_OPENS_WITHIN * self._stage.pace
        if not (announced and self._album.shows_state()) and time.monotonic() < opens_at:
            return SOON
        del self._at_gate[0]
        self.record.runs.append(ScriptRun(name, self._report.elapsed()))
        self._before_script(name)
        self._report.event("script", f"{name} starts")
        self._stage.let_go()
        return 0.0

    def _time_left(self) -> float:
        return min(self._done_at, self._last_event + self._limits.silence) - time.monotonic()

    def _in_time(self) -> bool:
        if self._time_left() > 0:
            return True
        self._over = True
        self.record.fault = self._done_reason
        if time.monotonic() < self._done_at:
            running = [run.name for run in self.record.runs if run.ended is None]
            doing = f"{running[-1]} was running" if running else "no script was running"
            self.record.fault = f"nothing happened for {self._limits.silence:.0f} s, {doing}"
        return False

    def _heard(self, line: str) -> None:
        self._last_event = time.monotonic()
        self._report.event("console", f"| {line}")
        if len(self.record.lines) < LINES_KEPT:
            self.record.lines.append(line)
        self._overridden(line)
        percent = modes.PROGRESS.get(line)
        if percent is not None:
            self._album.enter(f"{percent} {line}")
            self._report.bar(percent)
            self._step = line
        elif line in STATES:
            self._album.enter(STATES[line])
        self._player.heard(line)
        if line == READY:
            self._player.begin()
            self._expect_end(self._limits.whole, f"it did not end within {self._limits.whole:.0f} s")
        elif line == modes.FINISHED or line.startswith("FAIL - "):
            self._expect_end(self._limits.after_rejection if self._rejected else self._limits.after_finish, "")

    def _overridden(self, line: str) -> None:
        """What the override script prints comes on the console, and the program prints nothing meanwhile."""
        self._rejected = self._rejected or line in REJECTIONS
        self._overrides += line == OVERRIDES_BEGIN
        if self._overrides == REPEATED + 1:
            self.record.fault = f"{modes.OVERRIDE_SCRIPT} is started again and again"
        run = self.record.runs[-1] if self.record.runs else None
        own = line == OVERRIDES_BEGIN or line in REJECTIONS or line.startswith(("Status set...", "ostat = "))
        if run and run.name == modes.OVERRIDE_SCRIPT and run.ended is None and not own:
            run.printed += f"{line}\n"

    def _expect_end(self, within: float, reason: str) -> None:
        """The program will say no more, unless it offers its buttons; a reboot may still come."""
        self._done_at = time.monotonic() + within
        self._done_reason = reason

    def _script_ended(self, event: ScriptEnded) -> None:
        self._last_event = time.monotonic()
        run = next(run for run in reversed(self.record.runs) if run.name == event.name)
        run.ended, run.code = self._report.elapsed(), event.code
        self._report.event("script", f"{event.name} {ending(event)} ({run.ended - run.started:.3f} s)")
        run.after = self._stage.holdings()
        run.printed += self._stage.printed(event.name)
        self._looked = True
        if sum(run.name == event.name for run in self.record.runs) == REPEATED:
            self.record.fault = f"{event.name} runs again and again"


def ending(event: ScriptEnded) -> str:
    """How a script ended, in words."""
    if event.code == UNSTARTABLE:
        return f"cannot be started, {event.reason}"
    code = int(event.code)
    return f"was killed by signal {-code}" if code < 0 else f"ends with exit code {code}"
