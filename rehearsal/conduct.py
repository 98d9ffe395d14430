"""Conducts a rehearsal: from making the instrument to the verdict on what became of it."""

import argparse
import datetime
import os
import signal
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

from rehearsal import modes, tourverdict, verdict
from rehearsal.album import Album
from rehearsal.case import Case, Line, reboots
from rehearsal.folders import FolderError, given_folder, new_folder
from rehearsal.follow import Follower, Limits
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.modes import MODES, OVERRIDDEN, REJECTED, TOURED, UPDATED, WRITTEN
from rehearsal.options import parse_arguments
from rehearsal.player import Player
from rehearsal.record import Record
from rehearsal.report import Report
from rehearsal.source import Source
from rehearsal.stage import Scene, Setting, Stage, StageError
from rehearsal.stages import STAGES
from rehearsal.tour import Tour, Visit
from rehearsal.tourscreens import UPDATE_LOG, UTILITY_SCRIPTS

NOT_AS_PROMISED, UNUSABLE, BROKEN_OFF = 1, 2, 130
REBOOTS_WITHIN, SETTLES_WITHIN = 15.0, 2.0  # seconds after the program's last word
HAND_SILENCE = 900.0  # seconds for a person to touch
ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
WATCHED = (*modes.SCRIPTS, *(f"utility_scripts/{name}" for name in UTILITY_SCRIPTS))


def choose_source(arguments: argparse.Namespace, stage: Stage, scratch: Path) -> tuple[Source, str | None]:
    """The update to rehearse, made if it is one of ours, and how it has to end, if that is known already."""
    mode = MODES[arguments.mode]
    outcome = dict(mode.sources).get(arguments.stick)
    if outcome is None:
        path = Path(arguments.stick).resolve()
        if not (path.is_file() if mode.network else (path / "update").is_dir()):
            raise StageError(f"{arguments.stick} is none of the mode's sticks ({', '.join(dict(mode.sources))}), "
                             f"nor {'an archive' if mode.network else 'a directory that holds update'}")
        return Source(path), arguments.expect
    path = scratch / ("update.zip" if mode.network else "stick")
    kind = [] if arguments.stick == "good" else ["--override" if mode.override else "--bad", arguments.stick]
    stage.make_update(kind, mode.network, path)
    return Source(path), arguments.expect or outcome


def promise_of(source: Source, mode: modes.Mode, flaw: str) -> str:
    if mode.tour:
        return TOURED
    if not mode.network and source.overrides():
        return OVERRIDDEN
    return REJECTED if flaw else UPDATED


def scene_of(mode: modes.Mode, scripts: Path | None) -> Scene:
    """A tour finds the log of an update that was downloaded earlier."""
    log = "".join(f"2023-05-12 09:30:00 {name}: ok\n" for name in modes.NETWORK_SCRIPTS)
    return Scene(WATCHED, mode.blank, scripts, {UPDATE_LOG: log} if mode.tour else {})


def make_player(arguments: argparse.Namespace, stage: Stage, album: Album, report: Report) -> Player | Tour:
    """Who touches the screen: for an update its few buttons, for a tour all that it leads to."""
    mode = MODES[arguments.mode]

    def told(name: str, where: str) -> None:
        report.event("touch", f"{name} {where}")

    def touched(name: str, where: str) -> None:
        told(name, where)
        album.enter(f"touched {name}")

    if mode.tour:
        return Tour(stage, album, arguments.screen, mode.tour, told, arguments.touch)
    return Player(stage, album, arguments.screen, () if arguments.touch else mode.touches, touched)


def swapper(stage: Stage, source: Source, report: Report) -> Callable[[str], None]:
    """Has a stick that answers differently once it has been checked do so, before the first image is written."""
    def before_script(name: str) -> None:
        if source.instead and name == WRITTEN[0]:
            report.event("stick", "is replaced by another")
            stage.pull()
            stage.plug(source.instead)
    return before_script


