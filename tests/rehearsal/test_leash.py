"""Whatever ends a rehearsal, and at whatever moment: nothing of it runs on."""

import os
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from rehearsals import SIMULATOR, Running
from rehearsal.leash import Keeper, Leash

INSTANTS = 300
SET_UP_WITHIN = 0.06  # seconds that a sandbox takes to be set up on a busy machine, and some more
REHEARSALS = 48
SIDE_BY_SIDE = 4
RUNS_WITHIN = 3.0  # seconds that a rehearsal takes until its program runs, and some more


def scratch(test: unittest.TestCase) -> Path:
    path = Path(tempfile.mkdtemp(prefix="test-leash-"))
    test.addCleanup(shutil.rmtree, path, ignore_errors=True)
    return path


def sandboxed(instrument: Path, leash: Leash, *command: str) -> subprocess.Popen[bytes]:
    return subprocess.Popen(
        [SIMULATOR / "sandbox", instrument, "--sync-fd", str(leash.end), *command],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=[leash.end],
        start_new_session=True)


class Leashed(unittest.TestCase):
    def setUp(self) -> None:
        self.instrument = scratch(self) / "instrument"
        subprocess.run([SIMULATOR / "make-instrument", "--bare", self.instrument], check=True)

    def test_sandbox_killed_while_it_is_set_up(self) -> None:
        """bubblewrap makes the sandbox in a second process, which waits for the first for ever if that is killed."""
        chance = random.Random(1)
        for _ in range(0, INSTANTS, SIDE_BY_SIDE):
            leashes = [Leash() for _ in range(SIDE_BY_SIDE)]
            for leash in leashes:
                process = sandboxed(self.instrument, leash, "sleep", "1000")
                time.sleep(chance.uniform(0, SET_UP_WITHIN))
                process.kill()
                process.wait()
            for leash in leashes:
                leash.pull()
                self.assertEqual(leash.holders(), [])
                leash.close()

    def test_holders_are_found_and_nobody_else(self) -> None:
        leash = Leash()
        self.addCleanup(leash.close)
        bystander = subprocess.Popen(["sleep", "1000"])
        self.addCleanup(bystander.wait)
        self.addCleanup(bystander.kill)
        holder = subprocess.Popen(["sleep", "1000"], pass_fds=[leash.end], start_new_session=True)
        self.assertEqual(leash.holders(), [holder.pid])
        leash.pull()
        self.assertEqual(holder.wait(60), -signal.SIGKILL)
        self.assertIsNone(bystander.poll())

    def test_asks_before_it_kills(self) -> None:
        leash = Leash(signal.SIGTERM)
        self.addCleanup(leash.close)
        holder = subprocess.Popen(["sleep", "1000"], pass_fds=[leash.end])
        leash.pull()
        self.assertEqual(holder.wait(60), -signal.SIGTERM)

    def test_program_does_not_get_it(self) -> None:
        """It is the sandbox's alone: the program has the descriptors that it has without."""
        leash = Leash()
        self.addCleanup(leash.close)
        listing = [
            subprocess.run([SIMULATOR / "sandbox", self.instrument, *options, "sh", "-c", "echo /proc/self/fd/*"],
                           pass_fds=[leash.end], capture_output=True, text=True, check=True).stdout
            for options in ((), ("--sync-fd", str(leash.end)))]
        self.assertIn("/proc/self/fd/2", listing[0])
        self.assertNotIn(f"/proc/self/fd/{leash.end}", listing[1])


class Kept(unittest.TestCase):
    def test_keeper_clears_away_after_a_kill(self) -> None:
        """What a killed process had on its leashes goes, and its directory."""
        directory = scratch(self) / "scratch"
        (directory / "closed").mkdir(parents=True)
        (directory / "closed").chmod(0)
        leash = Leash()
        self.addCleanup(leash.close)
        keeping = os.fork()
        if keeping == 0:
            Keeper([leash], directory)
            self.holder = subprocess.Popen(["sleep", "1000"], pass_fds=[leash.end])
            os.kill(os.getpid(), signal.SIGKILL)
        os.waitpid(keeping, 0)
        leash.tie()
        deadline = time.monotonic() + 60
        while directory.exists() or leash.holders():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)


class Rehearsals(unittest.TestCase):
    """Whole rehearsals, ended at random: by a person, by a system that goes down, and by force."""

    def test_ended_at_random(self) -> None:
        chance = random.Random(2)
        for _ in range(0, REHEARSALS, SIDE_BY_SIDE):
            batch = []
            for _ in range(SIDE_BY_SIDE):
                number = chance.choice((signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL))
                batch.append((Running(self, "--mode", "network"), number, chance.uniform(0, RUNS_WITHIN)))
            started = time.monotonic()
            for running, number, delay in sorted(batch, key=lambda one: one[2]):
                time.sleep(max(0.0, started + delay - time.monotonic()))
                running.process.send_signal(number)
            for running, number, delay in batch:
                running.wait()
                self.assertEqual(running.processes_after(20), [], f"{number!r} after {delay} s")
                if number != signal.SIGKILL:
                    self.assertEqual(list(running.scratch.iterdir()), [], f"{number!r} after {delay} s")


if __name__ == "__main__":
    unittest.main()
