"""The watcher in the place of a script changes nothing for the program: same arguments, same end."""

import os
import shutil
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

from rehearsals import SIMULATOR
from rehearsal.leash import Leash
from rehearsal.sandbox.instrument import GATE, HERE, JOURNAL, WATCHER, Instrument, Tools
from rehearsal.stage import Scene

NAME = "3-USB-UBoot.sh"


class Watcher(unittest.TestCase):
    def setUp(self):
        self.top = Path(tempfile.mkdtemp(prefix="test-watcher-"))
        self.addCleanup(shutil.rmtree, self.top)
        self.scripts = self.top / "scripts"
        self.scripts.mkdir()

    def make_instrument(self) -> Instrument:
        leash = Leash()
        self.addCleanup(leash.close)
        return Instrument(self.top / "instrument", Scene([NAME], scripts=self.scripts), Tools(self.top, leash))

    def run_watched(self, script: str, *arguments: str) -> tuple[int, list[str]]:
        """How the script ends for the program, and what is reported meanwhile."""
        (self.scripts / NAME).write_text(script)
        (self.scripts / NAME).chmod(0o755)
        instrument = self.make_instrument()
        self.assertEqual(instrument.unwatched, [])
        journal, gate = (os.open(instrument.root / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))
        self.addCleanup(os.close, journal)
        self.addCleanup(os.close, gate)
        os.write(gate, b"g")
        # bwrap has its own way to tell of a signal; the number is what Python's subprocess shows
        runner = ("import subprocess, sys\n"
                  f"print(subprocess.run(['/etc/update/{NAME}', *sys.argv[1:]]).returncode)")
        done = subprocess.run(
            [SIMULATOR / "sandbox", instrument.root, "--ro-bind", HERE / "watch-script", WATCHER,
             "/usr/bin/python3", "-c", runner, *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.instrument = instrument
        return int(done.stdout), os.read(journal, 4096).decode().splitlines()

    def test_exit_codes(self):
        for code in (0, 1, 3, 130, 255):
            with self.subTest(code=code):
                shutil.rmtree(self.top / "instrument", ignore_errors=True)
                self.assertEqual(self.run_watched(f"#!/bin/sh\nexit {code}\n"),
                                 (code, [f"start {NAME}", f"end {NAME} {code}"]))

    def test_signals(self):
        for number in (signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV, signal.SIGPIPE, signal.SIGINT):
            with self.subTest(number=number):
                shutil.rmtree(self.top / "instrument", ignore_errors=True)
                self.assertEqual(self.run_watched(f"#!/bin/sh\nkill -{int(number)} $$\nsleep 60\n"),
                                 (-number, [f"start {NAME}", f"end {NAME} {-number}"]))

    def test_arguments_and_name(self):
        self.run_watched("#!/bin/sh\nprintf '%s\\n' \"${0##*/}\" \"$@\" >/run/seen\n", "a b", "", "*")
        self.assertEqual((self.instrument.root / "run/seen").read_text(), f"{NAME}\na b\n\n*\n")

    def test_waits_to_be_let_go(self):
        (self.scripts / NAME).write_text("#!/bin/sh\n: >/run/seen\n")
        (self.scripts / NAME).chmod(0o755)
        instrument = self.make_instrument()
        journal, gate = (os.open(instrument.root / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))
        process = subprocess.Popen([SIMULATOR / "sandbox", instrument.root, "--ro-bind",
                                    HERE / "watch-script", WATCHER, f"/etc/update/{NAME}"],
                                   stdin=subprocess.DEVNULL)
        self.assertEqual(os.read(journal, 4096).decode(), f"start {NAME}\n")
        self.assertFalse((instrument.root / "run/seen").exists())
        os.write(gate, b"g")
        self.assertEqual(process.wait(60), 0)
        self.assertTrue((instrument.root / "run/seen").exists())
        os.set_blocking(gate, False)
        with self.assertRaises(BlockingIOError, msg="the script never asked"):
            os.read(gate, 1)

    def test_what_cannot_start_is_left_alone(self):
        for text, mode in (("#!/bin/sh\n", 0o644), ("#!/opt/nothing\n", 0o755), ("no interpreter\n", 0o755), (None, 0)):
            with self.subTest(text=text, mode=mode):
                shutil.rmtree(self.top / "instrument", ignore_errors=True)
                (self.scripts / NAME).unlink(missing_ok=True)
                if text is not None:
                    (self.scripts / NAME).write_text(text)
                    (self.scripts / NAME).chmod(mode)
                instrument = self.make_instrument()
                self.assertEqual(instrument.unwatched, [NAME])
                script = instrument.root / "etc/update" / NAME
                self.assertFalse(script.is_symlink())
                self.assertEqual(script.read_text() if script.exists() else None, text)


if __name__ == "__main__":
    unittest.main()
