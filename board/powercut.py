"""Takes the power away from a board in the middle of an update, again and again, and looks at what is left.

At the chosen moment the board stands still while its storage and its stick are copied as a power cut would leave
them. The next start is from that copy: it has to bring up a whole version, and the update has to succeed. While it is
made again, the next cut comes. So every cut costs one update, and many come over what earlier ones have left.
"""

import argparse
import datetime
import random
import select
import shutil
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

from board.cacheserver import CacheServer
from board.cuts import Cut, choose_cut, left_behind
from board.firmware import BUILD
from board.images import copy_sparse
from board.stage import BoardStage
from board.storage import INSTRUMENT
from rehearsal import verdict
from rehearsal.case import Case
from rehearsal.holdings import Holdings
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.modes import MODES, UPDATED
from rehearsal.plan import WATCHED
from rehearsal.record import Record
from rehearsal.source import Source
from rehearsal.stage import Ended, Rebooted, Scene, ScriptStarts, Setting, StageError, Started

UPDATES_BY_ITSELF = "teskupdater.mode=rebootusbupdate"
RUN_WITHIN = 1200.0  # seconds, from a power-on to the restart, on a busy machine
LOOKS_EVERY = 0.05
THROUGH, VOLATILE = "writes-through", "volatile-cache"
KEPT = BUILD / "cuts"  # what a bad cut has left


class Series:
    """One cut after another on a board that has been prepared."""

    def __init__(self, stage: BoardStage, update: Source, volatile: bool, scratch: Path):
        self._stage, self._update, self._volatile, self._scratch = stage, update, volatile, scratch
        self._copies = [scratch / f"cut-{file.name}" for file in stage.files]
        self._first = [scratch / f"first-{file.name}" for file in stage.files]
        for file, first in zip(stage.files, self._first):
            copy_sparse(file, first)
        self._before: Holdings | None = None  # what there was when the update began that the power was taken from
        self._started: Started | None = None

    def cut(self, seed: int, cut: Cut) -> None:
        """Begins with a fresh board and an update that the power is taken from."""
        for file, first in zip(self._stage.files, self._first):
            copy_sparse(first, file)
        self._before = self._stage.holdings()
        if not self._run(seed, cut, goes_on=False):
            raise StageError(f"the update broke off before {cut.script}")

    def come_back(self, seed: int, following: tuple[int, Cut] | None) -> list[str]:
        """Starts what a cut has left, and takes the power from that update in turn; gives what is wrong."""
        assert self._before, "there was no cut"
        for file, copy in zip(self._stage.files, self._copies):
            copy.replace(file)
        left = self._stage.holdings()
        faults = left_behind(self._before, left, self._update)
        if faults:
            self._keep(seed)
        self._before = left
        ended = self._run(*following) if following else self._run(seed, None)
        faults += self._faults_of_update(left, ended)
        if following and not all(copy.exists() for copy in self._copies):
            faults.append(f"cut {following[0]} did not come about")
        return faults

    def _faults_of_update(self, left: Holdings, ended: bool) -> list[str]:
        """What is wrong with what came up on what was left, and with the update made again there."""
        faults = []
        wanted = Started(left.manifest(left.active).get("core_version", "?"), left.active)
        if self._started != wanted:
            faults.append(f"came back as {self._started}, not as {wanted}")
        if not ended:
            return [*faults, "the update could not be made again"]
        now = datetime.datetime.now(datetime.timezone.utc)
        case = Case(MODES["usb"], UPDATED, self._update, left, self._stage.holdings(), Record(), now)
        again = [line for part in (verdict.slots, verdict.versions) for line in part(case)]
        # the date of the installation is not what this is about, and the rehearsals look at it
        return faults + [
            f"made again: {line.what} is {line.now}, not {line.promised}"
            for line in again
            if not line.ok and not line.what.startswith("manifest")
        ]

    def _run(self, seed: int, cut: Cut | None, goes_on: bool = True) -> bool:
        """From a power-on to the restart, or to the cut; tells whether it came to that."""
        server = None
        if self._volatile:
            self._stage.cache = self._scratch / "storage.socket"
            server = CacheServer(self._stage.files[0], self._stage.cache, seed)
        self._stage.plug_again()
        self._stage.power_on(UPDATES_BY_ITSELF)
        try:
            return self._follow(cut, goes_on, lambda: self._take_power(seed, server))
        finally:
            self._stage.cut_power()
            if server:
                server.close()

    def _follow(self, cut: Cut | None, goes_on: bool, take_power: Callable[[], None]) -> bool:
        self._started = None
        cut_at = None
        gives_up_at = time.monotonic() + RUN_WITHIN
        while time.monotonic() < gives_up_at:
            for event in self._stage.take():
                match event:
                    case Started():
                        self._started = event
                    case ScriptStarts(name):
                        self._stage.let_go()
                        if cut and name == cut.script:
                            cut_at = self._stage.worked() + cut.delay
                    case Rebooted() | Ended():
                        if cut_at:
                            take_power()
                        return isinstance(event, Rebooted)
            if cut_at and self._stage.worked() >= cut_at:
                take_power()
                cut = cut_at = None
                if not goes_on:
                    return True
            select.select(self._stage.descriptors(), [], [], LOOKS_EVERY)
        return False

    def _take_power(self, seed: int, server: CacheServer | None) -> None:
        with self._stage.halted():
            for file, copy in zip(self._stage.files, self._copies):
                copy_sparse(file, copy)
            if server:
                print(f"      {seed}: unflushed {server.cut(self._copies[0], seed)}", flush=True)

    def _keep(self, seed: int) -> None:
        KEPT.mkdir(exist_ok=True)
        shutil.copy(self._stage.files[0], KEPT / f"{seed}.img")
        print(f"      {seed}: kept as {KEPT / f'{seed}.img'}", flush=True)


