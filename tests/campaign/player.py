"""Plays a history on the unmodified program and records what it does.

Everything waits for everything else: the program stops before each tick, in its pause and in each script until
what the history wants to happen there has happened, and nothing goes by the clock on the wall.
"""

import json
import os
import select
import signal
import socket
import struct
import subprocess
from pathlib import Path

from history import History
from instrument import Instrument
from model import LAST_TICK
from record import Record
from sequences import FOLDER, OVERRIDE_SCRIPT
from transcript import Transcript

PATIENCE = 60  # seconds without a sign of life, after which a program counts as hung


class Over(Exception):
    """The history has come to its end; says to which."""


class Party:
    """One that converses with the player: a script, the window, or the worker in its pause."""

    def __init__(self, connection: socket.socket):
        self._connection = connection
        credentials = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
        self.process: int = struct.unpack("3i", credentials)[0]
        self._read = b""

    def fileno(self) -> int:
        return self._connection.fileno()

    def has_line(self) -> bool:
        return b"\n" in self._read

    def read(self) -> bool:
        """Takes what there is; False if the party has gone."""
        data = self._connection.recv(65536)
        self._read += data
        return bool(data)

    def line(self) -> str:
        line, _, self._read = self._read.partition(b"\n")
        return line.decode()

    def tell(self, order: str) -> None:
        self._connection.sendall(order.encode() + b"\n")

    def close(self) -> None:
        self._connection.close()


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
        self._listener = socket.socket(socket.AF_UNIX)
        (self._folder / "socket").unlink(missing_ok=True)
        self._listener.bind(str(self._folder / "socket"))
        self._listener.listen()
        self._parties: list[Party] = []
        self._messages: list[tuple[Party, str]] = []  # heard, and not answered yet
        self._window: Party | None = None
        self._owed = 0  # answers of a blocked window that nobody waits for
        self._calls: dict[str, int] = {}
        self._ticks = self._rests = 0
        self._reader = -1  # of the console, where it is one whose reader can go
        console = self._open_console()
        environment = {"PATH": os.environ["PATH"], "QT_QPA_PLATFORM": "offscreen", "LANG": "C.UTF-8"}
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=console,
                                         stderr=subprocess.DEVNULL, env=environment)
        os.close(console)
        self._ended = os.pidfd_open(self._process.pid)

    def run(self) -> Transcript:
        try:
            while True:
                self._answer(*self._hear())
        except Over as over:
            self._end()
            transcript = self._record.transcript()
            transcript.end = str(over)
        if not self._history.is_heard():
            transcript = transcript.without_prints()
        transcript.version = self._instrument.version()
        return transcript

    def close(self) -> None:
        self._end()
        self._listener.close()
        for party in self._parties:
            party.close()
        os.close(self._ended)
        self._hang_up()

    def _open_console(self) -> int:
        if ("console", "full") in self._history.start:
            return os.open("/dev/full", os.O_WRONLY)
        if not self._history.has("hangup"):
            return os.open(self._folder / "console", os.O_WRONLY | os.O_APPEND)
        self._reader, console = os.pipe()
        return console

    def _hang_up(self) -> None:
        if self._reader >= 0:
            os.close(self._reader)
            self._reader = -1

    def _end(self) -> None:
        """Ends the program, and with it everything in its sandbox."""
        if self._window and self._process.poll() is None:
            try:
                os.kill(self._window.process, signal.SIGKILL)
            except ProcessLookupError:
                pass
        elif not self._window:
            self._process.kill()
        self._process.wait()

    # The conversation

    def _hear(self) -> tuple[Party, str]:
        """The next message of anyone; Over when the program has ended."""
        while not self._messages:
            ears: list[Party | socket.socket | int] = [self._listener, self._ended, *self._parties]
            if self._reader >= 0:
                ears.append(self._reader)
            ready = select.select(ears, [], [], PATIENCE)[0]
            if not ready:
                raise Over("hung")
            for ear in ready:
                self._listen(ear)
            if ready == [self._ended]:
                raise Over(f"exit {self._process.wait()}")
        return self._messages.pop(0)

    def _listen(self, ear: Party | socket.socket | int) -> None:
        if ear is self._listener:
            self._parties.append(Party(self._listener.accept()[0]))
        elif ear == self._reader:
            if not os.read(self._reader, 65536):
                self._hang_up()  # everyone who could print has ended
        elif isinstance(ear, Party):
            if not ear.read():
                self._parties.remove(ear)
                ear.close()
            while ear.has_line():
                self._messages.append((ear, ear.line()))

    def _ask(self, order: str) -> str:
        """Has the window do something; returns what it says when it has."""
        assert self._window
        self._window.tell(order)
        kept = []
        while True:
            party, line = self._hear()
            if party is not self._window or line in ("tick", "rest"):
                kept.append((party, line))
            elif self._owed:
                self._owed -= 1
            else:
                self._messages[:0] = kept
                return line

    def _answer(self, party: Party, line: str) -> None:
        word, _, rest = line.partition(" ")
        if word == "window":
            self._window = party
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
        elif word == "done" and party is self._window:
            self._owed -= 1

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
        self._record.look(json.loads(self._ask("look")))

    # What happens

    def _let_happen(self, moment: str, party: Party, blocked: bool = False) -> None:
        for event in self._history.at(moment):
            if event.act in ("touch", "clock"):
                self._order(f"{event.act} {event.value}", blocked)
            elif event.act == "say":
                self._have_act(party, f"say {event.value}")
            elif event.act == "child":
                self._have_act(party, "child")
            elif event.act == "stop":
                self._stop(party, blocked)
            elif event.act == "hangup":
                self._hang_up()
            elif event.act == "kill":
                raise Over("killed")
            elif event.act not in ("exit", "signal"):
                self._instrument.give(event.act, event.value)

    def _order(self, order: str, blocked: bool) -> None:
        if not blocked:
            self._ask(order)
        elif self._window:
            self._window.tell(order)
            self._owed += 1

    def _have_act(self, party: Party, order: str) -> None:
        party.tell(order)
        kept = []
        while (message := self._hear()) != (party, "done"):
            kept.append(message)
        self._messages[:0] = kept

    def _stop(self, party: Party, blocked: bool) -> None:
        os.kill(party.process, signal.SIGSTOP)
        while "State:\tT" not in Path(f"/proc/{party.process}/status").read_text():
            os.sched_yield()
        if not blocked:
            self._ask("look")  # the window lives
        os.kill(party.process, signal.SIGCONT)
