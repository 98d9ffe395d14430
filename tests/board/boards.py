"""What the tests on the emulated board share: a rehearsal there, whose verdict they look at."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from places import REPOSITORY

SCRIPTS = REPOSITORY / "simulator/scripts"
PROGRAM = os.environ.get("TESKUPDATER_PROGRAM", "")
ENDS_WITHIN = 1800  # seconds, on a busy machine; a quiet one needs a twentieth


class BoardRehearsal:
    """A rehearsal on the board that has ended."""

    def __init__(self, test: unittest.TestCase, *options: str | Path):
        self.test = test
        self.folder = Path(tempfile.mkdtemp(prefix="test-board-"))
        test.addCleanup(shutil.rmtree, self.folder)
        command: list[str | Path] = [
            "/usr/bin/python3",
            "-B",
            REPOSITORY / "rehearsal",
            "--program",
            PROGRAM,
            "--on",
            "board",
        ]
        done = subprocess.run(
            [*command, "--folder", self.folder, *options],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=ENDS_WITHIN,
            check=False,
        )
        self.status, self.output = done.returncode, done.stdout + done.stderr

    def assert_promise_kept(self, *lines: str) -> None:
        """Every line of the verdict is ok, these among them."""
        self.test.assertEqual(self.status, 0, self.output)
        self.test.assertNotIn("NOT ok", self.output)
        for line in lines:
            self.test.assertRegex(self.output, rf"(?m)^  ok      {re.escape(line)} ")

    def assert_found_out(self, what: str, now: str) -> None:
        """The verdict is no, and a line of it names this."""
        self.test.assertEqual(self.status, 1, self.output)
        self.test.assertRegex(self.output, rf"(?m)^  NOT ok  {re.escape(what)} .*{re.escape(now)}")


class Scripts:
    """A directory of scripts to be spoilt."""

    def __init__(self, test: unittest.TestCase):
        self.directory = Path(tempfile.mkdtemp(prefix="test-board-scripts-"))
        test.addCleanup(shutil.rmtree, self.directory)
        shutil.copytree(SCRIPTS, self.directory, dirs_exist_ok=True)

    def replace(self, name: str, text: str) -> None:
        (self.directory / name).write_text(f"#!/bin/sh\n{text}\n")
        (self.directory / name).chmod(0o755)
