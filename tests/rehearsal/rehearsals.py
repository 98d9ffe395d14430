"""What the tests of the rehearsal share: running one, and the simulator's places."""

import os
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
SIMULATOR = REPOSITORY / "simulator"
SCRIPTS = SIMULATOR / "scripts"
REHEARSAL = REPOSITORY / "rehearsal"
PROGRAM = os.environ.get("TESKUPDATER_PROGRAM", "")
ENDS_WITHIN = 240  # seconds; a rehearsal has limits of its own, far below

sys.path.insert(0, str(REPOSITORY))  # for the tests of single modules
from rehearsal.leash import Leash  # noqa: E402
from rehearsal.sandbox.xserver import XServer  # noqa: E402


def command(*options, rehearsal=REHEARSAL, program=None):
    if not (program or PROGRAM):
        raise EnvironmentError("TESKUPDATER_PROGRAM has to name the program that is rehearsed")
    return ["/usr/bin/python3", "-B", str(rehearsal), "--program", str(program or PROGRAM), *map(str, options)]


def environment(**more):
    """Without a display, whatever the machine has."""
    return {**{name: value for name, value in os.environ.items() if name != "DISPLAY"}, **more}


def directory(test):
    path = Path(tempfile.mkdtemp(prefix="test-rehearsal-"))
    test.addCleanup(shutil.rmtree, path)
    return path


def invisible_screen(test: unittest.TestCase, size: str) -> str:
    """The display of an X server that runs as long as the test."""
    folder = tempfile.mkdtemp(prefix="test-screen-")
    test.addCleanup(shutil.rmtree, folder)
    leash = Leash()
    test.addCleanup(leash.close)
    server = XServer(size, False, Path(folder) / "screen.log", leash)
    test.addCleanup(server.close)
    return server.display


class Rehearsal:
    """A rehearsal that has ended."""

    def __init__(self, test: unittest.TestCase, *options):
        self.test = test
        self.folder = Path(tempfile.mkdtemp(prefix="test-rehearsal-"))
        test.addCleanup(shutil.rmtree, self.folder)
        done = subprocess.run(command("--folder", self.folder, *options), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=ENDS_WITHIN, env=environment(), check=False)
        self.status = done.returncode
        self.output = done.stdout + done.stderr

    def assert_promise_kept(self):
        self.test.assertEqual(self.status, 0, self.output)
        self.test.assertNotIn("NOT ok", self.output)
        self.test.assertIn("\nAs promised.\n", self.output)

    def assert_found_out(self, what: str, now: str):
        """The verdict is no, and a line of it names this."""
        self.test.assertEqual(self.status, 1, self.output)
        found = re.findall(rf"^  NOT ok  {re.escape(what)} .*{re.escape(now)}", self.output, re.MULTILINE)
        self.test.assertTrue(found, f"nothing about {what}: {now}\n{self.output}")

    @property
    def console(self) -> list[str]:
        return re.findall(r"^ *\d+\.\d{3}  console \| (.*)$", self.output, re.MULTILINE)

    @property
    def scripts(self) -> list[str]:
        return re.findall(r"^ *\d+\.\d{3}  script  (\S+) starts$", self.output, re.MULTILINE)

    @property
    def progress(self) -> list[int]:
        return [int(percent) for percent in re.findall(r"^ *\[[#-]+\] (\d+) %$", self.output, re.MULTILINE)]

    @property
    def states(self) -> list[str]:
        """What the pictures are named after, in their order."""
        return [file.stem.partition("-")[2] for file in sorted(self.folder.glob("*.png"))]


class Running:
    """A rehearsal in the background, with a directory of its own for everything temporary."""

    def __init__(self, test, *options, separate_errors=False, **variables):
        self.test = test
        self.scratch = directory(test)
        self.output = ""
        self.process = subprocess.Popen(
            command("--folder", directory(test), *options), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE if separate_errors else subprocess.STDOUT, env=environment(TMPDIR=str(self.scratch), **variables), start_new_session=True)
        test.addCleanup(self.process.stdout.close)
        if separate_errors:
            test.addCleanup(self.process.stderr.close)
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

    def processes_after(self, seconds):
        """What still runs for it after some time; comes back as soon as nothing does."""
        deadline = time.monotonic() + seconds
        while (left := self.processes()) and time.monotonic() < deadline:
            time.sleep(0.05)
        return left


class Scripts:
    """A directory of scripts to be spoilt: a copy of the simulator's."""

    def __init__(self, test: unittest.TestCase):
        self.directory = Path(tempfile.mkdtemp(prefix="test-scripts-"))
        test.addCleanup(shutil.rmtree, self.directory)
        shutil.copytree(SCRIPTS, self.directory, dirs_exist_ok=True)

    def replace(self, name: str, text: str):
        (self.directory / name).write_text("#!/bin/sh\n" + text)

    def before_end(self, name: str, text: str):
        """Has a script do something more once it has done its work."""
        (self.directory / "real").mkdir(exist_ok=True)
        shutil.move(self.directory / name, self.directory / "real" / name)
        self.replace(name, f"/etc/update/real/{name} || exit\n{text}\n")
        (self.directory / name).chmod(0o755)
