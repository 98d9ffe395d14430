"""Rehearses an update: the unmodified program on a simulated instrument, from its start to the reboot."""

import argparse
import datetime
import itertools
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

import modes
import tourverdict
import verdict
from album import Album
from case import Case, Line
from follow import Follower, Limits
from holdings import Holdings
from instrument import GATE, JOURNAL, Instrument, InstrumentError, run_tool
from modes import MODES, OVERRIDDEN, REJECTED, TOURED, UPDATED
from player import Player
from record import Record
from report import Report
from screen import SIZES, Screen, ScreenError
from source import Source
from tour import Tour, Visit
from xconnection import XConnection

TOP = Path(__file__).resolve().parent.parent
NOT_AS_PROMISED, UNUSABLE = 1, 2
REBOOTS_WITHIN, SETTLES_WITHIN = 15.0, 2.0  # seconds after the program's last word
HAND_SILENCE = 900.0  # seconds for a person to touch


class Arguments(argparse.ArgumentParser):
    """The options; usage.txt, which is shown also where there is no Python yet, explains them."""

    def __init__(self):
        super().__init__(prog="rehearse", add_help=False, allow_abbrev=False)
        self.add_argument("--mode", choices=MODES, default="usb")
        self.add_argument("--stick", default="good")
        self.add_argument("--expect", choices=(UPDATED, REJECTED, OVERRIDDEN))
        self.add_argument("--scripts", type=Path)
        self.add_argument("--screen", choices=SIZES, default=SIZES[0])
        self.add_argument("--touch", action="store_true")
        self.add_argument("--patience", type=float, default=60)
        self.add_argument("--folder", type=Path)
        self.add_argument("--program", type=Path, required=True)

    def format_usage(self) -> str:
        return "./rehearse --help tells what there is\n"


def parse_arguments() -> argparse.Namespace:
    parser = Arguments()
    arguments = parser.parse_args()
    if arguments.stick == "good":  # the mode's first, whatever it is called
        arguments.stick = MODES[arguments.mode].sources[0][0]
    if arguments.touch and not os.environ.get("DISPLAY"):
        parser.error("--touch needs a display to open the window on")
    if not os.access(arguments.program, os.X_OK) or not arguments.program.is_file():
        parser.error(f"there is no program {arguments.program}")
    if arguments.scripts and not arguments.scripts.is_dir():
        parser.error(f"there is no directory {arguments.scripts}")
    return arguments


def choose_source(arguments: argparse.Namespace, scratch: Path) -> tuple[Source, str]:
    """The update to rehearse, made if it is one of ours, and how it has to end."""
    mode = MODES[arguments.mode]
    outcome = dict(mode.sources).get(arguments.stick)
    if outcome is None:
        path = Path(arguments.stick).resolve()
        if not (path.is_file() if mode.network else (path / "update").is_dir()):
            raise InstrumentError(f"{arguments.stick} is none of the mode's sticks ({', '.join(dict(mode.sources))}), "
                                  f"nor {'an archive' if mode.network else 'a directory that holds update'}")
        source = Source(path)
        return source, arguments.expect or promise_of(source, mode)
    path = scratch / ("update.zip" if mode.network else "stick")
    kind = [] if arguments.stick == "good" else ["--override" if mode.override else "--bad", arguments.stick]
    run_tool("make-archive" if mode.network else "make-stick", *kind, path)
    return Source(path), arguments.expect or outcome


def promise_of(source: Source, mode: modes.Mode) -> str:
    if mode.tour:
        return TOURED
    if not mode.network and source.overrides():
        return OVERRIDDEN
    return REJECTED if mode.verifies and source.flaw() else UPDATED


def open_screen(size: str, needs_window: bool, scratch: Path, report: Report) -> Screen:
    """A window if there is a display to open it on, else an invisible screen."""
    log = scratch / "screen.log"
    if os.environ.get("DISPLAY"):
        try:
            return Screen(size, True, log)
        except ScreenError as error:
            if needs_window:
                raise
            report.say(f"{error}; going on without a window")
    return Screen(size, False, log)


def start_program(instrument: Instrument, program: Path, option: str | None, display: str) -> subprocess.Popen:
    environment = {**os.environ, "DISPLAY": display, "QT_QPA_PLATFORM": "xcb", "LANG": "C.UTF-8"}
    command = instrument.command(program.resolve(), [option] if option else [])
    return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            env=environment, start_new_session=True)


def make_player(arguments: argparse.Namespace, instrument: Instrument, display: str, album: Album,
                connection: XConnection, report: Report) -> Player | Tour:
    """Who touches the screen: for an update its few buttons, for a tour all that it leads to."""
    mode = MODES[arguments.mode]

    def told(name: str, where: str) -> None:
        report.event("touch", f"{name} {where}")

    def touched(name: str, where: str) -> None:
        told(name, where)
        album.enter(f"touched {name}")

    if mode.tour:
        return Tour(mode.tour, (display, arguments.screen), album, connection, lambda: Holdings(instrument.tree),
                    told, arguments.touch)
    return Player(display, arguments.screen, () if arguments.touch else mode.touches, lambda: album.pixels,
                  album.shows_state, touched)


