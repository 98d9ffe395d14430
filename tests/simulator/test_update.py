"""Whole updates: each mode's scripts in their order, on sticks and downloads that are in order."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

import instrument
from instrument import AFTER, NETWORK, REBUILD, USB, USB_KEEP, Instrument, made


class Update(unittest.TestCase):
    def unpacked_download(self) -> pathlib.Path:
        directory = tempfile.mkdtemp(prefix="instrument-")
        self.addCleanup(shutil.rmtree, directory)
        subprocess.run(["unzip", "-qq", made("make-archive"), "-d", directory], check=True)
        return pathlib.Path(directory)

    def test_each_partition_in_turn(self) -> None:
        for active, target in AFTER.items():
            with self.subTest(active=active):
                board = Instrument(self, "--active", active)
                others = {partition: board.version(partition) for partition in AFTER if partition != target}
                sizes = board.slot_sizes()
                board.plug()
                board.run_well(*USB)
                board.assert_installed(made("make-stick") / "update", target)
                self.assertEqual(others, {partition: board.version(partition) for partition in others})
                self.assertEqual(board.user_files(target), board.user_files("factory"))
                self.assertEqual(board.slot_sizes(), sizes)

    def test_ring_of_three_updates(self) -> None:
        board = Instrument(self)
        board.plug()
        for target in ("7", "8", "1", "7"):
            board.run_well(*USB)
            board.assert_installed(made("make-stick") / "update", target)

    def test_user_files_go_along(self) -> None:
        board = Instrument(self, "--active", "7")
        before = board.user_files("7")
        self.assertNotEqual(before, board.user_files("factory"))
        board.plug()
        board.run_well(*USB_KEEP)
        board.assert_installed(made("make-stick") / "update", "8")
        self.assertEqual(board.user_files("8"), before)
        self.assertEqual(board.user_files("7"), before)

    def test_network(self) -> None:
        board = Instrument(self, "--active", "8")
        others = {partition: board.version(partition) for partition in ("7", "8")}
        update = board.download()
        board.run_well(*NETWORK)
        board.assert_installed(self.unpacked_download(), "1")
        self.assertEqual(others, {partition: board.version(partition) for partition in others})
        self.assertEqual(board.user_files("1"), board.user_files("8"))
        self.assertEqual([name.name for name in update.iterdir()], ["update.log"])
        self.assertFalse(board.path("/mnt/recovery/download/update.zip").exists())

    def test_network_with_a_stick_plugged(self) -> None:
        board = Instrument(self)
        board.download()
        stick = board.plug()
        before = instrument.fingerprint(stick)
        board.run_well(*NETWORK)
        board.assert_installed(self.unpacked_download(), "7")
        self.assertEqual(instrument.fingerprint(stick), before)

    def test_blank_board(self) -> None:
        board = Instrument(self, "--blank")
        self.assertEqual(list(board.path("/dev").glob("mmcblk0p*")), [])
        board.plug()
        board.run_well(*REBUILD)
        board.assert_installed(made("make-stick") / "update", "1")
        self.assertEqual(board.user_files("1"), board.user_files("factory"))
        self.assertEqual(board.slot_sizes(), Instrument(self).slot_sizes())

    def test_every_script_leaves_a_line(self) -> None:
        for scripts, log in ((USB_KEEP, "/media/usb0/update"), (NETWORK, "/mnt/recovery/update_files/update")):
            board = Instrument(self)
            if scripts is NETWORK:
                board.download()
            else:
                board.plug()
            board.run_well(*scripts)
            expected = [(script, "ok") for script in scripts[:-1]] + [(scripts[-1], "ok, partition 7 is active")]
            self.assertEqual(board.log(f"{log}/update.log"), expected)

    def test_second_update_appends_to_the_log(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*USB)
        board.run_well(*USB)
        self.assertEqual([script for script, _ in board.log()], [*USB, *USB])

    def test_post_update_script_gets_the_partition(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*USB)
        self.assertEqual(board.path("/var/log/post-update.log").read_text(), "firmware 4.07 for version partition 7\n")

    def test_crlf_manifest_is_installed_with_plain_line_ends(self) -> None:
        board = Instrument(self)
        manifest = board.plug() / "manifest.txt"
        text = manifest.read_text()
        manifest.write_bytes(text.replace("\n", "\r\n").encode() + b"install_date_time=19990101 00:00:00\r\n")
        board.sign()
        board.run_well(*instrument.VERIFY, *instrument.IMAGES, *instrument.SWITCH)
        installed = board.manifest("7")
        self.assertTrue(installed.startswith(text))
        self.assertNotIn("19990101", installed)
        self.assertNotIn("\r", board.path("/mnt/recovery/update_files/7manifest.txt").read_bytes().decode())

    def test_nothing_half_written_is_left(self) -> None:
        board = Instrument(self)
        board.plug()
        for name in ("userdata/7.new", "recovery/backup"):
            board.path(f"/mnt/{name}").mkdir()
        for name in ("download/partition_c.new", "backup/userfiles.tgz.new", "update_files/8manifest.txt.new"):
            board.path(f"/mnt/recovery/{name}").write_text("half")
        board.run_well("0-checkpartitions.sh")
        self.assertEqual([str(path) for path in board.root.rglob("*.new")], [])
        board.run_well(*USB_KEEP)
        self.assertEqual([str(path) for path in board.root.rglob("*.new")], [])


class Restart(unittest.TestCase):
    def test_ends_everything_and_starts_the_new_version(self) -> None:
        for script in ("11-Reboot.sh", "11-DCA-Reboot.sh"):
            with self.subTest(script=script):
                board = Instrument(self)
                board.plug()
                board.run_well(*USB)
                self.assertEqual(board.path("/home/tesk").readlink(), pathlib.Path("../mnt/userdata/1"))
                self.assertEqual(board.run(script, "11-SetNextPartition.sh"), [])
                self.assertEqual(board.path("/run/rebooted").read_text(), f"/bin/sh /etc/update/{script}\n")
                self.assertEqual(board.path("/home/tesk").readlink(), pathlib.Path("../mnt/userdata/7"))
                self.assertIn("The instrument restarts with version partition 7", board.console)
                self.assertEqual(list(board.path("/tmp").iterdir()), [])
                self.assertEqual(board.log()[-1], (script, "ok"))

    def test_elsewhere_than_in_a_sandbox_it_refuses(self) -> None:
        board = Instrument(self)
        board.path("/run/comm").write_text("systemd\n")
        codes = board.run("11-Reboot.sh", sandbox_options=("--ro-bind", str(board.path("/run/comm")), "/proc/1/comm"))
        self.assertEqual(codes, [1])
        self.assertFalse(board.path("/run/rebooted").exists())
        self.assertTrue(board.path("/tmp/runningbootloaderversion").exists())


if __name__ == "__main__":
    unittest.main()
