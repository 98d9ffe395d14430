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
    def setUp(self) -> None:
        self.top = Path(tempfile.mkdtemp(prefix="test-watcher-"))
        self.addCleanup(shutil.rmtree, self.top)
        self.scripts = self.top / "scripts"
        self.scripts.mkdir()

    def make_instrument(self, trace: bool = False) -> Instrument:
        leash = Leash()
        self.addCleanup(leash.close)
        scene = Scene([NAME], scripts=self.scripts, trace=trace)
        return Instrument(self.top / "instrument", scene, Tools(self.top, leash))

    def run_watched(
        self, script: str, *arguments: str, streams: str = "", trace: bool = False
    ) -> tuple[int, list[str]]:
        """How the script ends for the program, and what is reported meanwhile."""
        (self.scripts / NAME).write_text(script)
        (self.scripts / NAME).chmod(0o755)
        instrument = self.make_instrument(trace)
        self.assertEqual(instrument.unwatched, [])
        journal, gate = (os.open(instrument.root / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))
        self.addCleanup(os.close, journal)
        self.addCleanup(os.close, gate)
        os.write(gate, b"g")
        # bwrap has its own way to tell of a signal; the number is what Python's subprocess shows
        runner = (
            "import subprocess, sys\n"
            f"print(subprocess.run(['/etc/update/{NAME}', *sys.argv[1:]]{streams}).returncode)"
        )
        done = subprocess.run(
            [
                SIMULATOR / "sandbox",
                instrument.root,
                "--ro-bind",
                HERE / "watch-script",
                WATCHER,
                "/usr/bin/python3",
                "-c",
                runner,
                *arguments,
            ],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stderr)
        self.instrument = instrument
        return int(done.stdout), os.read(journal, 4096).decode().splitlines()

    def test_exit_codes(self) -> None:
        for code in (0, 1, 3, 130, 255):
            with self.subTest(code=code):
                shutil.rmtree(self.top / "instrument", ignore_errors=True)
                self.assertEqual(
                    self.run_watched(f"#!/bin/sh\nexit {code}\n"), (code, [f"start {NAME}", f"end {NAME} {code}"])
                )

    def test_signals(self) -> None:
        for number in (signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV, signal.SIGPIPE, signal.SIGINT):
            with self.subTest(number=number):
                shutil.rmtree(self.top / "instrument", ignore_errors=True)
                self.assertEqual(
                    self.run_watched(f"#!/bin/sh\nkill -{int(number)} $$\nsleep 60\n"),
                    (-number, [f"start {NAME}", f"end {NAME} {-number}"]),
                )

    def test_arguments_and_name(self) -> None:
        self.run_watched('#!/bin/sh\nprintf \'%s\\n\' "${0##*/}" "$@" >/run/seen\n', "a b", "", "*")
        self.assertEqual((self.instrument.root / "run/seen").read_text(), f"{NAME}\na b\n\n*\n")

    def test_waits_to_be_let_go(self) -> None:
        (self.scripts / NAME).write_text("#!/bin/sh\n: >/run/seen\n")
        (self.scripts / NAME).chmod(0o755)
        instrument = self.make_instrument()
        journal, gate = (os.open(instrument.root / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))
        process = subprocess.Popen(
            [
                SIMULATOR / "sandbox",
                instrument.root,
                "--ro-bind",
                HERE / "watch-script",
                WATCHER,
                f"/etc/update/{NAME}",
            ],
            stdin=subprocess.DEVNULL,
        )
        self.assertEqual(os.read(journal, 4096).decode(), f"start {NAME}\n")
        self.assertFalse((instrument.root / "run/seen").exists())
        os.write(gate, b"g")
        self.assertEqual(process.wait(60), 0)
        self.assertTrue((instrument.root / "run/seen").exists())
        os.set_blocking(gate, False)
        with self.assertRaises(BlockingIOError, msg="the script never asked"):
            os.read(gate, 1)

    # as the program starts its scripts
    NOWHERE = ", stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL"

    def printed(self, script: str, trace: bool = False) -> str:
        shutil.rmtree(self.top / "instrument", ignore_errors=True)
        code, _ = self.run_watched(script, streams=self.NOWHERE, trace=trace)
        self.assertEqual(code, 0)
        return self.instrument.printed(NAME)

    def test_keeps_what_goes_nowhere(self) -> None:
        self.assertEqual(self.printed("#!/bin/sh\necho one\necho two >&2\nprintf three\n"), "one\ntwo\nthree")
        self.assertEqual(self.instrument.printed(NAME), "", "each run is told once")

    def test_keeps_nothing_that_goes_elsewhere(self) -> None:
        """The override script prints on the console."""
        shutil.rmtree(self.top / "instrument", ignore_errors=True)
        self.assertEqual(self.run_watched("#!/bin/sh\necho one\n", streams=", stdout=2")[0], 0)
        self.assertEqual(self.instrument.printed(NAME), "")

    def test_standard_input_is_the_program_s(self) -> None:
        self.assertEqual(self.printed("#!/bin/sh\n[ -p /dev/stdin ] && echo a pipe\n"), "a pipe\n")

    def test_no_other_files_are_open(self) -> None:
        self.assertEqual(
            self.printed("#!/bin/sh\nls /proc/self/fd\n").split(), ["0", "1", "2", "3"], "3 is the listing"
        )

    def test_only_the_end_of_endless_printing(self) -> None:
        text = self.printed("#!/bin/sh\nhead -c 3000000 /dev/zero | tr '\\0' x\nsleep 1\necho the end\n")
        self.assertTrue(text.endswith("the end\n"))
        self.assertLess(len(text), 2**20 + 100)

    def test_background_process_is_not_waited_for(self) -> None:
        self.assertEqual(self.printed("#!/bin/sh\n(sleep 5; echo late) &\necho now\n"), "now\n")

    def test_trace(self) -> None:
        script = '#!/bin/sh {}\n[ "$0" = /opt/scripts/3-USB-UBoot.sh ] && echo "$#"\n'
        for options, traced in (
            ("", "+ [ /opt/scripts/3-USB-UBoot.sh = /opt/scripts/3-USB-UBoot.sh ]\n+ echo 0\n0\n"),
            ("-e", "+ [ /opt/scripts/3-USB-UBoot.sh = /opt/scripts/3-USB-UBoot.sh ]\n+ echo 0\n0\n"),
        ):
            with self.subTest(options=options):
                self.assertEqual(self.printed(script.format(options), trace=True), traced)
        self.assertEqual(self.printed("#!/usr/bin/env sh\necho x\n", trace=True), "+ echo x\nx\n")
        self.assertEqual(self.printed("#!/usr/bin/perl\nprint 'no shell'\n", trace=True), "no shell")

    def test_windows_line_ends(self) -> None:
        (self.scripts / NAME).write_bytes(b"#!/bin/sh\r\nexit 0\r\n")
        (self.scripts / NAME).chmod(0o755)
        self.assertEqual(self.make_instrument().unwatched, [NAME])

    def test_what_cannot_start_is_left_alone(self) -> None:
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
