"""Many monkeys: some live wild, one start after the other; some live long and steadily, and their memory is watched."""

import argparse
import collections
import multiprocessing
import os
import random
import shutil
import sys
import tempfile
import time
from pathlib import Path
from typing import NamedTuple

import draw
from instrument import Instrument
from monkey import Fault, Life, furnish

TOP = Path(__file__).resolve().parents[2]
LIFE = 600  # touches after which a wild life is over at the latest
SHARE = 2000  # touches of a wild monkey
STEADY = 4  # of how many touches one belongs to a steady life
LONG = 80  # hundreds of touches without which a life's memory is not judged
MAY_GROW = 64  # pages


class Task(NamedTuple):
    seed: str
    touches: int
    steady: bool


class Result(NamedTuple):
    fault: str
    touches: int
    lives: int
    scripts: collections.Counter[str]
    memory: list[int]


instruments: list[tuple[Instrument, Path, Path]] = []  # the one of this process


def make_instrument(build: Path, program: Path, within: str) -> None:
    instrument = Instrument(Path(tempfile.mkdtemp(dir=within)))
    furnish(instrument)
    instruments.append((instrument, build, program))


def do(task: Task) -> Result:
    instrument, build, program = instruments[0]
    dice = random.Random(task.seed)
    touches, lives = 0, 0
    scripts: collections.Counter[str] = collections.Counter()
    memory: list[int] = []
    while touches < task.touches:
        drawn = draw.history(dice.randrange(1 << 30), 0)
        start = {} if task.steady else dict(drawn.start) | {"null": "there", "console": "takes"}
        instrument.reset(start)
        command = instrument.command(build, program, () if task.steady else drawn.options, True, False)
        life = Life(instrument, command, dice, task.steady)
        try:
            life.live(task.touches if task.steady else min(LIFE, task.touches - touches))
        except Fault as fault:
            return Result(f"{task}, life {lives}, {drawn}: {fault}", touches, lives, scripts, memory)
        touches += max(life.touches, 1)
        lives += 1
        scripts += life.scripts
        memory += life.memory
    return Result("", touches, lives, scripts, memory)


def growth(memory: list[int]) -> int | None:
    """Pages that a life has grown by from its second quarter to its last; None of one too short to judge.

    The first quarter fills the toolkit's caches. What is shown takes memory too, a long log most of all, so the
    lowest of a quarter is what counts.
    """
    quarter = len(memory) // 4
    return min(memory[-quarter:]) - min(memory[quarter : 2 * quarter]) if len(memory) >= LONG else None


def main() -> int:
    parser = argparse.ArgumentParser(prog="monkey", description=__doc__)
    parser.add_argument("touches", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--build", type=Path, default=TOP / "build/release", help="the build to test")
    parser.add_argument("--program", type=Path, help="another program than the build's")
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1), help="monkeys side by side")
    asked = parser.parse_args()
    steady = asked.touches // STEADY
    tasks = [Task(f"steady {asked.seed}", steady, True)]
    tasks += [Task(f"wild {asked.seed} {begun}", SHARE, False) for begun in range(0, asked.touches - steady, SHARE)]
    program = asked.program or asked.build / "teskupdater"
    within = tempfile.mkdtemp(prefix="monkey")
    began = time.monotonic()
    try:
        with multiprocessing.Pool(
            asked.jobs, make_instrument, (asked.build.resolve(), program.resolve(), within)
        ) as pool:
            results = pool.map(do, tasks, chunksize=1)
    finally:
        shutil.rmtree(within)
    faults = [result.fault for result in results if result.fault]
    grown = growth(results[0].memory)
    if grown is not None and grown > MAY_GROW:
        faults.append(f"{tasks[0]}: {grown} pages more in its last quarter than in its second")
    scripts = sum((result.scripts for result in results), collections.Counter[str]())
    for fault in faults:
        print(fault)
    told = "was too short to judge its memory" if grown is None else f"grew by {grown} pages"
    print(
        f"{sum(result.touches for result in results)} touches in {sum(result.lives for result in results)} lives, "
        f"seed {asked.seed}; {sum(scripts.values())} scripts; the steady life of {steady} touches {told}; "
        f"{len(faults)} faults; {time.monotonic() - began:.0f} s"
    )
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
