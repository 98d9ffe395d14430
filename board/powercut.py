"""Takes the power away from a board in the middle of an update, again and again, and looks at what is left."""

import argparse
import datetime
import random
import select
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

from board.stage import BoardStage
from rehearsal import verdict
from rehearsal.case import Case
from rehearsal.holdings import Holdings
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.modes import MODES, UPDATED, USB_SCRIPTS
from rehearsal.reader import ours
from rehearsal.record import Record
from rehearsal.source import Source
from rehearsal.stage import Ended, Rebooted, Scene, ScriptStarts, Setting, StageError, Started

HERE = Path(__file__).resolve().parent
UPDATES_BY_ITSELF = "teskupdater.mode=rebootusbupdate"
RUN_WITHIN = 1200.0  # seconds, from a power-on to the restart, on a busy machine
LOOKS_EVERY = 0.2
THROUGH, VOLATILE = "writes-through", "volatile-cache"
TARGET = "7"  # of an update on an instrument whose version 1 is active
LISTENS_WITHIN = 30.0
# Seconds that a script takes at least on a quiet machine; the cut comes within them after its start.
TAKES = {"2-USB-checkupdatefiles.sh": 6.0, "7-USB-rootfs.sh": 15.0, "11-SetNextPartition.sh": 12.0}
TAKES_ELSE = 1.5


@dataclass(frozen=True)
class Cut:
    """When the power goes: so many seconds after the start of a script."""

    script: str
    delay: float


def choose_cut(chance: random.Random) -> Cut:
    """Any moment of the update is as likely as any other."""
    scripts = [name for name in USB_SCRIPTS if not name.endswith("Reboot.sh")]
    script = chance.choices(scripts, [TAKES.get(name, TAKES_ELSE) for name in scripts])[0]
    return Cut(script, chance.uniform(0.0, TAKES.get(script, TAKES_ELSE)))


class CacheServer:
    """Plays a storage with a volatile cache for as long as a board is connected."""

    def __init__(self, storage: Path, socket: Path, seed: int):
        socket.unlink(missing_ok=True)
        self._log = socket.with_suffix(".log")
        with self._log.open("wb") as log:
            self._process = subprocess.Popen(
                [
                    "nbdkit",
                    "--foreground",
                    "--exit-with-parent",
                    "--unix",
                    str(socket),
                    "python",
                    str(HERE / "volatile_storage.py"),
                    f"file={storage}",
                    f"seed={seed}",
                ],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
            )
        deadline = time.monotonic() + LISTENS_WITHIN
        while not socket.exists():
            if self._process.poll() is not None or time.monotonic() > deadline:
                raise StageError(f"nbdkit does not listen: {self._log.read_text()}")
            time.sleep(0.05)

    def close(self) -> str:
        """Ends it, once the board has no power any more; tells what became of the writes it had not flushed."""
        deadline = time.monotonic() + LISTENS_WITHIN
        while not self._log.read_text().strip() and time.monotonic() < deadline:
            time.sleep(0.05)  # it says so when it has seen the end of the connection
        self._process.terminate()
        self._process.wait()
        return self._log.read_text().strip()


