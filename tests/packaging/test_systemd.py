"""The unit under a real systemd: installed into a fresh Debian by dpkg, enabled, booted in a container, and crashed.

Needs root, as a container with systemd in it does.
"""

import os
import shutil
import subprocess
import tempfile
import time
import unittest
from collections.abc import Callable
from pathlib import Path

from startup import LOOKS_EVERY, REPOSITORY

WITHIN = 120.0  # seconds, for anything that is waited for
PROGRAM_IS_UP = "Current bootloader version = V4.05.00"
WAITS = "teskupdater-start: waiting for what an earlier start has left running"
NOT_AGAIN = "teskupdater-start: not the first start: no autoupdate by itself"
STARTS = 5  # that the unit allows

# In the place of the update's first script: halfway it waits to be told to go on.
HALFWAY = """#!/bin/sh
: >/srv/at-work
read -r go </srv/go-on
: >/srv/written
"""
SETTINGS = """
TESKUPDATER_MODE=autoupdate
QT_QPA_PLATFORM=offscreen
unset QT_QPA_GENERIC_PLUGINS
"""


def run(*command: str | Path) -> str:
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{command[0]}: {done.stdout[-2000:]}{done.stderr[-2000:]}")
    return done.stdout


class Systemd(unittest.TestCase):
    fresh: Path

    @classmethod
    def setUpClass(cls) -> None:
        if os.geteuid() != 0:
            raise AssertionError("a container with systemd in it needs root")
        architecture = run("dpkg", "--print-architecture").strip()
        scratch = Path(tempfile.mkdtemp(prefix="test-systemd-"))
        cls.addClassCleanup(shutil.rmtree, scratch)
        cls.fresh = scratch / "fresh"
        run(REPOSITORY / "packaging/build-package", architecture, scratch / "packages")
        package = next((scratch / "packages").glob("teskupdater_*.deb"))
        made = '. "$1"; debian_sources | mmdebstrap --quiet --variant=minbase --include="$2" bookworm "$3" -'
        packages = "systemd,systemd-sysv,libqt5widgets5,fonts-liberation"
        run("sh", "-c", made, "sh", REPOSITORY / "packaging/archive.sh", packages, cls.fresh)
        shutil.copy(package, cls.fresh / "package.deb")
        run("chroot", cls.fresh, "dpkg", "--install", "/package.deb")

    def setUp(self) -> None:
        self.root = Path(tempfile.mkdtemp(prefix="test-systemd-")) / "root"
        self.addCleanup(shutil.rmtree, self.root.parent)
        run("cp", "-a", "--reflink=auto", self.fresh, self.root)
        with (self.root / "etc/default/teskupdater").open("a") as settings:
            settings.write(SETTINGS)
        (self.root / "etc/update").mkdir()
        script = self.root / "etc/update/0-checkpartitions.sh"
        script.write_text(HALFWAY)
        script.chmod(0o755)
        os.mkfifo(self.root / "srv/go-on")
        self.console_log = self.root.parent / "console"

    def boot(self) -> None:
        run("chroot", self.root, "systemctl", "enable", "teskupdater")
        device = self.root.parent / "mmcblk0p2"
        device.touch()
        options = [
            "--quiet",
            "--register=no",
            "--keep-unit",
            f"--bind={device}:/dev/mmcblk0p2",
            "--kill-signal=SIGKILL",
        ]
        with self.console_log.open("wb") as console:
            container = subprocess.Popen(
                ["systemd-nspawn", *options, "--directory", self.root, "--boot"],
                stdin=subprocess.DEVNULL,
                stdout=console,
                stderr=console,
            )
        self.addCleanup(container.wait)
        self.addCleanup(container.terminate)
        self.wait_until(lambda: bool(self.leader(container.pid)), "systemd")
        self.init = self.leader(container.pid)
        self.wait_until((self.root / "srv/at-work").exists, "the script at work")

    @staticmethod
    def leader(parent: int) -> str:
        return Path(f"/proc/{parent}/task/{parent}/children").read_text().strip()

    def inside(self, command: str) -> str:
        """Runs a shell command in the container; gives what it prints."""
        enter = ["nsenter", "--target", self.init, "--mount", "--pid", "--root", "--wd"]
        return subprocess.run(
            [*enter, "sh", "-c", command], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False
        ).stdout.strip()

    def crash(self) -> None:
        self.inside("kill -SEGV $(cat /run/teskupdater/pid)")

    @property
    def console(self) -> str:
        return self.console_log.read_text(errors="replace")

    def wait_until(self, true: Callable[[], bool], what: str) -> None:
        deadline = time.monotonic() + WITHIN
        while not true():
            if time.monotonic() > deadline:
                self.fail(f"{what}: not within {WITHIN:.0f} s; the console:\n{self.console}")
            time.sleep(LOOKS_EVERY)

    def test_unit_is_as_systemd_wants_it(self) -> None:
        told = run("systemd-analyze", "verify", "--man=no", f"--root={self.root}", "teskupdater.service")
        self.assertEqual(told, "")

    def test_next_start_waits_for_the_script_at_work(self) -> None:
        self.boot()
        self.crash()
        self.wait_until(lambda: WAITS in self.console, "the second start")
        self.assertEqual(self.console.count(PROGRAM_IS_UP), 1)
        self.assertFalse((self.root / "srv/written").exists())
        (self.root / "srv/go-on").write_text("go\n")
        self.wait_until(lambda: self.console.count(PROGRAM_IS_UP) == 2, "the program's second start")
        self.assertTrue((self.root / "srv/written").exists())
        self.assertIn(NOT_AGAIN, self.console)

    def test_five_starts_and_no_more(self) -> None:
        self.boot()
        (self.root / "srv/go-on").write_text("go\n")
        for number in range(1, STARTS + 1):
            self.wait_until(lambda: self.console.count(PROGRAM_IS_UP) == number, f"start {number}")
            self.crash()
        self.wait_until(lambda: self.inside("systemctl is-failed teskupdater") == "failed", "no further start")
        self.assertEqual(self.console.count(PROGRAM_IS_UP), STARTS)

    def test_stop_leaves_the_script_at_work(self) -> None:
        self.boot()
        self.inside("systemctl stop teskupdater")
        (self.root / "srv/go-on").write_text("go\n")
        self.wait_until((self.root / "srv/written").exists, "the script's end")

    def test_is_not_enabled_by_its_package(self) -> None:
        self.assertEqual(
            subprocess.run(
                ["chroot", self.fresh, "systemctl", "is-enabled", "teskupdater"],
                capture_output=True,
                text=True,
                check=False,
            ).stdout.strip(),
            "disabled",
        )


if __name__ == "__main__":
    unittest.main()
