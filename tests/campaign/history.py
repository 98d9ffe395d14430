"""A history: how the program is started, what it finds, and what happens to it while it runs.

A history is one line of words:

    --rebootusbupdate stick=directory update=directory tick6:stick=absent 3-USB-UBoot.sh:exit=3 rest1:touch=USBbtn

Words that begin with "--" are the program's options; "THING=SHAPE" is how something is at the start;
"MOMENT:ACT=VALUE" is something that happens. A moment is

    tickN       just before the N-th tick of the start-up timer, counted from the program's start
    pause       during the worker's pause of one second
    NAME.sh     while that script runs, for the first time; NAME.sh#2 for the second
    restN       when the program has come to rest for the N-th time: it now only waits for a touch

and an act is a change of a thing, or one of ACTS. Acts of one moment happen in the order in which they stand.
"""

from dataclasses import dataclass

OPTIONS = ("--autoupdate", "--usbupdate", "--rebootusbupdate", "--gobackupdate", "--deadusbrebuild")

ACTS = {
    "touch": "of the named widget, where it lies; a widget that is not to be seen is not touched",
    "exit": "the script ends with this code",
    "signal": "the script dies of this signal",
    "say": "the script prints so many bytes",
    "child": "the script leaves a child behind that lives on",
    "stop": "the script is stopped, and continued after the screen has been looked at",
    "clock": "the time of day jumps by so many seconds",
    "hangup": "the reader of the console goes",
    "kill": "the program is killed, or its power cut",
}

# What the program can find, and the shapes that it can have; the first is how a healthy instrument has it.
THINGS = {
    "stick": ("absent", "directory", "link", "file"),
    "update": ("absent", "directory", "link", "file"),
    "override": ("absent", "filled", "empty", "folders", "links", "hidden", "file"),
    "partition": ("there", "absent", "dangling"),
    "marker": ("absent", "empty", "lines", "unreadable", "directory", "dangling", "large"),
    "overridemarker": ("absent", "empty"),
    "version": ("absent", "old", "unwritable", "directory", "full"),
    "null": ("there", "absent"),
    "console": ("takes", "full"),
}
SCRIPT_SHAPES = ("runs", "missing", "plain", "directory", "dangling", "uninterpreted", "garbage")


def shapes(thing: str) -> tuple[str, ...]:
    """The shapes of a thing; every script is a thing too."""
    return SCRIPT_SHAPES if thing.endswith(".sh") else THINGS[thing]


@dataclass(frozen=True)
class Event:
    """Something that happens: at a moment, an act, and what it is done with."""

    moment: str
    act: str
    value: str

    def __str__(self) -> str:
        return f"{self.moment}:{self.act}={self.value}"


@dataclass(frozen=True)
class History:
    options: tuple[str, ...] = ()
    start: tuple[tuple[str, str], ...] = ()
    events: tuple[Event, ...] = ()

    def __str__(self) -> str:
        return " ".join([*self.options, *(f"{thing}={shape}" for thing, shape in self.start), *map(str, self.events)])

    def at(self, moment: str) -> list[Event]:
        return [event for event in self.events if event.moment == moment]

    def has(self, act: str) -> bool:
        return any(event.act == act for event in self.events)

    def is_heard(self) -> bool:
        """Whether what is printed reaches somebody to the end."""
        return not self.has("hangup") and ("console", "full") not in self.start


def parse(line: str) -> History:
    """The history that a line tells; ValueError where it tells none."""
    options: list[str] = []
    start: list[tuple[str, str]] = []
    events: list[Event] = []
    for word in line.split():
        if word.startswith("--"):
            options.append(word)
            continue
        head, equals, value = word.partition("=")
        moment, colon, act = head.partition(":")
        if not equals:
            raise ValueError(f"no value: {word}")
        thing = act if colon else head
        if (thing in THINGS or thing.endswith(".sh")) and value not in shapes(thing):
            raise ValueError(f"no such shape: {word}")
        if thing not in THINGS and not thing.endswith(".sh") and not (colon and thing in ACTS):
            raise ValueError(f"no such thing or act: {word}")
        if colon:
            events.append(Event(moment, act, value))
        else:
            start.append((head, value))
    return History(tuple(options), tuple(start), tuple(events))
