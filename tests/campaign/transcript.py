"""What a history leads to, told by the model or recorded from the program; and how two of them differ."""

import difflib
from dataclasses import dataclass, field

Screen = dict[str, dict[str, object]]  # by object name: what is to be seen of the widget


@dataclass
class Transcript:
    """What each thread did in its order; between the two threads no order is kept, since none is promised.

    A line of it begins with what it is: "tick", "pause", "rest", "print", "sync", "signal", "script", or
    "look" with a widget and what has changed about it since the look before.
    """

    gui: list[str] = field(default_factory=list)
    worker: list[str] = field(default_factory=list)
    screen: Screen = field(default_factory=dict)  # the last that was seen
    version: str = ""  # what /tmp/runningbootloaderversion holds at the end
    end: str = ""  # "exit N", "killed", "at rest", "running on"

    def look(self, screen: Screen) -> None:
        """Notes what has changed since the last look."""
        for name in sorted(screen):
            before = self.screen.get(name, {})
            for aspect, value in sorted(screen[name].items()):
                if before.get(aspect) != value:
                    self.gui.append(f"look {name}: {aspect} {value!r}")
        for name in sorted(self.screen.keys() - screen.keys()):
            self.gui.append(f"look {name}: gone")
        self.screen = {name: dict(aspects) for name, aspects in screen.items()}

    def without_prints(self) -> "Transcript":
        """For a console whose reader has gone: nobody saw what was printed."""

        def heard(lines: list[str]) -> list[str]:
            return [line for line in lines if not line.startswith("print")]

        return Transcript(heard(self.gui), heard(self.worker), self.screen, self.version, self.end)


def differences(expected: Transcript, seen: Transcript) -> list[str]:
    """Lines with "-" are expected and missing, lines with "+" happened and should not have."""
    found: list[str] = []
    for part in ("gui", "worker"):
        wanted, had = getattr(expected, part), getattr(seen, part)
        if wanted != had:
            found.append(f"{part} thread:")
            found += list(difflib.unified_diff(wanted, had, lineterm="", n=2))[2:]
    for part in ("version", "end"):
        wanted, had = getattr(expected, part), getattr(seen, part)
        if wanted != had:
            found += [f"{part}:", f"-{wanted}", f"+{had}"]
    return found
