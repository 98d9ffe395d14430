"""The commands that make instruments, sticks and downloads, and plug and pull a stick."""

import hashlib
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import instrument
from instrument import Instrument, command, fingerprint, made

MANIFEST_KEYS = {"core_version", "core_build", "core_build_date", "image_bootloader_version", "install_date_time"}


class Commands(unittest.TestCase):
    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="instrument-"))
        self.addCleanup(shutil.rmtree, self.scratch)

    def test_every_run_makes_the_same(self):
        for name in ("make-instrument", "make-stick", "make-archive"):
            with self.subTest(name):
                again = self.scratch / name
                self.assertEqual(command(name, again).returncode, 0)
                self.assertEqual(fingerprint(again), fingerprint(made(name)))

    def test_no_two_images_are_alike(self):
        stick = made("make-stick") / "update"
        archive = self.scratch / "archive"
        subprocess.run(["unzip", "-qq", made("make-archive"), "-d", archive], check=True)
        images = [*stick.glob("*.img"), *archive.glob("*.img")]
        slots = [slot for slot in (made("make-instrument") / "dev").glob("mmcblk0*") if not slot.name.endswith("boot1")]
        starts = {path.read_bytes()[:4096] for path in [*images, *slots]}
        self.assertEqual((len(images), len(slots), len(starts)), (10, 9, 19))

    def test_stick_is_what_its_sums_say(self):
        update = made("make-stick") / "update"
        sums = dict(reversed(line.split("  ")) for line in (update / "sha256sums.txt").read_text().splitlines())
        files = {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in update.iterdir()}
        del files["sha256sums.txt"], files["sha256sums.txt.minisig"]
        self.assertEqual(sums, files)

    def test_flashed_instrument(self):
        for active in "178":
            board = made("make-instrument", "--active", active)
            self.assertEqual((board / "mnt/recovery/download/partition_c").read_text(), active + "\n")
            self.assertEqual((board / "home/tesk").resolve(), (board / "mnt/userdata" / active).resolve())
            self.assertTrue((board / "home/tesk/cfg/teskuihost.conf").is_file())
            for partition in "178":
                manifest = (board / f"mnt/recovery/update_files/{partition}manifest.txt").read_text()
                keys = {line.partition("=")[0] for line in manifest.splitlines()}
                self.assertEqual(keys, MANIFEST_KEYS)
        self.assertTrue((board / "etc/pointercal").is_file())

    def test_blank_instrument(self):
        board = made("make-instrument", "--blank")
        self.assertEqual(sorted(path.name for path in board.glob("dev/mmc*")), ["mmcblk0boot0", "mmcblk0boot1"])
        self.assertEqual(set((board / "dev/mmcblk0boot0").read_bytes()), {0})
        self.assertEqual([path for path in board.glob("mnt/recovery/**/*") if path.is_file()], [])
        self.assertEqual([path.name for path in board.glob("mnt/userdata/*")], ["factory"])
        self.assertFalse((board / "etc/pointercal").exists())

    def test_bare_tree(self):
        tree = self.scratch / "bare"
        self.assertEqual(command("make-instrument", "--bare", tree).returncode, 0)
        files = {str(path.relative_to(tree)) for path in tree.rglob("*") if path.is_file() and not path.is_symlink()}
        self.assertEqual(files, {"etc/fonts/fonts.conf", "sbin/reboot"})
        directories = (
            "etc/update/utility_scripts", "home/tesk/cfg", "media/usb0", "mnt/recovery/download",
            "mnt/recovery/update_files", "sys/class/block", "tmp", "var/log",
        )
        for directory in directories:
            self.assertTrue((tree / directory).is_dir(), directory)
        script = tree / "etc/update/restart.sh"
        script.write_text("#!/bin/sh\n/sbin/reboot now\n/sbin/reboot\n")
        script.chmod(0o755)
        subprocess.run([instrument.SIMULATOR / "sandbox", tree, "/etc/update/restart.sh"], check=True)
        self.assertEqual((tree / "run/rebooted").read_text(), "now\n\n")

    def test_scripts_of_ones_own(self):
        own = self.scratch / "own"
        own.mkdir()
        (own / "0-checkpartitions.sh").write_text("#!/bin/sh\nexit 5\n")
        (own / "0-checkpartitions.sh").chmod(0o755)
        (own / "11-Reboot.sh").write_text("#!/bin/sh\n")
        (own / "11-Reboot.sh").chmod(0o644)
        board = Instrument(self, "--scripts", str(own))
        self.assertEqual(sorted(path.name for path in board.path("/etc/update").glob("*.sh")), sorted(os.listdir(own)))
        self.assertEqual(board.run("0-checkpartitions.sh", "11-Reboot.sh", "11-DCA-Reboot.sh"), [5, 126, 127])

    def test_every_script_is_executable(self):
        scripts = set((made("make-instrument") / "etc/update").glob("*-*.sh"))
        self.assertEqual(len(scripts), 19)
        self.assertEqual([path.name for path in scripts if not os.access(path, os.X_OK)], [])

    def test_plug_and_pull(self):
        board = Instrument(self)
        stick = made("make-stick")
        for _ in range(2):
            self.assertEqual(command("plug-stick", board.root, stick).returncode, 0)
            self.assertTrue(board.path("/sys/class/block/sda").is_dir())
            self.assertEqual(fingerprint(board.path("/media/usb0")), fingerprint(stick))
            self.assertEqual(command("unplug-stick", board.root).returncode, 0)
            self.assertFalse(board.path("/sys/class/block/sda").exists())
            self.assertEqual([path.name for path in board.path("/media").rglob("*")], ["usb0"])

    def test_one_stick_at_a_time(self):
        board = Instrument(self)
        board.plug()
        before = fingerprint(board.path("/media"))
        result = command("plug-stick", board.root, made("make-stick", "--bad", "missingfile"))
        self.assertEqual((result.returncode, result.stderr), (1, "there is a stick already\n"))
        self.assertEqual(fingerprint(board.path("/media")), before)

    def test_plugged_stick_is_seen_by_what_runs(self):
        board = Instrument(self)
        waiting = "while [ ! -d /media/usb0/update ]; do sleep 0.05; done; ls /media/usb0/update"
        with subprocess.Popen(
            [instrument.SIMULATOR / "sandbox", board.root, "sh", "-c", f"echo ready; {waiting}"],
            stdout=subprocess.PIPE, text=True,
        ) as sandbox:
            self.assertEqual(sandbox.stdout.readline(), "ready\n")
            board.plug()
            listed = sandbox.communicate(timeout=60)[0].split()
        self.assertEqual(listed, sorted(os.listdir(made("make-stick") / "update")))

    def test_wrong_arguments(self):
        target = self.scratch / "made"
        for arguments in (
            ("make-instrument",), ("make-instrument", "--active", "2", target), ("make-instrument", "--blank"),
            ("make-instrument", "--unknown", target), ("make-stick",), ("make-stick", "--bad", "luck", target),
            ("make-stick", "--override", target), ("make-archive",), ("make-archive", "--bad", "luck", target),
            ("make-archive", "--bad", "truncated"), ("make-instrument", "--active", "", target),
        ):
            with self.subTest(arguments):
                result = command(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertIn(f"usage: simulator/{arguments[0]}", result.stderr)
                self.assertFalse(target.exists())

    def test_help(self):
        for name in ("make-instrument", "make-stick", "make-archive", "plug-stick", "unplug-stick"):
            result = command(name, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(f"usage: simulator/{name}", result.stdout)

    def test_what_is_there_is_not_written_over(self):
        (self.scratch / "mine").write_text("mine")
        for name in ("make-instrument", "make-stick"):
            result = command(name, self.scratch)
            self.assertEqual((result.returncode, result.stderr), (1, f"{self.scratch} is not empty\n"))
        self.assertEqual(os.listdir(self.scratch), ["mine"])


if __name__ == "__main__":
    unittest.main()
