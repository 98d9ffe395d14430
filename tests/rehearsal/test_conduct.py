"""How a rehearsal behaves towards the machine and whoever runs it."""

import os
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import zipfile
from pathlib import Path

from rehearsals import (ENDS_WITHIN, PROGRAM, REHEARSAL, REPOSITORY, SIMULATOR, Rehearsal, command, environment,
                        invisible_screen)
from rehearsal.modes import MODES
from rehearsal.sandbox.xdisplay import XDisplay
from rehearsal.tourscreens import SIZES

NOBODY = 65534


def directory(test):
    path = Path(tempfile.mkdtemp(prefix="test-rehearsal-"))
    test.addCleanup(shutil.rmtree, path)
    return path


def make(name, *options):
    subprocess.run([SIMULATOR / name, *options], check=True, stdin=subprocess.DEVNULL)
    return options[-1]


class Running:
    """A rehearsal in the background, with a directory of its own for everything temporary."""

    def __init__(self, test, *options, **variables):
        self.test = test
        self.scratch = directory(test)
        self.output = ""
        self.process = subprocess.Popen(
            command("--folder", directory(test), *options), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, env=environment(TMPDIR=str(self.scratch), **variables), start_new_session=True)
        test.addCleanup(self.process.stdout.close)
        test.addCleanup(self.end)

    def end(self):
        self.process.kill()
        self.process.wait()

    def read_until(self, text):
        """Reads what it says up to some text; fails if that does not come."""
        deadline = time.monotonic() + ENDS_WITHIN
        while text not in self.output:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, deadline - time.monotonic()))
            data = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            self.test.assertTrue(data, f"it never said {text!r}:\n{self.output}")
            self.output += data.decode()

    def wait(self):
        rest, _ = self.process.communicate(timeout=ENDS_WITHIN)
        self.output += rest.decode()
        return self.process.returncode

    def processes(self):
        """What runs for it: all processes that know its temporary directory."""
        marks = (f"TMPDIR={self.scratch}\0".encode(), bytes(self.scratch))
        found = []
        for process in Path("/proc").glob("[0-9]*"):
            try:
                text = (process / "environ").read_bytes() + b"\0" + (process / "cmdline").read_bytes()
            except OSError:
                continue  # it has just ended
            if any(mark in text for mark in marks):
                found.append(process.name)
        return found


class BrokenOff(unittest.TestCase):
    def assert_nothing_left(self, number):
        running = Running(self, "--mode", "network")
        running.read_until("3-USB-UBoot.sh starts")
        self.assertGreater(len(running.processes()), 2)
        running.process.send_signal(number)
        self.assertEqual(running.wait(), 130, running.output)
        deadline = time.monotonic() + 20  # what is killed takes a moment to go
        while (left := running.processes()) and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertEqual(left, [])
        self.assertEqual(list(running.scratch.iterdir()), [])

    def test_interrupt(self):
        self.assert_nothing_left(signal.SIGINT)

    def test_terminate(self):
        self.assert_nothing_left(signal.SIGTERM)

    def test_killed(self):
        """Even then no process stays; only the files do."""
        running = Running(self, "--mode", "network")
        running.read_until("3-USB-UBoot.sh starts")
        running.process.kill()
        running.process.wait()
        deadline = time.monotonic() + 20
        while (left := running.processes()) and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertEqual(left, [])


