"""Measures the board: how long it takes from power-on to the first picture, and what the program holds."""

import argparse
import select
import statistics
import sys
import tempfile
import time
from pathlib import Path

from board.stage import BoardStage
from rehearsal.leash import Keeper, Leash, remove
from rehearsal.stage import Complained, Said, Scene, Setting, StageError, Started

PHASES = ("kernel", "user space", "program", "power-on to first picture")
BARE = "board.program=/usr/lib/board/bare"
STARTS_WITHIN = 600.0  # seconds, on a busy machine
LOOKS_EVERY = 0.05


def measure_start(stage: BoardStage, parameters: str = "") -> tuple[float, ...]:
    """Seconds from power-on to the bootloader, from there to the program's start, from there to its first picture."""
    begin = time.monotonic()
    at: dict[str, float] = {}
    stage.power_on(parameters)
    while time.monotonic() < begin + STARTS_WITHIN:
        for event in stage.take():
            match event:
                case Complained(line) if line.startswith("bootloader: version"):
                    at["kernel"] = time.monotonic()
                case Started():
                    at["user space"] = time.monotonic()
                case Said(_):
                    at.setdefault("said", time.monotonic())
        if "user space" in at and stage.picture().getcolors(1) is None:
            now = time.monotonic()
            stage.cut_power()
            return (at["kernel"] - begin, at["user space"] - at["kernel"], now - at["user space"], now - begin)
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    raise StageError("there was no picture")


def main() -> int:
    parser = argparse.ArgumentParser(prog="board/measure", description=__doc__)
    parser.add_argument("--times", type=int, default=5)
    arguments = parser.parse_args()
    leash = Leash()
    scratch = Path(tempfile.mkdtemp(prefix="measure-"))
    keeper = Keeper((leash,), scratch)
    stage = BoardStage(Setting(Path(), "800x480", scratch, False, leash, leash))
    try:
        stage.prepare(Scene(()))
        starts: dict[str, list[tuple[float, ...]]] = {"": [], BARE: []}
        for _ in range(arguments.times):  # in turn, so that a busy machine slows both alike
            for parameters, rows in starts.items():
                rows.append(measure_start(stage, parameters))
        for name, values in zip(PHASES, zip(*starts[""])):
            print(f"{name:<28}{statistics.median(values):6.1f} s   ({min(values):.1f} to {max(values):.1f})")
        program, bare = (statistics.median(row[2] for row in rows) for rows in starts.values())
        print(f"{'a bare Qt window':<28}{bare:6.1f} s   the program takes {program / bare:.2f} of it")
        return 0
    finally:
        stage.close()
        remove(scratch)
        keeper.close()


if __name__ == "__main__":
    sys.exit(main())
