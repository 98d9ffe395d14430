"""What a rehearsal knows of an instrument: the stage that it is played on.

Modes, touches, pictures, report and verdict use nothing else, so they are the same for every stage. A
stage is made, given what the instrument has to hold, started once, followed until it has ended, and
closed. All its methods are called by one thread; none but those that say so waits for the instrument.
"""

from abc import ABC, abstractmethod
from collections.abc import Callable, Sequence
from dataclasses import dataclass, field
from pathlib import Path

from PIL.Image import Image

from rehearsal.description import Description
from rehearsal.holdings import Holdings
from rehearsal.leash import Leash
from rehearsal.reader import ours


class StageError(Exception):
    """The stage could not do what was asked of it; the text says why."""


@dataclass(frozen=True)
class Said:
    """The program printed a line on the instrument's console."""

    line: str


@dataclass(frozen=True)
class Complained:
    """A line came on standard error, of the program or of what carries it."""

    line: str


@dataclass(frozen=True)
class ScriptStarts:
    """A script was started, and waits for `Stage.let_go`."""

    name: str  # the last part of its path


@dataclass(frozen=True)
class ScriptEnded:
    name: str
    code: str  # exit code, minus the signal that killed it, or UNSTARTABLE
    reason: str = ""  # why it could not be started


@dataclass(frozen=True)
class Rebooted:
    """The instrument goes through a reboot; what is to be seen of the run has been seen."""


@dataclass(frozen=True)
class Started:
    """The instrument has started a version of its firmware; not every stage tells."""

    version: str
    partition: str  # "1", "7" or "8"


@dataclass(frozen=True)
class Ended:
    """The program has ended, by itself or with the instrument."""

    status: int  # minus the signal that killed it


UNSTARTABLE = "unstartable"
Event = Said | Complained | ScriptStarts | ScriptEnded | Rebooted | Started | Ended


def script_event(line: str) -> Event:
    """What a watched script reports: "start NAME", "end NAME CODE" or "end NAME unstartable REASON"."""
    event, name, *result = line.split(" ", 3)
    return ScriptStarts(name) if event == "start" else ScriptEnded(name, *result)


@dataclass(frozen=True)
class Window:
    """A window of the program."""

    number: int  # no other window ever has the same
    title: str


@dataclass(frozen=True)
class Scene:
    """How the instrument is when the program is started on it."""

    watched: Sequence[str]  # scripts that are to report, by their paths below /etc/update
    blank: bool = False  # the board was never flashed
    scripts: Path | None = None  # what becomes /etc/update instead of our own
    files: dict[str, str] = field(default_factory=dict)  # texts besides, by their paths without the first slash
    trace: bool = False  # shell scripts print what they do


@dataclass(frozen=True)
class Setting:
    """What a stage is made with; scratch and leashes are its maker's to clear away afterwards."""

    program: Path
    size: str  # of the screen, as in "800x480"
    scratch: Path  # an empty directory for everything that it makes
    by_hand: bool  # a person touches the screen, which therefore has to be a window
    leash: Leash  # for every process in which the program runs
    screen_leash: Leash  # for every process in which the screen runs, if that is another
    description: Description = field(default_factory=ours)  # of the instrument


class Stage(ABC):
    """An instrument that is not there. All of its processes are on the leashes that it was made with, so
    they go even if this one is killed."""

    pace = 1.0  # how much longer than in a sandbox everything takes; limits grow with it
    tells_windows = True  # without, the screens of a tour are told from nothing but their pictures
    comes_back = False  # after a reboot it can be started again, from what it holds then
    looks_every: float | None = None  # seconds after which to ask again, if the descriptors do not tell all

    @staticmethod
    def describe(description: Description) -> Description:
        """The instrument of a description as it is on this stage; what the stage is made with."""
        return description

    @abstractmethod
    def make_update(self, kind: Sequence[str], archive: bool, path: Path) -> None:
        """Makes one of our own updates as files that suit this instrument: the content of a stick, a
        directory that holds "update", or the archive of a download. The kind is what simulator/make-stick
        takes as options. Beside a stick PATH that is to be replaced by another in the middle of the update lies
        that one, PATH.instead; beside an archive its signature."""

    @abstractmethod
    def prepare(self, scene: Scene) -> list[str]:
        """Makes the instrument. Every watched script reports its start, waits, and reports its end; what
        comes back are those that cannot be started, which stay as they are. May take a while."""

    @abstractmethod
    def plug(self, stick: Path) -> None:
        """Puts a stick with the content of a directory in, before or after the start."""

    @abstractmethod
    def pull(self) -> None:
        """Pulls the stick, before or after the start."""

    @abstractmethod
    def download(self, archive: Path) -> None:
        """Gives the instrument, before its start, an archive as the download that an update installs, and the
        signature ARCHIVE.minisig if there is one."""

    @abstractmethod
    def start(self, option: str | None, say: Callable[[str], None]) -> None:
        """Starts the screen and the program with this option; says what the user has to know. May take a while."""

    @abstractmethod
    def descriptors(self) -> list[int]:
        """What becomes readable when `take` has something to give, or `changed` to tell, that they have not
        told when last asked."""

    @abstractmethod
    def take(self) -> list[Event]:
        """What has happened since the last time. What the program prints comes before what it paints:
        a picture taken after this call may be newer than its last event, but not older."""

    @abstractmethod
    def let_go(self) -> None:
        """Lets the script go on that has waited longest."""

    @abstractmethod
    def changed(self) -> bool:
        """Whether the screen may differ from the last picture."""

    @abstractmethod
    def picture(self) -> Image:
        """The whole screen as it is now, in mode RGB."""

    @abstractmethod
    def touch(self, x: int, y: int) -> None:
        """Touches a point of the screen with a finger, and lifts it again."""

    @abstractmethod
    def window(self) -> Window | None:
        """The window in front; None where there is none, or where the stage cannot tell."""

    @abstractmethod
    def holdings(self) -> Holdings:
        """What the instrument holds that lasts, as it is now. May take a while."""

    def printed(self, name: str) -> str:
        """What a script has printed in the run that ended last, or that still goes on; empty where a stage cannot
        tell. Each run is asked for once."""
        return ""

    def keep(self, folder: Path) -> str:
        """Leaves the instrument, once stopped, in a folder that is not there yet; gives the command that opens a
        shell on it."""
        raise StageError("this stage cannot keep its instrument")

    @abstractmethod
    def stop(self) -> list[Event]:
        """Ends what still runs on the instrument, and gives the events that were left. Nothing there
        changes any more afterwards. May take a while; may be called whatever has failed."""

    def come_back(self) -> None:
        """Starts an instrument again that has rebooted and was stopped. May take a while."""
        raise NotImplementedError

    @abstractmethod
    def close(self) -> None:
        """Takes the stage down: no process of it is left. May be called whatever has failed."""
