"""What a rehearsal says while it runs: on standard output and in a file of its folder."""

import time
from dataclasses import dataclass
from pathlib import Path

from rehearsal.case import Line
from rehearsal.folders import naming
from rehearsal.plain import plain

BAR = 40  # characters
EVENTS_KEPT = 20000


@dataclass(frozen=True)
class Event:
    at: float  # seconds since the program was started
    kind: str
    text: str


class Report:
    def __init__(self, file: Path):
        self.events: list[Event] = []
        self._path = file
        self._file = file.open("wb", buffering=0)  # nothing is left to be written at the end
        self.started = time.monotonic()

    def start_clock(self) -> None:
        """Times are told from here on."""
        self.started = time.monotonic()

    def elapsed(self) -> float:
        return time.monotonic() - self.started

    def say(self, text: str = "") -> None:
        text = plain(text)
        with naming("standard output"):
            print(text, flush=True)
        with naming(self._path):
            self._file.write(text.encode(errors="replace") + b"\n")

    def event(self, kind: str, text: str) -> None:
        at = self.elapsed()
        if len(self.events) < EVENTS_KEPT:
            self.events.append(Event(at, kind, text))
        self.say(f"{at:9.3f}  {kind:<7} {text}")

    def bar(self, percent: int) -> None:
        full = BAR * percent // 100
        self.say(f"{'':18}[{'#' * full}{'-' * (BAR - full)}] {percent} %")

    def table(self, lines: list[Line]) -> None:
        """The lines of a verdict: what is now, and what was promised."""
        first, second = (
            max(len(text) for text in column)
            for column in zip(*((line.what, line.now if line.ok else "") for line in lines))
        )
        for line in lines:
            mark = "ok" if line.ok else "NOT ok"
            self.say(f"  {mark:<8}{line.what:<{first + 2}}{line.now:<{second}}  promised: {line.promised}")

    def close(self) -> None:
        self._file.close()