class Traces(unittest.TestCase):
    def test_nothing_left_behind(self):
        running = Running(self, "--mode", "network")
        self.assertEqual(running.wait(), 0, running.output)
        self.assertEqual(list(running.scratch.iterdir()), [])
        self.assertEqual(running.processes(), [])

    def test_links_of_a_script_lead_nowhere(self):
        """Clearing up must not follow a link out of the instrument."""
        outside = directory(self)
        outside.chmod(0o751)
        scripts = directory(self)
        shutil.copytree(SIMULATOR / "scripts", scripts, dirs_exist_ok=True)
        (scripts / "10-USB-PostUpdate.sh").write_text(
            f"#!/bin/sh\nln -s {outside} /mnt/away\n"
            "echo ${0##*/} >>/mnt/recovery/update_files/update/update.log\n")
        running = Running(self, "--mode", "network", "--scripts", scripts)
        self.assertEqual(running.wait(), 0, running.output)
        self.assertEqual(outside.stat().st_mode & 0o777, 0o751)
        self.assertEqual(list(running.scratch.iterdir()), [])

    def test_own_stick_is_only_read(self):
        stick = make("make-stick", directory(self))
        before = {path: path.read_bytes() for path in stick.rglob("*") if path.is_file()}
        Rehearsal(self, "--mode", "rebootusb", "--stick", stick).assert_promise_kept()
        self.assertEqual({path: path.read_bytes() for path in stick.rglob("*") if path.is_file()}, before)

    def test_folder_in_use(self):
        folder = directory(self)
        (folder / "picture.png").write_text("of another rehearsal")
        done = subprocess.run(command("--folder", folder), capture_output=True, text=True, env=environment(),
                              timeout=ENDS_WITHIN, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn("is not empty", done.stderr)


class OwnSticks(unittest.TestCase):
    """What has to come of an integrator's stick is seen from the stick itself."""

    def test_bad(self):
        stick = make("make-stick", "--bad", "missingfile", directory(self))
        rehearsal = Rehearsal(self, "--mode", "rebootusb", "--stick", stick)
        rehearsal.assert_promise_kept()
        self.assertIn("It has to end rejected.\nWhat is wrong with the update: recoveryfs.img is missing.",
                      rehearsal.output)

    def test_bad_expected_to_be_good(self):
        stick = make("make-stick", "--bad", "missingfile", directory(self))
        Rehearsal(self, "--mode", "rebootusb", "--stick", stick, "--expect", "updated").assert_found_out(
            "last word", "FINISHED")

    def test_archive(self):
        archive = directory(self) / "mine.zip"
        make("make-archive", archive)
        with zipfile.ZipFile(archive) as file:
            self.assertIn("manifest.txt", file.namelist())
        Rehearsal(self, "--mode", "network", "--stick", archive).assert_promise_kept()

    def test_unknown(self):
        rehearsal = Rehearsal(self, "--stick", "nosuchstick")
        self.assertEqual(rehearsal.status, 2)
        self.assertIn("nosuchstick is none of the mode's sticks", rehearsal.output)


class Others(unittest.TestCase):
    def test_side_by_side(self):
        both = [Running(self, "--mode", mode) for mode in ("network", "rebootusb")]
        self.assertEqual([running.wait() for running in both], [0, 0], "\n".join(running.output for running in both))

    @unittest.skipIf(os.getuid() != 0, "every test here is one for a plain user then")
    def test_plain_user(self):
        top = directory(self)
        for folder in (REHEARSAL, SIMULATOR):
            shutil.copytree(folder, top / folder.name, ignore=shutil.ignore_patterns("__pycache__"))
        shutil.copy(PROGRAM, top / "program")
        with (top / "simulator/scripts/7-USB-rootfs.sh").open("a") as script:
            script.write("mkdir -m 0 /mnt/closed\n")  # has to be cleared up all the same
        for path in (top, *top.rglob("*")):
            os.chown(path, NOBODY, NOBODY)
        (top / "temporary").mkdir(mode=0o777)
        (top / "temporary").chmod(0o777)
        done = subprocess.run(
            ["setpriv", "--reuid", str(NOBODY), "--regid", str(NOBODY), "--clear-groups",
             *command("--mode", "keep", "--folder", top / "pictures", rehearsal=top / "rehearsal",
                      program=top / "program")],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=ENDS_WITHIN, cwd=top, check=False,
            env=environment(TMPDIR=str(top / "temporary"), HOME=str(top)))
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertEqual(list((top / "temporary").iterdir()), [])


class Window(unittest.TestCase):
    """With a display the instrument's screen is a window on it."""

    def setUp(self):
        self.display = invisible_screen(self, "1024x600")

    def test_played(self):
        running = Running(self, "--mode", "keep", DISPLAY=self.display)
        self.assertEqual(running.wait(), 0, running.output)

    def test_touched_by_hand(self):
        running = Running(self, "--touch", DISPLAY=self.display)
        running.read_until("| BOARD Previously Flashed - Partition 2 already exists")
        finger, touches = XDisplay(self.display), 0
        self.addCleanup(finger.close)
        while "Update in progress" not in running.output:  # the window may be still painting
            finger.touch(133, 378)
            touches += 1
            self.assertLess(touches, 20, running.output)
            if select.select([running.process.stdout], [], [], 2)[0]:
                running.output += os.read(running.process.stdout.fileno(), 65536).decode()
        self.assertEqual(running.wait(), 0, running.output)
        self.assertNotIn("  touch   ", running.output)

    def test_no_such_display(self):
        running = Running(self, "--mode", "network", DISPLAY=":54321")
        self.assertEqual(running.wait(), 0, running.output)
        self.assertIn("going on without a window", running.output)

    def test_touch_without_display(self):
        rehearsal = Rehearsal(self, "--touch")
        self.assertEqual(rehearsal.status, 2)
        self.assertIn("--touch needs a display", rehearsal.output)


class Usage(unittest.TestCase):
    """The help is a text that needs nothing installed; it must not fall behind."""

    def test_help_at_once(self):
        # with nothing but a shell and cat at hand, anything else would fail
        tools = directory(self)
        for tool in ("sh", "cat", "dirname"):
            (tools / tool).symlink_to(shutil.which(tool))
        done = subprocess.run([tools / "sh", REPOSITORY / "rehearse", "--help"], capture_output=True, text=True,
                              env={"PATH": str(tools)}, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, (REHEARSAL / "usage.txt").read_text())

    def test_tells_every_mode(self):
        table = (REHEARSAL / "usage.txt").read_text().partition("\nmode ")[2]
        rows = re.findall(r"^(\w+) {2,}(\S.*?) {2,}(.+)$", table, re.MULTILINE)
        sets = dict(re.findall(r"^([A-Z]+) {2,}(\S.+)$", table, re.MULTILINE))
        told = [(name, summary, " ".join(sets.get(word, word) for word in sticks.split()))
                for name, summary, sticks in rows]
        self.assertEqual(told, [(name, mode.summary, " ".join(stick for stick, _ in mode.sources))
                                for name, mode in MODES.items()])

    def test_tells_every_screen(self):
        text = (REHEARSAL / "usage.txt").read_text()
        for size in SIZES:
            self.assertIn(size, text)


if __name__ == "__main__":
    unittest.main()
