"""Power lost anywhere in an update: a whole version stays active, and the update can be made again."""

import concurrent.futures
import dataclasses
import pathlib
import random
import shutil
import subprocess
import tempfile
import time
import unittest
from collections.abc import Callable
from typing import Any

from instrument import AFTER, NETWORK, REBUILD, SIMULATOR, USB, USB_KEEP, Instrument, made

# What the scripts change storage with, and those of it that can get half of their work done.
COMMANDS = ("dd", "mv", "cp", "rm", "cat", "tar", "sync", "mkdir", "truncate", "unzip")
TEARABLE = ("dd", "cp", "rm", "cat", "tar", "unzip")
NEVER = 1_000_000

Scripts = tuple[str, ...]
Fetch = Callable[[Instrument], object]  # gives an instrument its update
Before = dict[str, Any]  # the versions by their partitions, and what the boot area held


@dataclasses.dataclass
class Point:
    """Where the power is lost: before a command, or with half of it done."""

    number: int
    torn: str
    make_again: bool


class PowerLoss(unittest.TestCase):
    def board(self, *options: str) -> Instrument:
        """An instrument whose commands can be counted and cut off."""
        board = Instrument(self, *options)
        directory = board.path("/run/power")
        directory.mkdir()
        for name in COMMANDS:
            (directory / name).symlink_to("/run/power-lost")
        shutil.copy(pathlib.Path(__file__).with_name("power-lost"), board.path("/run"))
        return board

    def run_until(self, board: Instrument, scripts: Scripts, number: int, torn: str = "whole") -> int:
        """Runs scripts until the power is lost at a command; returns how many commands there were."""
        board.path("/run/power/at").write_text(str(number))
        board.path("/run/power/torn").write_text(torn)
        board.path("/run/power/commands").write_text("")
        board.run(*scripts, sandbox_options=("--setenv", "PATH", "/run/power:/usr/bin:/bin"))
        return len(board.path("/run/power/commands").read_text().splitlines())

    def switch_on(self, board: Instrument) -> None:
        """What is in memory is gone; the rest is what power loss left."""
        for path in board.path("/tmp").iterdir():
            path.unlink()
        shutil.rmtree(board.path("/run/update"), ignore_errors=True)
        board.path("/tmp/runningbootloaderversion").write_text("V4.05.00")

    def assert_starts(
        self, board: Instrument, before: Before, update: pathlib.Path, old: str, target: str, with_user_files: bool
    ) -> None:
        """The active version is either the old one, untouched, or the new one, complete."""
        self.assertIn(board.active, (old + "\n", target + "\n"))
        self.assertEqual(board.version(old), before[old])
        self.assertEqual(board.version(AFTER[target]), before[AFTER[target]])
        if board.active == target + "\n":
            board.assert_installed(update, target)
            self.assertEqual(board.user_files(target), board.user_files(old if with_user_files else "factory"))
        bootloaders = [before["boot0"], (update / "u-boot.img").read_bytes()]
        copies = [board.path(f"/dev/mmcblk0{copy}").read_bytes() for copy in ("boot0", "boot1")]
        self.assertTrue(any(copy.startswith(whole) for copy in copies for whole in bootloaders))

    def assert_made_again(
        self, board: Instrument, scripts: Scripts, update: pathlib.Path, old: str, target: str
    ) -> None:
        if board.active == old + "\n":
            self.switch_on(board)
            board.run_well(*scripts)
            board.assert_installed(update, target)

    def cut_off(self, scripts: Scripts, fetch: Fetch, update: pathlib.Path, point: Point) -> None:
        """One update of an instrument of its own, cut off, looked at, and made again."""
        board = self.board()
        try:
            self.cut_off_board(board, scripts, fetch, update, point)
        finally:
            shutil.rmtree(board.root)  # there are many of them

    def cut_off_board(
        self, board: Instrument, scripts: Scripts, fetch: Fetch, update: pathlib.Path, point: Point
    ) -> None:
        fetch(board)
        before = {partition: board.version(partition) for partition in AFTER}
        before["boot0"] = board.path("/dev/mmcblk0boot0").read_bytes()
        self.assertEqual(self.run_until(board, scripts, point.number, point.torn), point.number)
        self.assertLess(len(board.codes), len(scripts))
        self.assert_starts(board, before, update, "1", "7", scripts is not USB)
        if point.make_again:
            self.assert_made_again(board, scripts, update, "1", "7")

    def cut_off_at(self, scripts: Scripts, fetch: Fetch, update: pathlib.Path, every: int) -> None:
        board = self.board()
        fetch(board)
        total = self.run_until(board, scripts, NEVER)
        self.assertEqual(board.codes, [0] * len(scripts))
        commands = board.path("/run/power/commands").read_text().split()
        self.assertGreater(total, 4 * len(scripts))

        points = []
        for number, name in list(enumerate(commands, 1))[::every]:
            points.append(Point(number, "whole", make_again=number % 7 == 0))
            if name in TEARABLE:
                points.append(Point(number, "torn", make_again=number % 7 == 3))
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            results = [(point, pool.submit(self.cut_off, scripts, fetch, update, point)) for point in points]
            for point, result in results:
                with self.subTest(point=point):
                    result.result()

    def test_update_with_user_files(self) -> None:
        self.cut_off_at(USB_KEEP, lambda board: board.plug(), made("make-stick") / "update", every=1)

    def test_network_update(self) -> None:
        directory = tempfile.mkdtemp(prefix="instrument-")
        self.addCleanup(shutil.rmtree, directory)
        subprocess.run(["unzip", "-qq", made("make-archive"), "-d", directory], check=True)
        self.cut_off_at(NETWORK, lambda board: board.download(), pathlib.Path(directory), every=3)

    def test_rebuild_of_a_blank_board(self) -> None:
        """No version is active yet, so what counts is that the board can be rebuilt."""
        update = made("make-stick") / "update"
        board = self.board("--blank")
        board.plug()
        total = self.run_until(board, REBUILD, NEVER)
        board.assert_installed(update, "1")
        for number in range(1, total + 1, 5):
            with self.subTest(number=number):
                board = self.board("--blank")
                board.plug()
                self.assertEqual(self.run_until(board, REBUILD, number, "torn"), number)
                if not board.path("/mnt/recovery/download/partition_c").exists():
                    self.switch_on(board)
                    blank = not board.path("/dev/mmcblk0p2").exists()
                    board.run_well(*(REBUILD if blank else USB))
                board.assert_installed(update, "1")

    def test_killed_at_random_moments(self) -> None:
        board = self.board()
        board.plug()
        started = time.monotonic()
        self.run_and_kill(board, USB, after=None)
        duration = time.monotonic() - started
        for _ in range(12):
            after = random.uniform(0, duration)
            with self.subTest(after=after):
                board = self.board()
                board.plug()
                before = {partition: board.version(partition) for partition in AFTER}
                before["boot0"] = board.path("/dev/mmcblk0boot0").read_bytes()
                self.run_and_kill(board, USB, after)
                self.assert_starts(board, before, made("make-stick") / "update", "1", "7", False)
                self.assert_made_again(board, USB, made("make-stick") / "update", "1", "7")

    def run_and_kill(self, board: Instrument, scripts: Scripts, after: float | None) -> None:
        """Returns when nothing runs on the instrument any more: then nobody holds its output open."""
        loop = 'for script in "$@"; do "/etc/update/$script"; done'
        with subprocess.Popen(
            [SIMULATOR / "sandbox", board.root, "sh", "-c", loop, "sh", *scripts],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        ) as sandbox:
            try:
                sandbox.wait(after)
            except subprocess.TimeoutExpired:
                sandbox.kill()
            sandbox.communicate()


if __name__ == "__main__":
    unittest.main()
