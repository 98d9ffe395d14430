"""Measures the board. Seconds are those of the emulator's processor time: they hardly depend on what else is done on
this machine, and on a quiet one they are what a person would wait, but for the emulated storage's own waits."""

import argparse
import statistics
import subprocess
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

from board.firmware import PACKAGES, Firmware
from board.images import copy_sparse
from board.measurescreen import longest_stillness, open_log
from board.measurestart import BARE, PHASES, VARIANTS, Repeater, from_power_on
from board.stage import BoardStage
from board.storage import INSTRUMENT
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.plan import WATCHED
from rehearsal.stage import Scene, Setting

LOG_LINES = 200_000  # some 10 MB
LOG = "var/log/messages"  # the first that the log viewer lists
UPDATES_BY_ITSELF = "teskupdater.mode=rebootusbupdate"
WIDTH = 44


def row(name: str, values: list[float], unit: str = "s", more: str = "") -> None:
    """The median, and from where to where the values go."""
    print(f"{name:<{WIDTH}}{statistics.median(values):6.1f} {unit}   ({min(values):.1f} to {max(values):.1f}){more}")


def measure_start(stage: BoardStage, times: int) -> None:
    """Each start after a fresh power-on, the updater's and the bare window's in turn."""
    updater, bare = [], []
    for _ in range(times):
        updater.append(from_power_on(stage))
        bare.append(from_power_on(stage, BARE))
    for number, name in enumerate(PHASES):
        row(name, [phases[number] for phases in updater])
    row("power-on to first picture", [sum(phases) for phases in updater])
    row("a bare Qt window", [phases[-1] for phases in bare])
    ratios = [one[-1] / other[-1] for one, other in zip(updater, bare)]
    row("program in bare windows, first start", ratios, "")


def measure_settings(stage: BoardStage, times: int) -> None:
    """Starts of the program on a running board, with one setting after another."""
    repeater = Repeater(stage)
    values: dict[str, list[tuple[float, float]]] = {name: [] for name in VARIANTS}
    for name, command in VARIANTS.items():
        repeater.start(command)  # what it reads is in memory from here on
    for _ in range(times):
        for name, command in VARIANTS.items():
            values[name].append(repeater.start(command))
    stage.cut_power()
    first = [seconds for seconds, _ in values[next(iter(VARIANTS))]]
    for name, starts in values.items():
        ratio = statistics.median(mine / packaged for (mine, _), packaged in zip(starts, first))
        memory = statistics.median(peak for _, peak in starts)
        row(name, [seconds for seconds, _ in starts], "s", f"  {ratio:.2f}  peak memory {memory:.1f} MB")


def measure_update(stage: BoardStage, _: int) -> None:
    """The longest time in which a person sees nothing move, and what the board does then."""
    stage.plug_again()
    stage.power_on(UPDATES_BY_ITSELF)
    seconds, during = longest_stillness(stage)
    stage.cut_power()
    print(f"{'longest time without a change of the screen':<{WIDTH}}{seconds:6.1f} s   ({during})")


def measure_log(stage: BoardStage, times: int) -> None:
    page, end = [], []
    for _ in range(times):
        stage.plug_again()
        stage.power_on()
        seconds = open_log(stage)
        stage.cut_power()
        page.append(seconds[0])
        end.append(seconds[1])
    row("log of 10 MB, to its first page", page)
    row("log of 10 MB, from there to its last line", end)


def measure_size(stage: BoardStage, _: int) -> None:
    package = next(PACKAGES.glob("teskupdater_*.deb"))
    with tempfile.TemporaryDirectory() as scratch:
        subprocess.run(["dpkg-deb", "--extract", package, scratch], check=True)
        files = [file for file in Path(scratch).rglob("*") if file.is_file() and "doc" not in file.parts]
        program = next(file for file in files if file.match("usr/bin/teskupdater"))
        print(f"{'program':<{WIDTH}}{program.stat().st_size / 1000:6.0f} kB")
        print(f"{'all that its package brings':<{WIDTH}}{sum(file.stat().st_size for file in files) / 1000:6.0f} kB")


MEASURES: dict[str, Callable[[BoardStage, int], None]] = {
    "size": measure_size,
    "settings": measure_settings,
    "start": measure_start,
    "log": measure_log,
    "update": measure_update,
}


def main() -> int:
    parser = argparse.ArgumentParser(prog="board/measure", description=__doc__)
    parser.add_argument("--times", type=int, default=5)
    parser.add_argument("measures", nargs="*", choices=[*MEASURES, []], metavar="|".join(MEASURES))
    arguments = parser.parse_args()
    leash = Leash()
    scratch = Path(tempfile.mkdtemp(prefix="measure-"))
    keeper = Keeper((leash,), scratch)
    stage = BoardStage(Setting(Path(), "800x480", scratch, False, leash, leash, INSTRUMENT))
    try:
        Firmware(print)
        stage.make_update((), False, scratch / "stick")
        log = "".join(f"2023-10-03 06:00:{n % 60:02} kernel[{n}]: line {n} of a long log\n" for n in range(LOG_LINES))
        stage.prepare(Scene(WATCHED, files={LOG: log}))
        stage.plug(scratch / "stick")
        fresh = scratch / "fresh.img"
        copy_sparse(stage.files[0], fresh)
        for name in arguments.measures or MEASURES:
            copy_sparse(fresh, stage.files[0])
            print(f"{name}:", flush=True)
            MEASURES[name](stage, arguments.times)
        return 0
    finally:
        stage.close()
        remove(scratch)
        keeper.close()


if __name__ == "__main__":
    sys.exit(main())
