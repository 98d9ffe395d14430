"""Follows the program from its start to the reboot, or to where it can go no further."""

import os
import select
import selectors
import subprocess
import time
from collections.abc import Callable
from dataclasses import dataclass

import modes
from album import Album
from player import Player
from record import Record, ScriptRun
from report import Report

ENDS_WITHIN = 15.0  # seconds, for all that runs on an instrument once its program has ended
GATE_OPENS_WITHIN = 2.0  # seconds, whatever the screen shows
SOON = 0.01
REPEATED = 5  # starts of one script: the program has come into a loop
LINES_KEPT = 20000
LINE_LENGTH = 1000
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


class Lines:
    """Puts what is read from a pipe together to lines; overlong ones come in pieces."""

    def __init__(self, pipe: int, take: Callable[[str], None]):
        os.set_blocking(pipe, False)
        self.pipe = pipe
        self._take = take
        self._rest = b""

    def read(self) -> bool:
        """Takes what there is; False at the pipe's end."""
        try:
            data = os.read(self.pipe, 65536)
        except BlockingIOError:
            return True
        *whole, self._rest = (self._rest + data).split(b"\n")
        if len(self._rest) > LINE_LENGTH or (not data and self._rest):
            whole.append(self._rest)
            self._rest = b""
        for line in whole:
            self._take(line[:LINE_LENGTH].decode(errors="replace"))
        return bool(data)

    def read_all(self, within: float) -> None:
        """Takes the rest, up to the pipe's end: once nobody is left who could write more."""
        deadline = time.monotonic() + within
        while select.select([self.pipe], [], [], max(0.0, deadline - time.monotonic()))[0] and self.read():
            pass


class Follower:
    """One run of the program. The scripts' watchers report on the pipe `journal`, and wait for `gate`."""

    def __init__(self, program: subprocess.Popen, journal: int, gate: int, album: Album, player: Player,
                 report: Report, limits: Limits):
        self.record = Record()
        self._program, self._album, self._player, self._report, self._limits = program, album, player, report, limits
        self._console = Lines(program.stdout.fileno(), self._heard)
        self._errors = Lines(program.stderr.fileno(), lambda line: report.event("stderr", f"| {line}"))
        self._journal = Lines(journal, self._scripted)
        self._done_at = time.monotonic() + limits.whole
        self._done_reason = f"it did not end within {limits.whole:.0f} s"
        self._last_event = time.monotonic()
        self._gate = gate
        self._at_gate: list[tuple[str, float]] = []  # scripts that wait to be let go on, since when
        self._step = ""  # the last that the program has announced
        self._selector = selectors.DefaultSelector()
        self._exited = os.pidfd_open(program.pid)
        self._sources = {album.fileno(): self._hear_screen, self._console.pipe: self._console.read,
                         self._journal.pipe: self._journal.read, self._errors.pipe: self._errors.read}
        for source in (*self._sources, self._exited):
            self._selector.register(source, selectors.EVENT_READ)

    def follow(self) -> Record:
        """Comes back when the instrument has rebooted, or when nothing more is to come; then nothing runs any more."""
        try:
            while not self.record.fault and self._turn():
                pass
            self._album.keep()
            return self.record
        finally:
            self._stop()

    def _stop(self) -> None:
        """Ends what still runs on the instrument; nothing there changes any more afterwards."""
        if self._program.returncode is None:
            self._program.kill()
            self._program.wait()
        self._console.read_all(ENDS_WITHIN)
        self._errors.read_all(ENDS_WITHIN)
        self._journal.read()

    def _turn(self) -> bool:
        waits = [self._watch_screen(), self._let_go(), self._player.step(), self._time_left()]
        if self._player.failure:
            self.record.fault = self._player.failure
            return False
        ready = {key.fd for key, _ in self._selector.select(max(0.0, min(w for w in waits if w is not None)))}
        for source, read in self._sources.items():
            if source in ready and not read():
                self._selector.unregister(source)
        if self._exited in ready:
            self.record.exit_status = self._program.wait()
            return False
        return self._in_time()

    def _let_go(self) -> float | None:
        """Lets a script go on once the picture of what the screen shows with it is there."""
        if not self._at_gate:
            return None
        name, since = self._at_gate[0]
        announced = name not in modes.MESSAGES or self._step in modes.MESSAGES[name]
        if not (announced and self._album.shows_state()) and time.monotonic() < since + GATE_OPENS_WITHIN:
            return SOON
        del self._at_gate[0]
        self.record.runs.append(ScriptRun(name, self._report.elapsed()))
        self._report.event("script", f"{name} starts")
        os.write(self._gate, b"g")
        return 0.0

    def _time_left(self) -> float:
        return min(self._done_at, self._last_event + self._limits.silence) - time.monotonic()

    def _in_time(self) -> bool:
        if self._time_left() > 0:
            return True
        self.record.fault = self._done_reason
        if time.monotonic() < self._done_at:
            running = [run.name for run in self.record.runs if run.ended is None]
            doing = f"{running[-1]} was running" if running else "no script was running"
            self.record.fault = f"nothing happened for {self._limits.silence:.0f} s, {doing}"
        return False

    def _hear_screen(self) -> bool:
        self._of_screen(self._album.look)
        return not self.record.fault

    def _watch_screen(self) -> float | None:
        self._console.read()  # the program prints first and paints then
        return self._of_screen(self._album.settle)

    def _of_screen(self, ask: Callable[[], float | None]) -> float | None:
        try:
            return ask()
        except OSError as error:
            self.record.fault = f"the screen is gone: {error}"
            return 0.0

    def _heard(self, line: str) -> None:
        self._last_event = time.monotonic()
        self._report.event("console", f"| {line}")
        if len(self.record.lines) < LINES_KEPT:
            self.record.lines.append(line)
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
            self._expect_end(self._limits.after_finish, "")

    def _expect_end(self, within: float, reason: str) -> None:
        """The program will say no more, unless it offers its buttons; a reboot may still come."""
        self._done_at = time.monotonic() + within
        self._done_reason = reason

    def _scripted(self, line: str) -> None:
        """Takes a watcher's report: "start NAME", "end NAME CODE" or "end NAME unstartable REASON"."""
        self._last_event = time.monotonic()
        event, name, *result = line.split(" ", 3)
        if event == "start":
            self._at_gate.append((name, self._last_event))
            return
        run = next(run for run in reversed(self.record.runs) if run.name == name)
        run.ended, run.code = self._report.elapsed(), result[0]
        self._report.event("script", f"{name} {ending(run.code, result[1:])} ({run.ended - run.started:.3f} s)")
        if sum(run.name == name for run in self.record.runs) == REPEATED:
            self.record.fault = f"{name} runs again and again"


def ending(code: str, reason: list[str]) -> str:
    """How a script ended, in words."""
    if code == "unstartable":
        return f"cannot be started, {reason[0]}"
    return f"was killed by signal {-int(code)}" if int(code) < 0 else f"ends with exit code {code}"
