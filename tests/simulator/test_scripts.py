"""Each script by itself: what it does when something is amiss."""

import os
import subprocess
import unittest

import instrument
from instrument import CHECK_FILESYSTEM, IMAGE_OF, IMAGES, SLOT_OF, VERIFY, Instrument, OneScript


class CheckFilesystem(OneScript):
    def first_line(self, board: Instrument, script: str) -> tuple[int, tuple[str, str]]:
        """What a script of these logs before the update's source is known, with the script that tells it."""
        board.plug()
        codes = board.run(script, "11-SetNextPartition.sh")
        return codes[0], board.log()[0]

    def test_slots(self) -> None:
        for slot in ("boot0", "boot1", "p1", "p3", "p4", "p5", "p6", "p7", "p8"):
            with self.subTest(slot):
                board = Instrument(self)
                board.path(f"/dev/mmcblk0{slot}").unlink()
                expected = ("0-checkpartitions.sh", f"FAILED: /dev/mmcblk0{slot} is missing or read-only")
                self.assertEqual(self.first_line(board, "0-checkpartitions.sh"), (1, expected))

    def test_partition_file(self) -> None:
        for content in ("", "2\n", "1 7\n", "7 \n", "\n", "11", "none", "77777777777777777777777"):
            with self.subTest(content):
                board = Instrument(self)
                board.path("/mnt/recovery/download/partition_c").write_text(content)
                reason = "FAILED: /mnt/recovery/download/partition_c names no version partition"
                expected = ("0-checkpartitions.sh", reason)
                self.assertEqual(self.first_line(board, "0-checkpartitions.sh"), (1, expected))

    def test_markers_of_the_last_update(self) -> None:
        board = Instrument(self)
        for marker in ("verifyFailed", "networkUpdate", "userFilesToRestore"):
            board.path(f"/tmp/{marker}").write_text("old\n")
        self.assertEqual(board.run("0-checkpartitions.sh"), [0])
        left = sorted(path.name for path in board.path("/tmp").iterdir())
        self.assertEqual(left, ["runningbootloaderversion", "update.log"])

    def test_recovery_area_is_made(self) -> None:
        board = Instrument(self)
        subprocess.run(["rm", "-r", board.path("/mnt/recovery/update_files")], check=True)
        board.plug()
        board.run_well("1-AUTUPD-createRecoverySystem.sh")
        for directory in ("download", "backup", "update_files/update"):
            self.assertTrue(board.path(f"/mnt/recovery/{directory}").is_dir())
        self.assertEqual(list(board.path("/mnt/recovery").glob("try*")), [])

    def test_recovery_area_that_cannot_be_written(self) -> None:
        board = Instrument(self)
        for directory in ("backup", "update_files/update"):
            board.path(f"/mnt/recovery/{directory}").mkdir()
        board.path("/mnt/recovery").chmod(0o555)
        expected = ("1-AUTUPD-createRecoverySystem.sh", "FAILED: /mnt/recovery cannot be written")
        self.assertEqual(self.first_line(board, "1-AUTUPD-createRecoverySystem.sh"), (1, expected))
        board.path("/mnt/recovery").chmod(0o755)

    def test_no_update_at_all(self) -> None:
        board = Instrument(self)
        self.assertEqual(board.run("1-AUTUPD-createRecoverySystem.sh"), [1])
        board.download()
        self.assertEqual(board.run("1-AUTUPD-createRecoverySystem.sh"), [0])
        board.path("/mnt/recovery/download/update.zip").unlink()
        board.plug()
        self.assertEqual(board.run("1-AUTUPD-createRecoverySystem.sh"), [0])

    def test_aborted_update_is_logged_in_the_recovery_area(self) -> None:
        board = Instrument(self)
        self.assertEqual(board.run(*instrument.CHECK_FILESYSTEM, "11-Reboot.sh"), [0, 1])
        expected = [
            ("0-checkpartitions.sh", "ok"),
            ("1-AUTUPD-createRecoverySystem.sh", "FAILED: there is no update: no stick, and nothing downloaded"),
            ("11-Reboot.sh", "ok"),
        ]
        self.assertEqual(board.log("/mnt/recovery/update_files/update/update.log"), expected)