def run(arguments: argparse.Namespace, instrument: Instrument, reboots: bool, folder: Path, scratch: Path,
        report: Report) -> tuple[Record, list[Visit]]:
    """The rehearsal itself; nothing runs any more when it comes back, however it does."""
    mode = MODES[arguments.mode]
    screen = open_screen(arguments.screen, arguments.touch, scratch, report)
    try:
        connection = XConnection(screen.number)
        first = ("checking",) if mode.network else ("checking", "update directory found")
        album = Album(connection, folder, first)
        journal, gate = (os.open(instrument.tree / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))

        player = make_player(arguments, instrument, screen.display, album, connection, report)
        silence = HAND_SILENCE if arguments.touch else arguments.patience
        limits = Limits(silence, 10 * silence, REBOOTS_WITHIN if reboots else SETTLES_WITHIN)
        report.start_clock()
        program = start_program(instrument, arguments.program, mode.option, screen.display)
        try:
            record = Follower(program, journal, gate, album, player, report, limits).follow()
            return record, player.visits if mode.tour else []
        finally:
            album.close()
    finally:
        screen.close()


def rehearse(arguments: argparse.Namespace, scratch: Path) -> bool:
    """Everything from making the instrument to its verdict; True if it ended as promised."""
    mode = MODES[arguments.mode]
    source, outcome = choose_source(arguments, scratch)
    instrument = Instrument(scratch / "instrument", mode.blank, arguments.scripts)
    instrument.plug(source.path, mode.network)
    if mode.tour:
        instrument.leave_update_log()
    unwatched = [name for name in instrument.watch_scripts() if name in mode.scripts]

    folder = make_folder(arguments)
    report = Report(folder / "rehearsal.txt")
    report.say(f"Rehearsing {arguments.mode}: {mode.summary}. It has to end {outcome}.")
    if flaw := source.flaw():
        report.say(f"What is wrong with the update: {flaw}.")
    for name in unwatched:
        report.say(f"{name} is missing on the instrument, or cannot be started.")
    if arguments.touch and mode.touches:
        report.say(f"Once they can be touched, touch: {', then '.join(mode.touches)}.")

    before, started = Holdings(instrument.tree), datetime.datetime.now(datetime.timezone.utc)
    record, visits = run(arguments, instrument, outcome != REJECTED or mode.network, folder, scratch, report)
    case = Case(mode, outcome, source, before, Holdings(instrument.tree), record, started)
    good = conclude(case, tourverdict.judge(case, visits) if mode.tour else verdict.judge(case), report)
    report.say(f"The pictures of the screen are in {folder}")
    return good


def conclude(case: Case, lines: list[Line], report: Report) -> bool:
    report.say(f"\n{case.log.rpartition('/')[2]} of the instrument:")
    for line in case.after.text(case.log).splitlines():
        report.say(f"  | {line}")
    report.say("\nVerdict, what the instrument holds now:")
    report.table(lines)
    wrong = sum(not line.ok for line in lines)
    report.say(f"\n{f'NOT as promised, in {wrong} of {len(lines)} points.' if wrong else 'As promised.'}")
    return not wrong


def make_folder(arguments: argparse.Namespace) -> Path:
    """A new folder for the pictures."""
    if arguments.folder:
        arguments.folder.mkdir(parents=True, exist_ok=True)
        if any(arguments.folder.iterdir()):
            raise InstrumentError(f"{arguments.folder} is not empty")
        return arguments.folder
    stick = re.sub(r"[^\w.-]", "-", Path(arguments.stick).name)
    name = f"{arguments.mode}-{stick}-{datetime.datetime.now():%Y%m%d-%H%M%S}"
    for number in itertools.count(1):
        folder = TOP / "rehearsals" / (name if number == 1 else f"{name}-{number}")
        try:
            folder.mkdir(parents=True)
            return folder
        except FileExistsError:  # another rehearsal began in the same second
            continue


def remove(tree: Path) -> None:
    """Removes a tree, whatever permissions a script has given its directories."""
    for directory, names, _ in os.walk(tree):
        for path in (os.path.join(directory, name) for name in names):
            if not os.path.islink(path):  # a link may lead anywhere, out of the tree too
                os.chmod(path, 0o700)
    shutil.rmtree(tree, ignore_errors=True)


def main() -> int:
    arguments = parse_arguments()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    scratch = Path(tempfile.mkdtemp(prefix="rehearsal-"))
    try:
        return 0 if rehearse(arguments, scratch) else NOT_AS_PROMISED
    except (InstrumentError, ScreenError, OSError) as error:
        print(f"rehearse: {error}", file=sys.stderr)
        return UNUSABLE
    except KeyboardInterrupt:
        print("\nrehearse: broken off", file=sys.stderr)
        return 130
    finally:
        remove(scratch)


if __name__ == "__main__":
    sys.exit(main())