class Trial:
    """One board, one cut, what comes up afterwards, and the update made again."""

    def __init__(self, stage: BoardStage, update: Source, volatile: bool, seed: int, scratch: Path):
        self._stage, self._update, self._seed = stage, update, seed
        self._socket = scratch / "storage.socket" if volatile else None
        self._server: CacheServer | None = None

    def play(self, cut: Cut) -> list[str]:
        """What is wrong with the outcome."""
        before = self._stage.holdings()
        self._run(0, cut)
        after = self._stage.holdings()
        faults = left_behind(before, after, self._update)

        started, rebooted = self._run(1)
        wanted = Started(after.manifest(after.active).get("core_version", "?"), after.active)
        if started != wanted:
            faults.append(f"came back as {started}, not as {wanted}")
        if not rebooted:
            return [*faults, "the update could not be made again"]
        case = Case(MODES["usb"], UPDATED, self._update, after, self._stage.holdings(), Record(), now())
        again = [line for part in (verdict.slots, verdict.versions) for line in part(case)]
        # the date of the installation is not what this is about, and the rehearsals look at it
        return faults + [
            f"made again: {line.what} is {line.now}, not {line.promised}"
            for line in again
            if not line.ok and not line.what.startswith("manifest")
        ]

    def _run(self, start: int, cut: Cut | None = None) -> tuple[Started | None, bool]:
        """From a power-on to the restart or the cut: what started, and whether it restarted by itself."""
        if self._socket:
            self._server = CacheServer(self._stage.storage, self._socket, 2 * self._seed + start)
            self._stage.cache = self._socket
        self._stage.plug_again()
        self._stage.power_on(UPDATES_BY_ITSELF)
        try:
            return self._follow(cut)
        finally:
            self._stage.cut_power()
            if self._server:
                print(f"      unflushed at the end: {self._server.close()}", flush=True)
                self._server = None

    def _follow(self, cut: Cut | None) -> tuple[Started | None, bool]:
        started, cut_at = None, None
        gives_up_at = time.monotonic() + RUN_WITHIN
        while (left := (cut_at or gives_up_at) - time.monotonic()) > 0:
            for event in self._stage.take():
                match event:
                    case Started():
                        started = event
                    case ScriptStarts(name):
                        self._stage.let_go()
                        if cut and name == cut.script:
                            cut_at = time.monotonic() + cut.delay
                    case Rebooted() | Ended():
                        return started, isinstance(event, Rebooted)
            select.select(self._stage.descriptors(), [], [], min(left, LOOKS_EVERY))
        return started, False


def left_behind(before: Holdings, after: Holdings, update: Source) -> list[str]:
    """What a cut may not have done: the active version has to be whole, whichever it is."""
    faults = []
    if after.active not in (before.active, TARGET):
        return [f'the active partition is "{after.active}"']
    new = after.active == TARGET
    for name, slots in after.description.images.items():
        for device, version in slots.items():
            path = f"dev/{device}"
            if version == after.active:
                image = update.read(name) if new else None
                whole = after.read(path, len(image)) == image if image else after.files[path] == before.files[path]
                if not whole:
                    faults.append(f"{name} of version {after.active} is not whole")
    images = [update.read("u-boot.img") or b"", before.read("dev/mmcblk0boot0")]
    copies = [after.read(f"dev/mmcblk0{copy}") for copy in ("boot0", "boot1")]
    if not any(copy.startswith(image) for copy in copies for image in images):
        faults.append("no copy of U-Boot is whole")
    if after.user_files(after.active) != (before.factory_user_files() if new else before.user_files(after.active)):
        faults.append("the user files of the active version are not whole")
    manifest = update.manifest() if new else before.manifest(after.active)
    if after.manifest(after.active).get("core_version") != manifest.get("core_version"):
        faults.append("the manifest of the active version is not its own")
    return faults


def now() -> datetime.datetime:
    return datetime.datetime.now(datetime.timezone.utc)


def play(number: int, arguments: argparse.Namespace) -> list[str]:
    """A trial on a board of its own, of which nothing is left afterwards."""
    seed = arguments.seed + number
    cut = choose_cut(random.Random(seed))
    print(f"{seed}: {arguments.storage}, {cut.script} + {cut.delay:.3f} s", flush=True)
    leash = Leash()
    scratch = Path(tempfile.mkdtemp(prefix="powercut-"))
    keeper = Keeper((leash,), scratch)
    stage = BoardStage(Setting(Path(), "800x480", scratch, False, leash, leash))
    try:
        stage.make_update((), False, scratch / "stick")
        stage.prepare(Scene(USB_SCRIPTS))
        stage.plug(scratch / "stick")
        return Trial(stage, Source(scratch / "stick", ours()), arguments.storage == VOLATILE, seed, scratch).play(cut)
    except StageError as error:
        return [f"the trial broke off: {error}"]
    finally:
        stage.close()
        remove(scratch)
        keeper.close()


def main() -> int:
    parser = argparse.ArgumentParser(prog="board/cut-power", description=__doc__)
    parser.add_argument("--cuts", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1, help="of the first cut; each next has the next")
    parser.add_argument("--storage", choices=(THROUGH, VOLATILE), default=THROUGH)
    arguments = parser.parse_args()
    bad = 0
    for number in range(arguments.cuts):
        faults = play(number, arguments)
        bad += bool(faults)
        for fault in faults or ["whole, and the update made again"]:
            print(f"      {'NOT ' if faults else ''}ok: {fault}", flush=True)
    print(f"{arguments.cuts - bad} of {arguments.cuts} cuts left a whole version and an update that can be made again.")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
