"""What a rehearsal says while it runs: on standard output and in a file of its folder."""

import time
from pathlib import Path

from rehearsal.case import Line
from rehearsal.folders import naming

BAR = 40  # characters


class Report:
    def __init__(self, file: Path):
        self._path = file
        self._file = file.open("wb", buffering=0)  # nothing is left to be written at the end
        self._started = time.monotonic()

    def start_clock(self) -> None:
        """Times are told from here on."""
        self._started = time.monotonic()

    def elapsed(self) -> float:
        return time.monotonic() - self._started

    def say(self, text: str = "") -> None:
        with naming("standard output"):
            print(text, flush=True)
        with naming(self._path):
            self._file.write(text.encode(errors="replace") + b"\n")

    def event(self, kind: str, text: str) -> None:
        self.say(f"{self.elapsed():9.3f}  {kind:<7} {text}")

    def bar(self, percent: int) -> None:
        full = BAR * percent // 100
        self.say(f"{'':18}[{'#' * full}{'-' * (BAR - full)}] {percent} %")

    def table(self, lines: list[Line]) -> None:
        """The lines of a verdict: what is now, and what was promised."""
        first, second = (max(len(text) for text in column) for column in
                         zip(*((line.what, line.now if line.ok else "") for line in lines)))
        for line in lines:
            mark = "ok" if line.ok else "NOT ok"
            self.say(f"  {mark:<8}{line.what:<{first + 2}}{line.now:<{second}}  promised: {line.promised}")

    def close(self) -> None:
        self._file.close()
