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
    def setUp(self) -> None:
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="instrument-"))
        self.addCleanup(shutil.rmtree, self.scratch)

    def test_every_run_makes_the_same(self) -> None:
        for name in ("make-instrument", "make-stick", "make-archive"):
            with self.subTest(name):
                again = self.scratch / name
                self.assertEqual(command(name, again).returncode, 0)
                self.assertEqual(fingerprint(again), fingerprint(made(name)))

    def test_no_two_images_are_alike(self) -> None:
        stick = made("make-stick") / "update"
        archive = self.scratch / "archive"
        subprocess.run(["unzip", "-qq", made("make-archive"), "-d", archive], check=True)
        images = [*stick.glob("*.img"), *archive.glob("*.img")]
        slots = [slot for slot in (made("make-instrument") / "dev").glob("mmcblk0*") if not slot.name.endswith("boot1")]
        starts = {path.read_bytes()[:4096] for path in [*images, *slots]}
        self.assertEqual((len(images), len(slots), len(starts)), (10, 9, 19))

    def test_stick_is_what_its_sums_say(self) -> None:
        update = made("make-stick") / "update"
        sums = {line[66:]: line[:64] for line in (update / "sha256sums.txt").read_text().splitlines()}
        files = {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in update.iterdir()}
        del files["sha256sums.txt"], files["sha256sums.txt.minisig"]
        self.assertEqual(sums, files)

    def test_flashed_instrument(self) -> None:
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

    def test_blank_instrument(self) -> None:
        board = made("make-instrument", "--blank")
        self.assertEqual(sorted(path.name for path in board.glob("dev/mmc*")), ["mmcblk0boot0", "mmcblk0boot1"])
        self.assertEqual(set((board / "dev/mmcblk0boot0").read_bytes()), {0})
        self.assertEqual([path for path in board.glob("mnt/recovery/**/*") if path.is_file()], [])
        self.assertEqual([path.name for path in board.glob("mnt/userdata/*")], ["factory"])
        self.assertFalse((board / "etc/pointercal").exists())

    ANOTHER = """
overlay = "more"
[partitions]
mmcblk0boot0 = { size = "64K", fixed = true }
mmcblk0p2 = { size = "1M" }
mmcblk0p5 = { size = "3M" }
mmcblk0p6 = { size = "3M" }
[images]
"system.bin" = { 1 = "mmcblk0p5", 8 = "mmcblk0p6" }
"loader.bin" = ["mmcblk0boot0"]
[versions]
ring = ["1", "8"]
active = "/data/active"
user_files = "/data/of {version}"
home = "/home/tesk"
[update]
manifest = "about"
sums = "SUMS"
bootloader_key = "loader"
"""

    SIGNED = """[signature]
keys = "/data/keys"
list = "SUMS"
list_signature = "SUMS.sig"
"""

    def another(self, more: str = "") -> pathlib.Path:
        description = self.scratch / "another.toml"
        description.write_text(self.ANOTHER + more)
        (self.scratch / "more/etc").mkdir(parents=True)
        (self.scratch / "more/etc/model").write_text("another")
        return description

    def test_another_instrument(self) -> None:
        board = self.scratch / "board"
        result = command("make-instrument", "--instrument", self.another(), "--active", "8", board)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(
            {path.name: path.stat().st_size for path in board.glob("dev/mmc*")},
            {"mmcblk0boot0": 2**16, "mmcblk0p2": 2**20, "mmcblk0p5": 3 * 2**20, "mmcblk0p6": 3 * 2**20},
        )
        self.assertEqual(set((board / "dev/mmcblk0p2").read_bytes()), {0}, "no image is for it")
        self.assertGreater(len({path.read_bytes()[:999] for path in board.glob("dev/mmc*")}), 3)
        self.assertEqual((board / "data/active").read_text(), "8\n")
        self.assertEqual((board / "home/tesk").resolve(), (board / "data/of 8").resolve())
        self.assertEqual(sorted(path.name for path in (board / "data").iterdir()), ["active", "of 1", "of 8"])
        self.assertEqual((board / "etc/model").read_text(), "another")
        self.assertEqual([*board.rglob("*manifest.txt"), *board.glob("mnt/userdata")], [])

    def test_another_instrument_restarts(self) -> None:
        board = self.scratch / "board"
        self.assertEqual(command("make-instrument", "--instrument", self.another(), board).returncode, 0)
        (board / "data/active").write_text("8\n")
        done = subprocess.run(
            [instrument.SIMULATOR / "sandbox", board, "sh", "-c", "/sbin/reboot; sleep 60"],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=30,
            check=False,
        )
        self.assertIn("The instrument restarts with version partition 8", done.stdout)
        self.assertEqual((board / "home/tesk").resolve(), (board / "data/of 8").resolve())

    def test_another_blank_board(self) -> None:
        board = self.scratch / "board"
        self.assertEqual(command("make-instrument", "--instrument", self.another(), "--blank", board).returncode, 0)
        self.assertEqual([path.name for path in board.glob("dev/mmc*")], ["mmcblk0boot0"])

    def test_another_stick(self) -> None:
        stick = self.scratch / "stick"
        description = self.another()
        self.assertEqual(command("make-stick", "--instrument", description, stick).returncode, 0)
        update = stick / "update"
        self.assertEqual(sorted(path.name for path in update.iterdir()), ["SUMS", "about", "loader.bin", "system.bin"])
        subprocess.run(["sha256sum", "--quiet", "-c", "SUMS"], cwd=update, check=True)
        self.assertIn("loader=V4.05.00\n", (update / "about").read_text())
        self.assertLess((update / "loader.bin").stat().st_size, 2**16)
        for kind, spoilt in (("badsum", "system.bin"), ("missingfile", "system.bin"), ("wrongbootloader", "about")):
            bad = self.scratch / kind
            self.assertEqual(command("make-stick", "--bad", kind, "--instrument", description, bad).returncode, 0)
            self.assertNotEqual(fingerprint(bad / "update" / spoilt), fingerprint(update / spoilt), kind)

    def test_another_without_signatures(self) -> None:
        """No keys on the instrument, no signature on a stick or of a download, and none that could be bad."""
        board, archive, description = self.scratch / "board", self.scratch / "update.zip", self.another()
        self.assertEqual(command("make-instrument", "--instrument", description, board).returncode, 0)
        self.assertEqual([*board.rglob("*.pub")], [])
        self.assertEqual(command("make-archive", "--instrument", description, archive).returncode, 0)
        self.assertEqual([*self.scratch.glob("*.minisig")], [])
        for name in ("make-stick", "make-archive"):
            for kind in ("unsigned", "otherkey", "resummed"):
                done = command(name, "--bad", kind, "--instrument", description, self.scratch / "made")
                why = f"{kind}: the instrument verifies no signature, its description has no [signature]\n"
                self.assertEqual((done.returncode, done.stderr), (1, why))
        done = command("make-stick", "--override", "unsigned", "--instrument", description, self.scratch / "made")
        self.assertEqual(done.returncode, 1)
        done = command("sign-update", "--instrument", description, archive)
        self.assertEqual(
            (done.returncode, done.stderr),
            (1, "the instrument verifies no signature, its description has no [signature]\n"),
        )

    def test_another_with_signatures(self) -> None:
        """The description says where keys and signatures are, and what they are called."""
        board, stick, description = self.scratch / "board", self.scratch / "stick", self.another(self.SIGNED)
        self.assertEqual(command("make-instrument", "--instrument", description, board).returncode, 0)
        self.assertEqual({path.name for path in (board / "data/keys").iterdir()}, {"maker.pub", "next.pub"})
        self.assertEqual(command("make-stick", "--instrument", description, stick).returncode, 0)
        self.assert_signed(stick, board)
        (stick / "update/system.bin").write_text("another system")
        (stick / "update/SUMS.sig").unlink()
        self.assertEqual(command("sign-update", "--instrument", description, stick).returncode, 0)
        self.assert_signed(stick, board)
        unsigned = self.scratch / "unsigned"
        done = command("make-stick", "--bad", "unsigned", "--instrument", description, unsigned)
        self.assertEqual((done.returncode, (unsigned / "update/SUMS.sig").exists()), (0, False))

    def assert_signed(self, stick: pathlib.Path, board: pathlib.Path) -> None:
        key, update = board / "data/keys/maker.pub", stick / "update"
        subprocess.run(["minisign", "-Vq", "-p", key, "-m", update / "SUMS", "-x", update / "SUMS.sig"], check=True)
        listed = {line.split("  ", 1)[1] for line in (update / "SUMS").read_text().splitlines()}
        self.assertEqual(listed, {"about", "loader.bin", "system.bin"})

    def test_nothing_but_partitions(self) -> None:
        (self.scratch / "least.toml").write_text('[partitions]\nmmcblk0p2 = { size = "64K" }\n')
        board = self.scratch / "board"
        self.assertEqual(command("make-instrument", "--instrument", self.scratch / "least.toml", board).returncode, 0)
        self.assertEqual([path.name for path in board.glob("dev/mmc*")], ["mmcblk0p2"])
        self.assertTrue((board / "home/tesk/cfg/teskuihost.conf").is_file())

    def test_mistakes_in_a_description(self) -> None:
        wrong = self.scratch / "wrong.toml"
        wrong.write_text("[partitions]\nmmcblk0p2 = { size = 4 }\n")
        for name in ("make-instrument", "make-stick", "make-archive"):
            result = command(name, "--instrument", wrong, self.scratch / "made")
            self.assertNotEqual(result.returncode, 0)
            self.assertIn(f"{wrong}:2: partitions.mmcblk0p2.size has to be a size", result.stderr)

    def test_describe(self) -> None:
        for arguments in ((), ("luck",), ("paths", "images")):
            result = command("describe", *arguments)
            self.assertEqual(result.returncode, 2)
            self.assertIn("usage: simulator/describe", result.stderr)
        self.assertIn("usage: simulator/describe", command("describe", "--help").stdout)
        self.assertIn("mmcblk0p7 4194304 rootfs.img 7 -\n", command("describe", "partitions").stdout)

    def test_bare_tree(self) -> None:
        tree = self.scratch / "bare"
        self.assertEqual(command("make-instrument", "--bare", tree).returncode, 0)
        files = {str(path.relative_to(tree)) for path in tree.rglob("*") if path.is_file() and not path.is_symlink()}
        self.assertEqual(files, {"etc/fonts/fonts.conf", "sbin/reboot"})
        directories = (
            "etc/update/utility_scripts",
            "home/tesk/cfg",
            "media/usb0",
            "mnt/recovery/download",
            "mnt/recovery/update_files",
            "sys/class/block",
            "tmp",
            "var/log",
        )
        for directory in directories:
            self.assertTrue((tree / directory).is_dir(), directory)
        script = tree / "etc/update/restart.sh"
        script.write_text("#!/bin/sh\n/sbin/reboot now\n/sbin/reboot\n")
        script.chmod(0o755)
        subprocess.run([instrument.SIMULATOR / "sandbox", tree, "/etc/update/restart.sh"], check=True)
        self.assertEqual((tree / "run/rebooted").read_text(), "now\n\n")

    def test_scripts_of_ones_own(self) -> None:
        own = self.scratch / "own"
        own.mkdir()
        (own / "0-checkpartitions.sh").write_text("#!/bin/sh\nexit 5\n")
        (own / "0-checkpartitions.sh").chmod(0o755)
        (own / "11-Reboot.sh").write_text("#!/bin/sh\n")
        (own / "11-Reboot.sh").chmod(0o644)
        board = Instrument(self, "--scripts", str(own))
        self.assertEqual(sorted(path.name for path in board.path("/etc/update").glob("*.sh")), sorted(os.listdir(own)))
        self.assertEqual(board.run("0-checkpartitions.sh", "11-Reboot.sh", "11-DCA-Reboot.sh"), [5, 126, 127])

    def test_every_script_is_executable(self) -> None:
        scripts = set((made("make-instrument") / "etc/update").glob("*-*.sh"))
        self.assertEqual(len(scripts), 19)
        self.assertEqual([path.name for path in scripts if not os.access(path, os.X_OK)], [])

    def test_plug_and_pull(self) -> None:
        board = Instrument(self)
        stick = made("make-stick")
        for _ in range(2):
            self.assertEqual(command("plug-stick", board.root, stick).returncode, 0)
            self.assertTrue(board.path("/sys/class/block/sda").is_dir())
            self.assertEqual(fingerprint(board.path("/media/usb0")), fingerprint(stick))
            self.assertEqual(command("unplug-stick", board.root).returncode, 0)
            self.assertFalse(board.path("/sys/class/block/sda").exists())
            self.assertEqual([path.name for path in board.path("/media").rglob("*")], ["usb0"])

    def test_one_stick_at_a_time(self) -> None:
        board = Instrument(self)
        board.plug()
        before = fingerprint(board.path("/media"))
        result = command("plug-stick", board.root, made("make-stick", "--bad", "missingfile"))
        self.assertEqual((result.returncode, result.stderr), (1, "there is a stick already\n"))
        self.assertEqual(fingerprint(board.path("/media")), before)

    def test_plugged_stick_is_seen_by_what_runs(self) -> None:
        board = Instrument(self)
        waiting = "while [ ! -d /media/usb0/update ]; do sleep 0.05; done; ls /media/usb0/update"
        with subprocess.Popen(
            [instrument.SIMULATOR / "sandbox", board.root, "sh", "-c", f"echo ready; {waiting}"],
            stdout=subprocess.PIPE,
            text=True,
        ) as sandbox:
            assert sandbox.stdout
            self.assertEqual(sandbox.stdout.readline(), "ready\n")
            board.plug()
            listed = sandbox.communicate(timeout=60)[0].split()
        self.assertEqual(listed, sorted(os.listdir(made("make-stick") / "update")))

    def test_wrong_arguments(self) -> None:
        target = str(self.scratch / "made")
        for arguments in (
            ("make-instrument",),
            ("make-instrument", "--active", "2", target),
            ("make-instrument", "--blank"),
            ("make-instrument", "--unknown", target),
            ("make-stick",),
            ("make-stick", "--bad", "luck", target),
            ("make-stick", "--override", target),
            ("make-archive",),
            ("make-archive", "--bad", "luck", target),
            ("make-archive", "--bad", "truncated"),
            ("make-instrument", "--active", "", target),
            ("make-stick", "--bad", ".*", target),
            ("make-stick", "--bad", "", target),
            ("make-stick", "--bad", "size", target),
            ("make-archive", "--bad", "odd", target),
            ("sign-update",),
            ("sign-update", "--key", target),
            ("sign-update", target, target),
        ):
            with self.subTest(arguments):
                result = command(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertIn(f"usage: simulator/{arguments[0]}", result.stderr)
                self.assertFalse(os.path.exists(target))

    def test_help(self) -> None:
        for name in (
            "make-instrument",
            "make-stick",
            "make-archive",
            "plug-stick",
            "swap-stick",
            "unplug-stick",
            "sign-update",
        ):
            result = command(name, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(f"usage: simulator/{name}", result.stdout)

    def test_what_is_there_is_not_written_over(self) -> None:
        (self.scratch / "mine").write_text("mine")
        for name in ("make-instrument", "make-stick"):
            result = command(name, self.scratch)
            self.assertEqual((result.returncode, result.stderr), (1, f"{self.scratch} is not empty\n"))
        self.assertEqual(os.listdir(self.scratch), ["mine"])


class Signing(unittest.TestCase):
    def setUp(self) -> None:
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="instrument-"))
        self.addCleanup(shutil.rmtree, self.scratch)

    def verifies(self, file: pathlib.Path, public: pathlib.Path) -> bool:
        done = subprocess.run(["minisign", "-VHq", "-p", public, "-m", file], capture_output=True, check=False)
        return done.returncode == 0

    def make_key(self) -> pathlib.Path:
        subprocess.run(
            ["minisign", "-GW", "-p", self.scratch / "my.pub", "-s", self.scratch / "my.key"],
            capture_output=True,
            check=True,
        )
        return self.scratch / "my.key"

    def test_keys_are_made_once(self) -> None:
        """By several commands that begin at once; then all have signed with the same key."""
        with unittest.mock.patch.dict(os.environ, XDG_CACHE_HOME=str(self.scratch / "cache")):
            with concurrent.futures.ThreadPoolExecutor(6) as pool:
                runs = list(pool.map(lambda number: command("make-stick", self.scratch / str(number)), range(6)))
            self.assertEqual([(run.returncode, run.stderr) for run in runs], [(0, "")] * 6)
            keys = key("maker").parent
        self.assertEqual(
            {path.name for path in keys.iterdir()},
            {f"{name}.{kind}" for name in ("maker", "next", "stranger") for kind in ("pub", "key")},
        )
        self.assertEqual(keys.stat().st_mode & 0o777, 0o700)
        for number in range(6):
            self.assertTrue(self.verifies(self.scratch / f"{number}/update/sha256sums.txt", keys / "maker.pub"))

    def test_keys_are_not_in_the_repository(self) -> None:
        self.assertNotIn(instrument.REPOSITORY, key("maker").resolve().parents)

    def test_no_place_for_keys(self) -> None:
        without = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_CACHE_HOME")}
        with unittest.mock.patch.dict(os.environ, without, clear=True):
            made_so = command("make-stick", self.scratch / "stick")
        self.assertNotEqual(made_so.returncode, 0)
        self.assertIn("neither HOME nor XDG_CACHE_HOME is set", made_so.stderr)

    def test_sign_with_a_key_of_ones_own(self) -> None:
        stick = self.scratch / "stick"
        shutil.copytree(made("make-stick", "--override", "size"), stick)
        (stick / "update/kernel.img").write_text("another kernel")
        (stick / "update/update.log").write_text("of an earlier update\n")
        self.assertEqual(command("sign-update", "--key", self.make_key(), stick).returncode, 0)
        for sums in (stick / "update/sha256sums.txt", stick / "update/OVERRIDE/sha256sums.txt"):
            self.assertTrue(self.verifies(sums, self.scratch / "my.pub"))
            self.assertNotIn(".log", sums.read_text())
            subprocess.run(["sha256sum", "--check", "--quiet", "sha256sums.txt"], cwd=sums.parent, check=True)

    def test_sign_an_archive(self) -> None:
        archive = self.scratch / "update.zip"
        archive.write_text("archive")
        self.assertEqual(command("sign-update", "--key", self.make_key(), archive).returncode, 0)
        self.assertTrue(self.verifies(archive, self.scratch / "my.pub"))

    def test_nothing_to_sign(self) -> None:
        for path in (self.scratch, self.scratch / "nothing"):
            done = command("sign-update", path)
            self.assertEqual((done.returncode, done.stderr), (1, f"{path} is no archive and holds no update\n"))

    def test_keys_of_an_instrument(self) -> None:
        board = made("make-instrument") / "etc/update/keys"
        self.assertEqual({path.name for path in board.iterdir()}, {"maker.pub", "next.pub"})
        self.assertFalse((made("make-instrument", "--keyless") / "etc/update/keys").exists())

    def test_keys_beside_scripts_of_ones_own(self) -> None:
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

    def test_swap(self) -> None:
        for kind, other in (("swapped", None), ("replaced", "4.09")):
            stick, board = made("make-stick", "--bad", kind), Instrument(self)
            good = made("make-stick") / "update"
            self.assertEqual(fingerprint(stick / "update"), fingerprint(good))
            update = board.plug("--bad", kind)
            self.assertEqual(command("swap-stick", board.root, stick).returncode, 0)
            for file in good.iterdir():
                if other or not file.name.startswith("sha256sums"):
                    self.assertNotEqual((update / file.name).read_bytes(), file.read_bytes(), file.name)
                self.assertEqual(
                    (stick.with_name("made.instead") / "update" / file.name).read_bytes(),
                    (update / file.name).read_bytes(),
                )


if __name__ == "__main__":
    unittest.main()
