"""How a rehearsal behaves towards the machine and whoever runs it."""

import contextlib
import io
import os
import re
import select
import shutil
import signal
import subprocess
import unittest
import zipfile
from pathlib import Path
from typing import IO
from unittest import mock

from fakes import FakeStage
from rehearsals import (
    ENDS_WITHIN,
    PROGRAM,
    REHEARSAL,
    REPOSITORY,
    SIMULATOR,
    Rehearsal,
    Running,
    StrPath,
    command,
    directory,
    environment,
    invisible_screen,
)
from rehearsal.album import Album
from rehearsal.folders import forget_old, new_folder
from rehearsal.modes import MODES
from rehearsal.report import Report
from rehearsal.sandbox.xdisplay import XDisplay
from rehearsal.tourscreens import SIZES

NOBODY = 65534


def make(name: str, *options: StrPath) -> Path:
    subprocess.run([SIMULATOR / name, *options], check=True, stdin=subprocess.DEVNULL)
    return Path(options[-1])


def start_in_vain(*options: StrPath, stdout: int | IO[bytes] = subprocess.PIPE) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        command(*options),
        stdin=subprocess.DEVNULL,
        stdout=stdout,
        stderr=subprocess.PIPE,
        text=True,
        env=environment(),
        timeout=ENDS_WITHIN,
        check=False,
    )


class Patience(unittest.TestCase):
    def assert_refused(self, patience: str) -> None:
        done = start_in_vain("--patience", patience)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("--patience takes 7 or more seconds: the program itself is silent for six", done.stderr)
        self.assertNotIn("Traceback", done.stderr)

    def test_refused(self) -> None:
        for patience in ("-3", "0", "6.99", "nan", "inf", "1e400"):
            with self.subTest(patience=patience):
                self.assert_refused(f"{patience}")

    def test_least(self) -> None:
        """What is taken is enough for the program's own silence."""
        Rehearsal(self, "--patience", "7").assert_promise_kept()


class NoRoom(unittest.TestCase):
    """What cannot be written is named, and nothing else is said about it."""

    def test_standard_output(self) -> None:
        with open("/dev/full", "wb") as full:
            done = start_in_vain("--folder", directory(self), stdout=full)
        self.assertEqual((done.returncode, done.stderr), (2, "rehearse: standard output: No space left on device\n"))

    def test_closed_pipe(self) -> None:
        for said in ("", "Rehearsing", "console"):
            with self.subTest(said=said):
                running = Running(self, "--mode", "network", separate_errors=True)
                running.read_until(said)
                running.stdout.close()
                self.assertEqual(running.process.wait(ENDS_WITHIN), 2)
                self.assertEqual(
                    running.stderr and running.stderr.read(), b"rehearse: broken off, nobody reads what it says\n"
                )
                self.assertEqual(running.processes_after(20), [])

    def test_report(self) -> None:
        report = Report(Path("/dev/full"))
        self.addCleanup(report.close)
        with contextlib.redirect_stdout(io.StringIO()), self.assertRaisesRegex(OSError, "No space left.*'/dev/full'"):
            report.say("something")

    def test_picture(self) -> None:
        folder = directory(self)
        (folder / "01-first.png").symlink_to("/dev/full")
        stage = FakeStage()
        stage.image.putpixel((0, 0), (1, 2, 3))
        stage.has_changed = True
        album = Album(stage, folder, ("first",))
        album.settle()
        with self.assertRaisesRegex(OSError, "No space left.*01-first.png"):
            album.close()

    def test_full_disk(self) -> None:
        """A folder on a disk that fills up while the pictures are written."""
        folder = directory(self)
        full = ["bwrap", "--dev-bind", "/", "/", "--size", "65536", "--tmpfs", str(folder)]
        done = subprocess.run(
            [*full, *command("--mode", "network", "--folder", folder)],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            env=environment(),
            timeout=ENDS_WITHIN,
            check=False,
        )
        self.assertEqual(done.returncode, 2, done.stdout)
        self.assertRegex(done.stderr, f"^rehearse: {folder}/[\\w.-]+: No space left on device\n$")


