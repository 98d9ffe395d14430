"""Conducts a rehearsal: from making the instrument to the verdict on what became of it."""

import argparse
import datetime
import os
import signal
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

from rehearsal import audit
from rehearsal.album import Album
from rehearsal.arrival import Arrival
from rehearsal.case import Case, comes_back
from rehearsal.description import Description
from rehearsal.folders import FolderError, given_folder, naming, new_folder, output_name
from rehearsal.follow import Follower, Limits
from rehearsal.judgement import judge, say
from rehearsal.holdings import Holdings
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.modes import MODES, WRITTEN
from rehearsal.page import write_page
from rehearsal.options import parse_arguments
from rehearsal.plan import Plan, choose_source, description_of, make_plan, scene_of, unstartable
from rehearsal.player import Player
from rehearsal.reader import DescriptionError
from rehearsal.record import Record
from rehearsal.report import Report
from rehearsal.stage import Setting, Stage, StageError
from rehearsal.stages import STAGES
from rehearsal.source import Source
from rehearsal.tour import Tour, Visit
from rehearsal.verdict import keys_text

NOT_AS_PROMISED, UNUSABLE, BROKEN_OFF = 1, 2, 130
REBOOTS_WITHIN, SETTLES_WITHIN = 15.0, 2.0  # seconds after the program's last word
HAND_SILENCE = 900.0  # seconds for a person to touch
ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


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


def run(
    arguments: argparse.Namespace,
    stage: Stage,
    plan: Plan,
    album: Album,
    report: Report,
) -> tuple[Record, list[Visit], Arrival | None]:
    """The rehearsal itself; nothing runs on the instrument any more when it comes back, however it does."""
    try:
        player = make_player(arguments, stage, album, report)
        stage.start(plan.mode.option, report.say)
        report.start_clock()
        before_script = swapper(stage, plan.source, report)
        record = Follower(stage, album, player, report, limits(arguments, stage, plan), before_script).follow()
        arrival = None
        if stage.comes_back and comes_back(plan.mode, plan.outcome) and not record.fault:
            arrival = Arrival(stage, album, arguments.screen, report)
            arrival.watch()
        record.states = [picture.state for picture in album.pictures]
        return record, player.visits if isinstance(player, Tour) else [], arrival
    finally:
        album.close()


def limits(arguments: argparse.Namespace, stage: Stage, plan: Plan) -> Limits:
    silence = HAND_SILENCE if arguments.touch else arguments.patience * stage.pace
    reboots, settles = REBOOTS_WITHIN * stage.pace, SETTLES_WITHIN * stage.pace
    return Limits(
        silence,
        10 * silence,
        reboots if comes_back(plan.mode, plan.outcome) else settles,
        reboots if plan.mode.network else settles,
    )


def rehearse(arguments: argparse.Namespace, stage: Stage, description: Description, scratch: Path) -> bool:
    """Everything from making the instrument to its verdict; True if it ended as promised."""
    mode = MODES[arguments.mode]
    source = choose_source(arguments, stage, description, scratch)
    noticed = list(audit.lines(arguments, source, description, scratch))
    unwatched = stage.prepare(scene_of(arguments, description))
    (stage.download if mode.network else stage.plug)(source.path)
    before = stage.holdings()
    plan = make_plan(arguments, source, before.keys, description)
    scripts = unstartable(unwatched, plan, arguments.scripts)

    folder = given_folder(arguments.folder) if arguments.folder else new_folder(arguments.mode, arguments.stick)
    report = Report(folder / "rehearsal.txt")
    announce(arguments, plan, before, scripts, report)
    for line in noticed:
        report.say(line)
    started = datetime.datetime.now(datetime.timezone.utc)
    album = Album(stage, folder, ("checking",) if mode.network else ("checking", "update directory found"))
    record, visits, arrival = run(arguments, stage, plan, album, report)
    case = Case(mode, plan.outcome, source, before, stage.holdings(), record, started, plan.asked, scripts)
    judgement = judge(case, visits, arrival.lines(case) if arrival else [])
    say(judgement, case, report)
    keep_outputs(record, folder)
    facts = {
        "what": f"{arguments.mode}: {mode.summary}",
        "update": f"{arguments.stick}{f': {plan.flaw}' if plan.flaw else ''}",
        "instrument": description.name,
        "keys": keys_text(before),
        "scripts": str(arguments.scripts or "those of the simulated instrument"),
        "screen": arguments.screen,
        "has to end": plan.outcome or plan.asked or "as the program promises whatever the scripts do",
    }
    write_page(
        folder,
        f"Rehearsal {arguments.mode}, {Path(arguments.stick).name}",
        facts,
        case,
        judgement,
        album.pictures,
        report,
    )
    report.say(f"The pictures of the screen are in {folder}, all of it as one page in {folder / 'index.html'}")
    if arguments.keep:
        report.say(f"The instrument is in {folder / 'instrument'}; a shell on it: {stage.keep(folder / 'instrument')}")
    return judgement.good


def announce(
    arguments: argparse.Namespace, plan: Plan, before: Holdings, scripts: dict[str, str], report: Report
) -> None:
    end = (
        f"It has to end {plan.outcome}."
        if plan.outcome
        else "Without a description of your instrument only the program is judged; what the scripts do is told."
    )
    report.say(f"Rehearsing {arguments.mode}: {plan.mode.summary}. {end}")
    if plan.outcome and plan.flaw:
        report.say(f"What is wrong with the update: {plan.flaw}.")
    if not before.keys:
        report.say("The instrument has no keys: it verifies no signature.")
    for name, why in scripts.items():
        if before.description.has(name):
            report.say(f"{name} {why}.")
    if arguments.touch and plan.mode.touches:
        report.say(f"Once they can be touched, touch: {', then '.join(plan.mode.touches)}.")


def keep_outputs(record: Record, folder: Path) -> None:
    """What each script printed, in a file of its own."""
    for number, script in enumerate(record.runs, 1):
        if script.printed:
            file = folder / output_name(number, script)
            with naming(file):
                file.write_text(script.printed)


def perform(arguments: argparse.Namespace) -> int:
    """A rehearsal on a stage of its own, of which nothing is left when it comes back, however it does."""
    description = STAGES[arguments.on].describe(description_of(arguments))
    leash, screen_leash = Leash(), Leash(signal.SIGTERM)
    scratch = Path(tempfile.mkdtemp(prefix="rehearsal-"))
    keeper = Keeper((leash, screen_leash), scratch)
    stage = STAGES[arguments.on](
        Setting(arguments.program, arguments.screen, scratch, arguments.touch, leash, screen_leash, description)
    )
    try:
        signal.pthread_sigmask(signal.SIG_UNBLOCK, ENDING_SIGNALS)
        return 0 if rehearse(arguments, stage, description, scratch) else NOT_AS_PROMISED
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
    except (StageError, FolderError, DescriptionError) as error:
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