def run(arguments: argparse.Namespace, stage: Stage, source: Source, comes_back: bool, folder: Path,
        report: Report) -> tuple[Record, list[Visit]]:
    """The rehearsal itself; nothing runs on the instrument any more when it comes back, however it does."""
    mode = MODES[arguments.mode]
    album = Album(stage, folder, ("checking",) if mode.network else ("checking", "update directory found"))
    try:
        player = make_player(arguments, stage, album, report)
        silence = HAND_SILENCE if arguments.touch else arguments.patience
        within = (REBOOTS_WITHIN if comes_back else SETTLES_WITHIN) * stage.pace
        stage.start(mode.option, report.say)
        report.start_clock()
        limits = Limits(silence, 10 * silence * stage.pace, within)
        record = Follower(stage, album, player, report, limits, swapper(stage, source, report)).follow()
        return record, player.visits if isinstance(player, Tour) else []
    finally:
        album.close()


def rehearse(arguments: argparse.Namespace, stage: Stage, scratch: Path) -> bool:
    """Everything from making the instrument to its verdict; True if it ended as promised."""
    mode = MODES[arguments.mode]
    source, outcome = choose_source(arguments, stage, scratch)
    unwatched = [name for name in stage.prepare(scene_of(mode, arguments.scripts)) if name in mode.scripts]
    (stage.download if mode.network else stage.plug)(source.path)
    before = stage.holdings()
    flaw = source.flaw(before.keys, any_bootloader=mode.blank)
    outcome = outcome or promise_of(source, mode, flaw)

    folder = given_folder(arguments.folder) if arguments.folder else new_folder(arguments.mode, arguments.stick)
    report = Report(folder / "rehearsal.txt")
    report.say(f"Rehearsing {arguments.mode}: {mode.summary}. It has to end {outcome}.")
    if flaw:
        report.say(f"What is wrong with the update: {flaw}.")
    for name in unwatched:
        report.say(f"{name} is missing on the instrument, or cannot be started.")
    if arguments.touch and mode.touches:
        report.say(f"Once they can be touched, touch: {', then '.join(mode.touches)}.")

    started = datetime.datetime.now(datetime.timezone.utc)
    record, visits = run(arguments, stage, source, reboots(mode, outcome), folder, report)
    case = Case(mode, outcome, source, before, stage.holdings(), record, started)
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


def perform(arguments: argparse.Namespace) -> int:
    """A rehearsal on a stage of its own, of which nothing is left when it comes back, however it does."""
    leash, screen_leash = Leash(), Leash(signal.SIGTERM)
    scratch = Path(tempfile.mkdtemp(prefix="rehearsal-"))
    keeper = Keeper((leash, screen_leash), scratch)
    stage = STAGES[arguments.on](Setting(arguments.program, arguments.screen, scratch, arguments.touch, leash,
                                         screen_leash))
    try:
        signal.pthread_sigmask(signal.SIG_UNBLOCK, ENDING_SIGNALS)
        return 0 if rehearse(arguments, stage, scratch) else NOT_AS_PROMISED
    finally:
        signal.pthread_sigmask(signal.SIG_BLOCK, ENDING_SIGNALS)
        stage.close()
        remove(scratch)
        keeper.close()


def main() -> int:
    arguments = parse_arguments()
    # held back while there is something to clear away that nobody knows of yet
    signal.pthread_sigmask(signal.SIG_BLOCK, ENDING_SIGNALS)
    for number in ENDING_SIGNALS:
        signal.signal(number, signal.default_int_handler)
    try:
        return perform(arguments)
    except (StageError, FolderError) as error:
        return tell(str(error), UNUSABLE)
    except BrokenPipeError:
        return tell("broken off, nobody reads what it says", UNUSABLE)
    except OSError as error:
        return tell(f"{error.filename}: {error.strerror}" if error.filename else str(error), UNUSABLE)
    except KeyboardInterrupt:
        return tell("broken off", BROKEN_OFF)


def tell(message: str, status: int) -> int:
    print(f"rehearse: {message}", file=sys.stderr)
    try:
        sys.stdout.flush()
    except OSError:  # Python would try once more, and complain
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
    return status