class Kept(unittest.TestCase):
    """Only the newest of the folders that a rehearsal has named itself are kept."""

    def test_oldest_go(self) -> None:
        rehearsals = directory(self)
        dated = [f"usb-good-20250101-0000{second:02}" for second in range(30)]
        for name in (*dated, "usb-good-20250101-000029-2", "usb-good-20250101-000029-10", "of my own", "20250101"):
            (rehearsals / name).mkdir()
            (rehearsals / name / "picture.png").touch()
        (rehearsals / "file-20240101-000000").touch()
        (rehearsals / "elsewhere-20240101-000000").symlink_to(directory(self))
        forget_old(rehearsals)
        self.assertEqual(
            {path.name for path in rehearsals.iterdir()},
            {
                *dated[12:],
                "usb-good-20250101-000029-2",
                "usb-good-20250101-000029-10",
                "of my own",
                "20250101",
                "file-20240101-000000",
                "elsewhere-20240101-000000",
            },
        )
        (rehearsals / "keep-good-20250101-000029-9").mkdir()
        (rehearsals / "keep-good-20250101-000030").mkdir()
        forget_old(rehearsals)
        kept = {path.name for path in rehearsals.iterdir()}
        self.assertNotIn(dated[13], kept)
        self.assertIn(dated[14], kept)

    def test_named_like_that(self) -> None:
        """The names that are given are those that are forgotten."""
        with mock.patch("rehearsal.folders.REHEARSALS", directory(self)) as rehearsals:
            made = [new_folder("usb", "/my/own stick") for _ in range(20)]
            for number, folder in enumerate(made):
                folder.rename(rehearsals / f"usb-own-stick-20250101-0000{number:02}")
            newest = [new_folder("network", "my.zip") for _ in range(3)]
            left = sorted(folder.name for folder in rehearsals.iterdir() if folder not in newest)
        self.assertTrue(all(folder.is_dir() for folder in newest))
        self.assertEqual(left, [f"usb-own-stick-20250101-0000{number:02}" for number in range(3, 20)])
        self.assertRegex(newest[0].name, r"^network-my\.zip-\d{8}-\d{6}$")


class BrokenOff(unittest.TestCase):
    def assert_nothing_left(self, number: signal.Signals) -> None:
        running = Running(self, "--mode", "network")
        running.read_until("3-USB-UBoot.sh starts")
        self.assertGreater(len(running.processes()), 2)
        running.process.send_signal(number)
        self.assertEqual(running.wait(), 130, running.output)
        self.assertEqual(running.processes_after(20), [])
        self.assertEqual(list(running.scratch.iterdir()), [])

    def test_interrupt(self) -> None:
        self.assert_nothing_left(signal.SIGINT)

    def test_terminate(self) -> None:
        self.assert_nothing_left(signal.SIGTERM)

    def test_killed(self) -> None:
        """Even then nothing stays."""
        running = Running(self, "--mode", "network")
        running.read_until("3-USB-UBoot.sh starts")
        running.process.kill()
        running.process.wait()
        self.assertEqual(running.processes_after(20), [])
        self.assertEqual(list(running.scratch.iterdir()), [])


class Traces(unittest.TestCase):
    def test_nothing_left_behind(self) -> None:
        running = Running(self, "--mode", "network")
        self.assertEqual(running.wait(), 0, running.output)
        self.assertEqual(list(running.scratch.iterdir()), [])
        self.assertEqual(running.processes(), [])

    def test_links_of_a_script_lead_nowhere(self) -> None:
        """Clearing up must not follow a link out of the instrument."""
        outside = directory(self)
        outside.chmod(0o751)
        scripts = directory(self)
        shutil.copytree(SIMULATOR / "scripts", scripts, dirs_exist_ok=True)
        (scripts / "10-USB-PostUpdate.sh").write_text(
            f"#!/bin/sh\nln -s {outside} /mnt/away\n" "echo ${0##*/} >>/mnt/recovery/update_files/update/update.log\n"
        )
        running = Running(self, "--mode", "network", "--scripts", scripts)
        self.assertEqual(running.wait(), 0, running.output)
        self.assertEqual(outside.stat().st_mode & 0o777, 0o751)
        self.assertEqual(list(running.scratch.iterdir()), [])

    def test_own_stick_is_only_read(self) -> None:
        stick = make("make-stick", directory(self))
        before = {path: path.read_bytes() for path in stick.rglob("*") if path.is_file()}
        Rehearsal(self, "--mode", "rebootusb", "--stick", stick).assert_promise_kept()
        self.assertEqual({path: path.read_bytes() for path in stick.rglob("*") if path.is_file()}, before)

    def test_folder_is_a_file(self) -> None:
        file = directory(self) / "file"
        file.touch()
        for folder in (file, file / "below"):
            done = start_in_vain("--folder", folder)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertRegex(done.stderr, f"^rehearse: {folder}(: Not a directory| is no folder)\n$")

    def test_folder_in_use(self) -> None:
        folder = directory(self)
        (folder / "picture.png").write_text("of another rehearsal")
        done = start_in_vain("--folder", folder)
        self.assertEqual(done.returncode, 2)
        self.assertIn("is not empty", done.stderr)


class OwnSticks(unittest.TestCase):
    """What has to come of an integrator's stick is seen from the stick itself."""

    def test_bad(self) -> None:
        stick = make("make-stick", "--bad", "missingfile", directory(self))
        rehearsal = Rehearsal(self, "--mode", "rebootusb", "--stick", stick)
        rehearsal.assert_promise_kept()
        self.assertIn(
            "It has to end rejected.\nWhat is wrong with the update: recoveryfs.img is missing.", rehearsal.output
        )

    def test_bad_expected_to_be_good(self) -> None:
        stick = make("make-stick", "--bad", "missingfile", directory(self))
        Rehearsal(self, "--mode", "rebootusb", "--stick", stick, "--expect", "updated").assert_found_out(
            "last word", "FINISHED"
        )

    def test_archive(self) -> None:
        archive = directory(self) / "mine.zip"
        make("make-archive", archive)
        with zipfile.ZipFile(archive) as file:
            self.assertIn("manifest.txt", file.namelist())
        Rehearsal(self, "--mode", "network", "--stick", archive).assert_promise_kept()

    def test_unknown(self) -> None:
        rehearsal = Rehearsal(self, "--stick", "nosuchstick")
        self.assertEqual(rehearsal.status, 2)
        self.assertIn("nosuchstick is none of the mode's sticks", rehearsal.output)


