"""What is to be rehearsed: which update on which instrument, and what has to come of it."""

import argparse
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from pathlib import Path

from rehearsal import modes
from rehearsal.description import Description
from rehearsal.modes import MODES, OVERRIDDEN, REJECTED, TOURED, UPDATED, Mode
from rehearsal.reader import ours, read
from rehearsal.source import Source
from rehearsal.stage import Scene, Stage, StageError
from rehearsal.tourscreens import UPDATE_LOG, UTILITY_SCRIPTS
from rehearsal.unstartable import reason

OUR_SCRIPTS = Path(__file__).resolve().parent.parent / "simulator/scripts"
WATCHED = (*modes.SCRIPTS, *(f"utility_scripts/{name}" for name in UTILITY_SCRIPTS))


@dataclass(frozen=True)
class Plan:
    mode: Mode
    source: Source
    outcome: str  # empty: whatever the scripts make of it
    asked: str = ""  # the end that the user expects of them then
    flaw: str = ""  # why the instrument has to reject the update


def description_of(arguments: argparse.Namespace) -> Description:
    return read(arguments.instrument) if arguments.instrument else ours()


def choose_source(arguments: argparse.Namespace, stage: Stage, description: Description, scratch: Path) -> Source:
    """The update, made if it is one of ours."""
    mode = MODES[arguments.mode]
    if (
        mode.tour_ends_with
        and description.versions.ring[:1] != ("1",)
        or mode.tour_ends_with not in ("", *description.versions.ring)
    ):
        raise StageError(f"the tour {arguments.mode} needs an instrument with the versions 1 and {mode.tour_ends_with}")
    if arguments.stick not in dict(mode.sources):
        path = Path(arguments.stick).resolve()
        if not (path.is_file() if mode.network else (path / "update").is_dir()):
            raise StageError(
                f"{arguments.stick} is none of the mode's sticks ({', '.join(dict(mode.sources))}), "
                f"nor {'an archive' if mode.network else 'a directory that holds update'}"
            )
        return Source(path, description)
    path = scratch / ("update.zip" if mode.network else "stick")
    kind = [] if arguments.stick == "good" else ["--override" if mode.override else "--bad", arguments.stick]
    stage.make_update(kind, mode.network, path)
    return Source(path, description)


def make_plan(arguments: argparse.Namespace, source: Source, keys: Sequence[bytes], description: Description) -> Plan:
    """What has to come of an update on an instrument that knows these keys. Scripts without a description of their
    instrument are not judged."""
    mode = MODES[arguments.mode]
    flaw = source.flaw(keys, any_bootloader=mode.blank)
    if arguments.scripts and not arguments.instrument:
        return Plan(mode, source, "", arguments.expect or "", flaw)
    outcome = arguments.expect or dict(mode.sources).get(arguments.stick)
    outcome = outcome or promise_of(source, mode, description, flaw)
    if outcome == UPDATED and not description.images:
        raise StageError(f"{description.file}: without [images] it cannot be seen whether an update is installed")
    return Plan(mode, source, outcome, "", flaw)


def promise_of(source: Source, mode: Mode, description: Description, flaw: str) -> str:
    """How an update of the user's own has to end."""
    if mode.tour:
        return TOURED
    if not mode.network and source.overrides():
        return OVERRIDDEN
    if not description.update.tells and not description.signature.keys and not mode.blank:
        raise StageError(
            f"{description.file} does not say how to tell a good update from a bad one, in [update] by "
            f"sums or a bootloader_key, or in [signature]: say --expect {UPDATED} or --expect {REJECTED}"
        )
    return REJECTED if flaw else UPDATED


def scene_of(arguments: argparse.Namespace, description: Description) -> Scene:
    """A tour finds the log of an update that was downloaded earlier."""
    mode = MODES[arguments.mode]
    log = "".join(f"2023-05-12 09:30:00 {name}: ok\n" for name in modes.NETWORK_SCRIPTS)
    place = description.logs.download.lstrip("/") or UPDATE_LOG
    return Scene(WATCHED, mode.blank, arguments.scripts, {place: log} if mode.tour else {}, arguments.trace)


def unstartable(names: list[str], plan: Plan, scripts: Path | None) -> dict[str, str]:
    """Of the scripts that the program may come to, those that cannot be started, and why."""
    network = plan.mode.network
    wanted = (
        *plan.mode.scripts,
        *((modes.CLEANUP_SCRIPT,) if network else ()),
        *((modes.OVERRIDE_SCRIPT,) if not network and plan.source.overrides() else ()),
    )
    return {name: reason(place) for name, place in places(scripts or OUR_SCRIPTS) if name in names and name in wanted}


def places(scripts: Path) -> Iterator[tuple[str, Path]]:
    for name in WATCHED:
        yield name.rpartition("/")[2], scripts / name