def play(seeds: range, storage: str) -> int:
    """How many of the cuts were survived; nothing is left of the boards afterwards but what a bad cut has left."""
    leash = Leash()
    scratch = Path(tempfile.mkdtemp(prefix="powercut-"))
    keeper = Keeper((leash,), scratch)
    stage = BoardStage(Setting(Path(), "800x480", scratch, False, leash, leash, INSTRUMENT))
    try:
        stage.make_update((), False, scratch / "stick")
        stage.prepare(Scene(WATCHED))
        stage.plug(scratch / "stick")
        return play_series(Series(stage, Source(scratch / "stick", INSTRUMENT), storage == VOLATILE, scratch), seeds)
    finally:
        stage.close()
        remove(scratch)
        keeper.close()


def play_series(series: Series, seeds: range) -> int:
    good, faults = 0, ["not begun"]
    cuts = {seed: choose_cut(random.Random(seed)) for seed in seeds}
    for seed in seeds:
        begin = time.monotonic()
        try:
            if faults:  # the last update did not get to the next cut
                series.cut(seed, cuts[seed])
            following = (seed + 1, cuts[seed + 1]) if seed + 1 in cuts else None
            faults = series.come_back(seed, following)
        except StageError as error:
            faults = [f"it broke off: {error}"]
        good += not faults
        print(
            f"{seed}: {cuts[seed].script} + {cuts[seed].delay:.3f} s: "
            f"{'; '.join(faults) or 'whole, and the update made again'} ({time.monotonic() - begin:.0f} s)",
            flush=True,
        )
    return good


def main() -> int:
    parser = argparse.ArgumentParser(prog="board/cut-power", description=__doc__.splitlines()[0])
    parser.add_argument("--cuts", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1, help="of the first cut; each next has the next")
    parser.add_argument("--storage", choices=(THROUGH, VOLATILE), default=THROUGH)
    arguments = parser.parse_args()
    good = play(range(arguments.seed, arguments.seed + arguments.cuts), arguments.storage)
    print(f"{good} of {arguments.cuts} cuts left a whole version and an update that can be made again.")
    return 0 if good == arguments.cuts else 1


if __name__ == "__main__":
    sys.exit(main())
