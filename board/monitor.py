"""Talks to a running emulator through its monitor, in the QEMU Machine Protocol."""

import json
import select
import socket
import time
from typing import Any

from rehearsal.stage import StageError

ANSWERS_WITHIN = 60.0  # seconds; the emulator may be waiting for its disk

Message = dict[str, Any]


class Gone(StageError):
    """There is no emulator any more."""


class Monitor:
    """One end of a socket whose other end the emulator has. Events are kept until they are taken."""

    def __init__(self, connection: socket.socket):
        self._connection = connection
        self._connection.setblocking(False)
        self._rest = b""
        self._waiting: list[Message] = []
        self._events: list[Message] = []
        self._gone = False
        self._await(lambda message: "QMP" in message)
        self.do("qmp_capabilities")

    def fileno(self) -> int:
        return self._connection.fileno()

    def do(self, command: str, **arguments: Any) -> Any:
        """Has a command done; gives what it returns."""
        words: Message = {"execute": command}
        if arguments:
            words["arguments"] = {name.replace("_", "-"): value for name, value in arguments.items()}
        try:
            self._connection.sendall(json.dumps(words).encode() + b"\n")
        except OSError as error:
            raise Gone(f"the board is gone: {error}") from error
        answer = self._await(lambda message: "return" in message or "error" in message)
        if "error" in answer:
            raise StageError(f"the emulator's {command}: {answer['error']['desc']}")
        return answer["return"]

    def events(self) -> list[Message]:
        """What has happened since the last time."""
        self._read()
        for message in self._waiting:
            self._events.append(message)
        self._waiting = []
        events, self._events = self._events, []
        return events

    def await_event(self, name: str, within: float) -> Message:
        """Waits for an event, which the caller knows is to come; it is taken with that."""
        deadline = time.monotonic() + within
        while True:
            for event in self._events:
                if event.get("event") == name:
                    self._events.remove(event)
                    return event
            self._events.append(self._await(lambda message: "event" in message, deadline - time.monotonic()))

    def close(self) -> None:
        self._connection.close()

    def _await(self, wanted: Any, within: float = ANSWERS_WITHIN) -> Message:
        deadline = time.monotonic() + within
        while True:
            while self._waiting:
                message = self._waiting.pop(0)
                if wanted(message):
                    return message
                self._events.append(message)
            left = deadline - time.monotonic()
            if self._gone:
                raise Gone("the board is gone")
            if left <= 0:
                raise StageError("the emulator does not answer")
            select.select([self._connection], [], [], left)
            self._read()

    def _read(self) -> None:
        while not self._gone:
            try:
                data = self._connection.recv(65536)
            except BlockingIOError:
                return
            except OSError:
                data = b""
            self._gone = not data
            *lines, self._rest = (self._rest + data).split(b"\n")
            self._waiting += [json.loads(line) for line in lines if line.strip()]