class WriteImages(OneScript):
    def test_image_missing(self) -> None:
        for script, image in IMAGE_OF.items():
            with self.subTest(image):
                board = Instrument(self)
                (board.plug_checked() / image).unlink()
                self.assert_fails_and_changes_nothing(board, script, f"{image} is missing")

    def test_slot_missing(self) -> None:
        for script, slot in SLOT_OF.items():
            if script == "6-USB-recoveryfs.sh":
                continue  # without its slot the board counts as blank
            with self.subTest(slot):
                board = Instrument(self)
                board.plug_checked()
                board.path(f"/dev/{slot}").unlink()
                self.assert_fails_and_changes_nothing(board, script, f"/dev/{slot} is missing or read-only")

    def test_slot_too_small(self) -> None:
        for script, slot in SLOT_OF.items():
            with self.subTest(slot):
                board, image = Instrument(self), IMAGE_OF[script]
                size = (board.plug_checked() / image).stat().st_size
                os.truncate(board.path(f"/dev/{slot}"), size - 1)
                self.assert_fails_and_changes_nothing(board, script, f"{image} does not fit in /dev/{slot}")

    def test_damaged_partition_file(self) -> None:
        for script in IMAGES:
            with self.subTest(script):
                board = Instrument(self)
                board.plug_checked()
                board.path("/mnt/recovery/download/partition_c").write_text("3\n")
                reason = "/mnt/recovery/download/partition_c names no version partition"
                self.assert_fails_and_changes_nothing(board, script, reason)

    def test_storage_that_does_not_keep_what_is_written(self) -> None:
        """A dd that claims success, as storage with bad cells does: the script must read back."""
        for script, image in IMAGE_OF.items():
            with self.subTest(script):
                self.assert_reads_back(script, image, "*", "/dev/mmcblk0p7")
                slot = f"/dev/{SLOT_OF[script]}"
                self.assert_reads_back(script, image, slot, slot)

    def assert_reads_back(self, script: str, image: str, broken_slot: str, named: str) -> None:
        """Nothing that is written to this slot is kept, and the log names it."""
        board = Instrument(self)
        board.plug_checked()
        broken = board.path("/run/broken")
        broken.mkdir()
        (broken / "dd").write_text(
            f"#!/bin/sh\ncase $1 in of={broken_slot}) exec cat >/dev/null ;; esac\n" 'exec /usr/bin/dd "$@"\n'
        )
        (broken / "dd").chmod(0o755)
        self.assertEqual(board.run(script, sandbox_options=("--setenv", "PATH", "/run/broken:/usr/bin")), [1])
        self.assertEqual(board.log()[-1], (script, f"FAILED: {named} does not hold {image} after writing"))

    def test_first_copy_of_the_bootloader_is_left_when_the_second_cannot_be_written(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        before = instrument.fingerprint(board.path("/dev/mmcblk0boot0"))
        board.path("/dev/mmcblk0boot1").chmod(0o444)
        self.assert_fails(board, "3-USB-UBoot.sh", "/dev/mmcblk0boot1 is missing or read-only")
        self.assertEqual(instrument.fingerprint(board.path("/dev/mmcblk0boot0")), before)

    def test_half_written_version_does_not_look_installed(self) -> None:
        for script in ("4-USB-kernel.sh", "7-USB-rootfs.sh"):
            with self.subTest(script):
                board = Instrument(self)
                board.plug_checked()
                board.run_well(script)
                self.assertFalse(board.path("/mnt/recovery/update_files/7manifest.txt").exists())

    def test_stick_pulled(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        board.run_well("3-USB-UBoot.sh")
        self.assertEqual(instrument.command("unplug-stick", board.root).returncode, 0)
        before = board.storage()
        board.run("1-AUTUPD-createRecoverySystem.sh")
        log = "/mnt/recovery/update_files/update/update.log"
        self.assert_fails(board, "4-USB-kernel.sh", "kernel.img is missing", log)
        self.assertEqual(board.storage(), before)


class PostUpdate(OneScript):
    def board_with(self, files: dict[str, str | None]) -> Instrument:
        """An instrument with a stick that brings these files, checked; None is one that it does not bring."""
        board = Instrument(self)
        update = board.plug()
        for name, text in files.items():
            (update / name).unlink(missing_ok=True)
            if text is not None:
                (update / name).write_text(text)
        board.sign()
        board.run_well(*CHECK_FILESYSTEM, *VERIFY)
        return board

    def test_without_one(self) -> None:
        board = self.board_with({"post-update.sh": None})
        board.run_well("10-USB-PostUpdate.sh")
        self.assertEqual(board.log()[-1], ("10-USB-PostUpdate.sh", "ok, none in this update"))

    def test_that_fails(self) -> None:
        board = self.board_with({"post-update.sh": 'echo "$TARGET_PARTITION" >/run/seen\nexit 7\n'})
        self.assert_fails(board, "10-USB-PostUpdate.sh", "post-update.sh ended with status 7")
        self.assertEqual(board.path("/run/seen").read_text(), "7\n")

    def test_reads_no_input(self) -> None:
        board = self.board_with({"post-update.sh": "cat >/run/input\n"})
        board.run_well("10-USB-PostUpdate.sh")
        self.assertEqual(board.path("/run/input").read_text(), "")


class UbootVariables(OneScript):
    def test_installed(self) -> None:
        board = Instrument(self)
        (board.plug() / "u-boot-variables.txt").write_text("bootdelay=1\nconsole=ttymxc0,115200\n")
        board.sign()
        board.run_well(*VERIFY, "9-UbootVariables.sh")
        installed = board.path("/mnt/recovery/download/u-boot-variables.txt").read_text()
        self.assertEqual(installed, "bootdelay=1\nconsole=ttymxc0,115200\n")

    def test_none(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        board.run_well("9-UbootVariables.sh")
        self.assertEqual(board.log()[-1], ("9-UbootVariables.sh", "ok, no variables in this update"))
        self.assertFalse(board.path("/mnt/recovery/download/u-boot-variables.txt").exists())

    def test_not_variables(self) -> None:
        for line in ("reset", "=1", " bootdelay=1", "1st=2", "boot delay=1"):
            with self.subTest(line):
                board = Instrument(self)
                (board.plug() / "u-boot-variables.txt").write_text(f"bootdelay=1\n{line}\nbootdelay=2\n")
                board.sign()
                board.run_well(*VERIFY)
                reason = "u-boot-variables.txt has a line that sets no variable"
                self.assert_fails(board, "9-UbootVariables.sh", reason)
                self.assertFalse(board.path("/mnt/recovery/download/u-boot-variables.txt").exists())


if __name__ == "__main__":
    unittest.main()
