"""The commands that make instruments, sticks and downloads, and plug and pull a stick."""

import concurrent.futures
import hashlib
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import unittest.mock

import instrument
from instrument import Instrument, command, fingerprint, made
from keys import key

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
            ("make-stick", "--bad", ".*", target), ("make-stick", "--bad", "", target),
            ("make-stick", "--bad", "size", target),
            ("make-archive", "--bad", "odd", target), ("sign-update",), ("sign-update", "--key", target),
            ("sign-update", target, target),
        ):
            with self.subTest(arguments):
                result = command(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertIn(f"usage: simulator/{arguments[0]}", result.stderr)
                self.assertFalse(target.exists())

    def test_help(self):
        for name in ("make-instrument", "make-stick", "make-archive", "plug-stick", "swap-stick", "unplug-stick",
                     "sign-update"):
            result = command(name, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(f"usage: simulator/{name}", result.stdout)

    def test_what_is_there_is_not_written_over(self):
        (self.scratch / "mine").write_text("mine")
        for name in ("make-instrument", "make-stick"):
            result = command(name, self.scratch)
            self.assertEqual((result.returncode, result.stderr), (1, f"{self.scratch} is not empty\n"))
        self.assertEqual(os.listdir(self.scratch), ["mine"])


class Signing(unittest.TestCase):
    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="instrument-"))
        self.addCleanup(shutil.rmtree, self.scratch)

    def verifies(self, file, public):
        done = subprocess.run(["minisign", "-VHq", "-p", public, "-m", file], capture_output=True, check=False)
        return done.returncode == 0

    def make_key(self):
        subprocess.run(["minisign", "-GW", "-p", self.scratch / "my.pub", "-s", self.scratch / "my.key"],
                       capture_output=True, check=True)
        return self.scratch / "my.key"

    def test_keys_are_made_once(self):
        """By several commands that begin at once; then all have signed with the same key."""
        with unittest.mock.patch.dict(os.environ, XDG_CACHE_HOME=str(self.scratch / "cache")):
            with concurrent.futures.ThreadPoolExecutor(6) as pool:
                runs = list(pool.map(lambda number: command("make-stick", self.scratch / str(number)), range(6)))
            self.assertEqual([(run.returncode, run.stderr) for run in runs], [(0, "")] * 6)
            keys = key("maker").parent
        self.assertEqual({path.name for path in keys.iterdir()},
                         {f"{name}.{kind}" for name in ("maker", "next", "stranger") for kind in ("pub", "key")})
        self.assertEqual(keys.stat().st_mode & 0o777, 0o700)
        for number in range(6):
            self.assertTrue(self.verifies(self.scratch / f"{number}/update/sha256sums.txt", keys / "maker.pub"))

    def test_keys_are_not_in_the_repository(self):
        self.assertNotIn(instrument.REPOSITORY, key("maker").resolve().parents)

    def test_no_place_for_keys(self):
        without = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_CACHE_HOME")}
        with unittest.mock.patch.dict(os.environ, without, clear=True):
            made_so = command("make-stick", self.scratch / "stick")
        self.assertNotEqual(made_so.returncode, 0)
        self.assertIn("neither HOME nor XDG_CACHE_HOME is set", made_so.stderr)

    def test_sign_with_a_key_of_ones_own(self):
        stick = self.scratch / "stick"
        shutil.copytree(made("make-stick", "--override", "size"), stick)
        (stick / "update/kernel.img").write_text("another kernel")
        (stick / "update/update.log").write_text("of an earlier update\n")
        self.assertEqual(command("sign-update", "--key", self.make_key(), stick).returncode, 0)
        for sums in (stick / "update/sha256sums.txt", stick / "update/OVERRIDE/sha256sums.txt"):
            self.assertTrue(self.verifies(sums, self.scratch / "my.pub"))
            self.assertNotIn(".log", sums.read_text())
            subprocess.run(["sha256sum", "--check", "--quiet", "sha256sums.txt"], cwd=sums.parent, check=True)

    def test_sign_an_archive(self):
        archive = self.scratch / "update.zip"
        archive.write_text("archive")
        self.assertEqual(command("sign-update", "--key", self.make_key(), archive).returncode, 0)
        self.assertTrue(self.verifies(archive, self.scratch / "my.pub"))

    def test_nothing_to_sign(self):
        for path in (self.scratch, self.scratch / "nothing"):
            done = command("sign-update", path)
            self.assertEqual((done.returncode, done.stderr), (1, f"{path} is no archive and holds no update\n"))

    def test_keys_of_an_instrument(self):
        board = made("make-instrument") / "etc/update/keys"
        self.assertEqual({path.name for path in board.iterdir()}, {"maker.pub", "next.pub"})
        self.assertFalse((made("make-instrument", "--keyless") / "etc/update/keys").exists())

    def test_keys_beside_scripts_of_ones_own(self):
        """Scripts that verify nothing get no keys, and keys of one's own stay."""
        own = self.scratch / "own"
        own.mkdir()
        (own / "0-checkpartitions.sh").write_text("#!/bin/sh\n")
        board = self.scratch / "board"
        command("make-instrument", "--scripts", own, board)
        self.assertFalse((board / "etc/update/keys").exists())
        shutil.copytree(instrument.SCRIPTS, own, dirs_exist_ok=True)
        (own / "keys").mkdir()
        (own / "keys/mine.pub").write_text("mine")
        command("make-instrument", "--scripts", own, self.scratch / "other")
        self.assertEqual(os.listdir(self.scratch / "other/etc/update/keys"), ["mine.pub"])

    def test_swap(self):
        for kind, other in (("swapped", None), ("replaced", "4.09")):
            stick, board = made("make-stick", "--bad", kind), Instrument(self)
            good = made("make-stick") / "update"
            self.assertEqual(fingerprint(stick / "update"), fingerprint(good))
            update = board.plug("--bad", kind)
            self.assertEqual(command("swap-stick", board.root, stick).returncode, 0)
            for file in good.iterdir():
                if other or not file.name.startswith("sha256sums"):
                    self.assertNotEqual((update / file.name).read_bytes(), file.read_bytes(), file.name)
                self.assertEqual((stick.with_name("made.instead") / "update" / file.name).read_bytes(),
                                 (update / file.name).read_bytes())


if __name__ == "__main__":
    unittest.main()
