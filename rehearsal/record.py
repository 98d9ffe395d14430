"""What was seen of a run of the program."""

from dataclasses import dataclass, field

from rehearsal.holdings import Holdings


@dataclass
class ScriptRun:
    name: str
    started: float
    ended: float | None = None
    code: str = ""  # exit code, minus the signal, or "unstartable"
    after: Holdings | None = None  # what the instrument held when it had ended
    printed: str = ""


@dataclass
class Record:
    lines: list[str] = field(default_factory=list)  # of the console
    runs: list[ScriptRun] = field(default_factory=list)
    states: list[str] = field(default_factory=list)  # of the screen, of which there is a picture
    fault: str = ""  # why the rehearsal was broken off
    exit_status: int | None = None  # of the program, if it ended by itself
