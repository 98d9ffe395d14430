"""Plays a history on the unmodified program and records what it does.

Everything waits for everything else: the program stops before each tick, in its pause and in each script until
what the history wants to happen there has happened, and nothing goes by the clock on the wall.
"""

import json
import os
import signal
from pathlib import Path

from history import History
from instrument import Instrument
from model import LAST_TICK
from record import Record
from sequences import FOLDER, OVERRIDE_SCRIPT
from stage import Over, Party, Stage
from transcript import Transcript


MODEST = 90  # megabytes; a program that has opened every screen takes two thirds of it


class Player:
    """Plays histories one after the other on an instrument of its own, in the given empty folder."""

    def __init__(self, build: Path, program: Path, folder: Path, true_speed: bool = False):
        self._instrument = Instrument(folder)
        self._build, self._program, self._true_speed = build, program, true_speed

    def play(self, history: History) -> Transcript:
        null = dict(history.start).get("null", "there") == "there"
        command = self._instrument.command(self._build, self._program, history.options, null, self._true_speed)
        performance = Performance(self._instrument, history, command)
        try:
            return performance.run()
        finally:
            performance.close()


class Performance:
    """One history, played."""

    def __init__(self, instrument: Instrument, history: History, command: list[str]):
        self._history = history
        self._instrument = instrument
        self._instrument.reset(dict(history.start))
        self._folder = instrument.tree / "run/campaign"
        self._record = Record(self._folder)
        self._calls: dict[str, int] = {}
        self._ticks = self._rests = 0
        self._stage = Stage(self._folder, command, *self._console())

    def run(self) -> Transcript:
        try:
            while True:
                self._answer(*self._stage.hear())
        except Over as over:
            memory = self._stage.peak_memory()
            self._stage.end()
            transcript = self._record.transcript()
            transcript.end = str(over) if memory < MODEST else f"{over}, after {memory} MB"
        if not self._history.is_heard():
            transcript = transcript.without_prints()
        transcript.version = self._instrument.version()
        return transcript

    def close(self) -> None:
        self._stage.close()

    def _console(self) -> tuple[int, int]:
        """What the program prints to, and who reads it, where it is one who can go."""
        if ("console", "full") in self._history.start:
            return os.open("/dev/full", os.O_WRONLY), -1
        if self._history.has("hangup"):
            reader, console = os.pipe()
            return console, reader
        return os.open(self._folder / "console", os.O_WRONLY | os.O_APPEND), -1

    def _answer(self, party: Party, line: str) -> None:
        word, _, rest = line.partition(" ")
        if word == "window":
            self._stage.window = party
        elif word == "tick":
            self._tick(party)
        elif word == "rest":
            self._rest(party)
        elif word == "pause":
            self._record.note("worker", line)
            self._look()
            self._let_happen("pause", party)
            party.tell("go")
        elif word == "script":
            self._script(party, rest)
        elif word == "done" and party is self._stage.window:
            self._stage.owed -= 1

    def _tick(self, window: Party) -> None:
        if self._ticks == LAST_TICK:
            raise Over("running on")
        self._ticks += 1
        self._record.note("gui", f"tick {self._ticks}")
        self._let_happen(f"tick{self._ticks}", window)
        window.tell("go")

    def _rest(self, window: Party) -> None:
        self._rests += 1
        self._record.note("gui", f"rest {self._rests}")
        self._look()
        if not self._history.at(f"rest{self._rests}"):
            raise Over("at rest")
        self._let_happen(f"rest{self._rests}", window)
        window.tell("go")

    def _script(self, party: Party, call: str) -> None:
        name = call.split()[0].removeprefix(FOLDER)
        blocked = name == OVERRIDE_SCRIPT
        self._record.note("gui" if blocked else "worker", f"script {call}")
        self._calls[name] = count = self._calls.get(name, 0) + 1
        if not blocked:
            self._look()
        moment = name if count == 1 else f"{name}#{count}"
        end = "exit 0"
        for event in self._history.at(moment):
            if event.act in ("exit", "signal"):
                end = f"{event.act} {event.value}"
        self._let_happen(moment, party, blocked)
        party.tell(end)

    def _look(self) -> None:
        self._record.look(json.loads(self._stage.ask("look")))

    # What happens

    def _let_happen(self, moment: str, party: Party, blocked: bool = False) -> None:
        for event in self._history.at(moment):
            if event.act in ("touch", "clock"):
                self._order(f"{event.act} {event.value}", blocked)
            elif event.act == "say":
                self._stage.have(party, f"say {event.value}")
            elif event.act == "child":
                self._stage.have(party, "child")
            elif event.act == "stop":
                self._stop(party, blocked)
            elif event.act == "hangup":
                self._stage.hang_up()
            elif event.act == "kill":
                raise Over("killed")
            elif event.act not in ("exit", "signal"):
                self._instrument.give(event.act, event.value)

    def _order(self, order: str, blocked: bool) -> None:
        if not blocked:
            self._stage.ask(order)
        elif self._stage.window:
            self._stage.window.tell(order)
            self._stage.owed += 1

    def _stop(self, party: Party, blocked: bool) -> None:
        os.kill(party.process, signal.SIGSTOP)
        while "State:\tT" not in Path(f"/proc/{party.process}/status").read_text():
            os.sched_yield()
        if not blocked:
            self._stage.ask("look")  # the window lives
        os.kill(party.process, signal.SIGCONT)
