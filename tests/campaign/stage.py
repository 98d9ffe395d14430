"""The program on its instrument, and the conversation with all who take part in a performance."""

import os
import select
import signal
import socket
import struct
import subprocess
from pathlib import Path

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
        try:
            data = self._connection.recv(65536)
        except ConnectionResetError:  # it went without having heard all that it was told
            return False
        self._read += data
        return bool(data)

    def line(self) -> str:
        line, _, self._read = self._read.partition(b"\n")
        return line.decode()

    def tell(self, order: str) -> None:
        try:
            self._connection.sendall(order.encode() + b"\n")
        except OSError:
            pass  # it has gone; whoever waits for its answer will hear that the program has ended

    def close(self) -> None:
        self._connection.close()


class Stage:
    """A program that runs, and everybody who talks: the window, the worker, the scripts.

    `console` is what the program prints to and `reader` its other end, where it has one; both are taken over.
    """

    def __init__(self, folder: Path, command: list[str], console: int, reader: int = -1):
        self.window: Party | None = None
        self.owed = 0  # answers of a blocked window that nobody waits for
        self._listener = socket.socket(socket.AF_UNIX)
        (folder / "socket").unlink(missing_ok=True)
        self._listener.bind(str(folder / "socket"))
        self._listener.listen()
        self._parties: list[Party] = []
        self._messages: list[tuple[Party, str]] = []  # heard, and not answered yet
        self._reader = reader
        environment = {"PATH": os.environ["PATH"], "QT_QPA_PLATFORM": "offscreen", "LANG": "C.UTF-8"}
        self._process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=console, stderr=subprocess.DEVNULL, env=environment
        )
        os.close(console)
        self._ended = os.pidfd_open(self._process.pid)

    def hear(self) -> tuple[Party, str]:
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

    def ask(self, order: str) -> str:
        """Has the window do something; returns what it says when it has."""
        assert self.window
        self.window.tell(order)
        kept = []
        while True:
            party, line = self.hear()
            if party is not self.window or line in ("tick", "rest", "wait"):
                kept.append((party, line))
            elif self.owed:
                self.owed -= 1
            else:
                self._messages[:0] = kept
                return line

    def have(self, party: Party, order: str) -> None:
        """Has a script do something, and waits until it has."""
        party.tell(order)
        kept = []
        while (message := self.hear()) != (party, "done"):
            kept.append(message)
        self._messages[:0] = kept

    def hang_up(self) -> None:
        """Takes the reader of the console away."""
        if self._reader >= 0:
            os.close(self._reader)
            self._reader = -1

    def peak_memory(self) -> int:
        """The most megabytes that the program has taken so far; 0 where it has ended."""
        try:
            status = Path(f"/proc/{self.window.process if self.window else 0}/status").read_text(encoding="ascii")
        except FileNotFoundError:
            return 0
        return sum(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM")) // 1024

    def end(self) -> None:
        """Ends the program, and with it everything in its sandbox."""
        if self.window and self._process.poll() is None:
            try:
                os.kill(self.window.process, signal.SIGKILL)
            except ProcessLookupError:
                pass
        elif not self.window:
            self._process.kill()
        self._process.wait()

    def close(self) -> None:
        self.end()
        self._listener.close()
        for party in self._parties:
            party.close()
        os.close(self._ended)
        self.hang_up()

    def _listen(self, ear: Party | socket.socket | int) -> None:
        if ear is self._listener:
            self._parties.append(Party(self._listener.accept()[0]))
        elif ear == self._reader:
            if not os.read(self._reader, 65536):
                self.hang_up()  # everyone who could print has ended
        elif isinstance(ear, Party):
            if not ear.read():
                self._parties.remove(ear)
                ear.close()
            while ear.has_line():
                self._messages.append((ear, ear.line()))