class Others(unittest.TestCase):
    def test_side_by_side(self) -> None:
        both = [Running(self, "--mode", mode) for mode in ("network", "rebootusb")]
        self.assertEqual([running.wait() for running in both], [0, 0], "\n".join(running.output for running in both))

    @unittest.skipIf(os.getuid() != 0, "every test here is one for a plain user then")
    def test_plain_user(self) -> None:
        top = directory(self)
        for folder in (REHEARSAL, SIMULATOR, REPOSITORY / "board"):
            shutil.copytree(folder, top / folder.name, ignore=shutil.ignore_patterns("__pycache__"))
        shutil.copy(PROGRAM, top / "program")
        with (top / "simulator/scripts/7-USB-rootfs.sh").open("a") as script:
            script.write("mkdir -m 0 /mnt/closed\n")  # has to be cleared up all the same
        for path in (top, *top.rglob("*")):
            os.chown(path, NOBODY, NOBODY)
        (top / "temporary").mkdir(mode=0o777)
        (top / "temporary").chmod(0o777)
        done = subprocess.run(
            [
                "setpriv",
                "--reuid",
                str(NOBODY),
                "--regid",
                str(NOBODY),
                "--clear-groups",
                *command(
                    "--mode", "keep", "--folder", top / "pictures", rehearsal=top / "rehearsal", program=top / "program"
                ),
            ],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=ENDS_WITHIN,
            cwd=top,
            check=False,
            env=environment(TMPDIR=str(top / "temporary"), HOME=str(top)),
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertEqual(list((top / "temporary").iterdir()), [])


class Window(unittest.TestCase):
    """With a display the instrument's screen is a window on it."""

    def setUp(self) -> None:
        self.display = invisible_screen(self, "1024x600").display

    def test_played(self) -> None:
        running = Running(self, "--mode", "keep", DISPLAY=self.display)
        self.assertEqual(running.wait(), 0, running.output)

    def test_touched_by_hand(self) -> None:
        running = Running(self, "--touch", DISPLAY=self.display)
        running.read_until("| BOARD Previously Flashed - Partition 2 already exists")
        finger, touches = XDisplay(self.display), 0
        self.addCleanup(finger.close)
        while "Update in progress" not in running.output:  # the window may be still painting
            finger.touch(133, 378)
            touches += 1
            self.assertLess(touches, 20, running.output)
            if select.select([running.stdout], [], [], 2)[0]:
                running.output += os.read(running.stdout.fileno(), 65536).decode()
        self.assertEqual(running.wait(), 0, running.output)
        self.assertNotIn("  touch   ", running.output)

    def test_no_such_display(self) -> None:
        running = Running(self, "--mode", "network", DISPLAY=":54321")
        self.assertEqual(running.wait(), 0, running.output)
        self.assertIn("going on without a window", running.output)

    def test_touch_without_display(self) -> None:
        rehearsal = Rehearsal(self, "--touch")
        self.assertEqual(rehearsal.status, 2)
        self.assertIn("--touch needs a display", rehearsal.output)


class Usage(unittest.TestCase):
    """The help is a text that needs nothing installed; it must not fall behind."""

    def test_help_at_once(self) -> None:
        # with nothing but a shell and cat at hand, anything else would fail
        tools = directory(self)
        for tool in ("sh", "cat", "dirname"):
            (tools / tool).symlink_to(str(shutil.which(tool)))
        done = subprocess.run(
            [tools / "sh", REPOSITORY / "rehearse", "--help"],
            capture_output=True,
            text=True,
            env={"PATH": str(tools)},
            check=False,
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, (REHEARSAL / "usage.txt").read_text())

    def test_tells_every_mode(self) -> None:
        table = (REHEARSAL / "usage.txt").read_text().partition("\nmode ")[2]
        rows = re.findall(r"^(\w+) {2,}(\S.*?) {2,}(.+)$", table, re.MULTILINE)
        sets = dict(re.findall(r"^([A-Z]+) {2,}(\S.+)$", table, re.MULTILINE))
        told = [
            (name, summary, " ".join(sets.get(word, word) for word in sticks.split())) for name, summary, sticks in rows
        ]
        self.assertEqual(
            told, [(name, mode.summary, " ".join(stick for stick, _ in mode.sources)) for name, mode in MODES.items()]
        )

    def test_tells_every_screen(self) -> None:
        text = (REHEARSAL / "usage.txt").read_text()
        for size in SIZES:
            self.assertIn(size, text)


if __name__ == "__main__":
    unittest.main()
