"""The campaign: random histories, played on the unmodified program and compared with what must happen."""

import argparse
import collections
import multiprocessing
import os
import shutil
import sys
import tempfile
import time
from pathlib import Path

import draw
from history import History, parse
from model import expect
from player import Player
from shrink import shrink
from transcript import differences

TOP = Path(__file__).resolve().parents[2]
BUSY = 3  # players on each core; a player mostly waits for a process to start or to end

SHOWN = 40  # lines of a difference

players: list[Player] = []  # the one of this process


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="campaign", description=__doc__)
    parser.add_argument("count", nargs="?", type=int, default=0, help="how many histories")
    parser.add_argument("--seed", type=int, default=1, help="which histories; 1 unless said otherwise")
    parser.add_argument("--play", metavar="HISTORY", help="this one history instead")
    parser.add_argument("--true-speed", action="store_true", help="let the program's pauses and timers take their time")
    parser.add_argument("--build", type=Path, default=TOP / "build/release", help="the build to test")
    parser.add_argument("--program", type=Path, help="another program than the build's")
    parser.add_argument("--jobs", type=int, default=BUSY * (os.cpu_count() or 1), help="players side by side")
    return parser.parse_args()


def make_player(build: Path, program: Path, true_speed: bool, within: str) -> None:
    players.append(Player(build, program, Path(tempfile.mkdtemp(dir=within)), true_speed))


def play(history: History) -> list[str]:
    return differences(expect(history), players[0].play(history))


def try_one(history: History) -> tuple[History, list[str]]:
    """The history and how it differs; one that does is shrunk first."""
    found = play(history)
    if found:
        shrunk = shrink(history, lambda smaller: bool(play(smaller)))
        found = play(shrunk) or [f"differs now and then only, at first so: {history}", *found]
        history = shrunk
    return history, found


def report(history: History, found: list[str]) -> None:
    print(f"\ndiffers: tests/campaign/campaign --play='{history}'")
    print("\n".join(f"    {line}" for line in found[:SHOWN]), flush=True)
    if len(found) > SHOWN:
        print(f"    ... and {len(found) - SHOWN} lines more")


def main() -> int:
    asked = arguments()
    histories = (
        [parse(asked.play)]
        if asked.play is not None
        else [draw.history(asked.seed, number) for number in range(asked.count)]
    )
    program = asked.program or asked.build / "teskupdater"
    within = tempfile.mkdtemp(prefix="campaign")
    began = time.monotonic()
    differing = 0
    try:
        with multiprocessing.Pool(
            min(asked.jobs, len(histories) or 1),
            make_player,
            (asked.build.resolve(), program.resolve(), asked.true_speed, within),
        ) as pool:
            for history, found in pool.imap_unordered(try_one, histories):
                if found:
                    differing += 1
                    report(history, found)
    finally:
        shutil.rmtree(within)
    ends = collections.Counter(expect(history).end for history in histories)
    print(
        f"{len(histories)} histories, seed {asked.seed}, {sum(len(history.events) for history in histories)} events, "
        f"ends: {', '.join(f'{end} {count}' for end, count in ends.most_common())}; "
        f"{differing} differ; {time.monotonic() - began:.0f} s"
    )
    return 1 if differing else 0


sys.exit(main())
