"""What a performance leaves behind, made into a transcript: the journal, the console and what was looked at."""

import re
from pathlib import Path
from typing import NamedTuple

from sequences import WORKER_PRINTS
from transcript import Screen, Transcript

WORKER_LINE = re.compile(r"code = -?\d+")
PARTITION_LINE = re.compile(r".* /dev/mmcblk0p2( -> .*)?")  # what "ls" says of it
SAID = "x" * 63  # what actors print


class Noted(NamedTuple):
    thread: str
    printed: int  # bytes that were on the console then
    text: str


class Printed(NamedTuple):
    end: int  # bytes that were on the console once this line was there
    text: str


class Record:
    """The program's journal and console. The player adds what it sees itself."""

    def __init__(self, folder: Path):
        self._journal, self._console = folder / "journal", folder / "console"
        self._looks: list[Screen] = []

    def note(self, thread: str, text: str) -> None:
        with self._journal.open("ab", buffering=0) as journal:
            journal.write(f"{thread}\t{self._console.stat().st_size}\t{text}\n".encode())

    def look(self, screen: Screen) -> None:
        self.note("gui", f"look {len(self._looks)}")
        self._looks.append(screen)

    def transcript(self) -> Transcript:
        noted = self._noted()
        begun = next((event.printed for event in noted if event.thread == "worker"), None)
        transcript = Transcript()
        for thread, lines in (("gui", transcript.gui), ("worker", transcript.worker)):
            printed = [line for line in self._printed() if _printer(line, begun) == thread]
            for event in noted:
                if event.thread != thread:
                    continue
                while printed and printed[0].end <= event.printed:
                    lines.append(f"print {printed.pop(0).text}")
                if event.text.startswith("look"):
                    transcript.look(self._looks[int(event.text.split()[1])])
                else:
                    lines.append(event.text)
            lines += [f"print {line.text}" for line in printed]
        return transcript

    def _noted(self) -> list[Noted]:
        events = []
        for line in self._journal.read_text().splitlines():
            thread, printed, text, *arguments = line.split("\t")
            for argument in arguments:
                value = argument.replace("\\n", "\n")
                text += f" {value}" if value.isdecimal() else f" {value!r}"
            events.append(Noted(thread, int(printed), text))
        return events

    def _printed(self) -> list[Printed]:
        lines, end = [], 0
        for line in self._console.read_bytes().splitlines(keepends=True):
            end += len(line)
            text = line.decode().removesuffix("\n")
            if not line.endswith(b"\n"):
                text += " [no line end]"
            if text != SAID:
                lines.append(Printed(end, "<partition>" if PARTITION_LINE.fullmatch(text) else text))
        return lines


def _printer(line: Printed, begun: int | None) -> str:
    """Which thread has printed a line; `begun` is what the console held when the worker first did something."""
    worker_line = line.text in WORKER_PRINTS or WORKER_LINE.fullmatch(line.text)
    return "worker" if worker_line and begun is not None and line.end > begun else "gui"
