"""Sticks and downloads that are not in order: rejected with the reason, and nothing is written."""

import os
import pathlib
import shutil
import unittest
from collections.abc import Callable

import instrument
from instrument import CHECK_FILESYSTEM, UNZIP, VERIFY, Instrument

VERSION_CHECK, FILE_CHECK = VERIFY
NETWORK_LOG = "/mnt/recovery/update_files/update/update.log"
CLEANUP = "99-AUTUPD-failedCleanup.sh"


def rewrite(path: pathlib.Path, change: Callable[[bytes], bytes]) -> None:
    path.write_bytes(change(path.read_bytes()))


# What is done to a good update's files, which check finds it, and what it says.
SPOILED: dict[str, tuple[Callable[[pathlib.Path], object], str, str]] = {
    "no manifest": (lambda update: (update / "manifest.txt").unlink(), VERSION_CHECK, "manifest.txt is missing"),
    "no sums": (lambda update: (update / "sha256sums.txt").unlink(), VERSION_CHECK, "sha256sums.txt is missing"),
    "an image cut short": (
        lambda update: os.truncate(update / "rootfs.img", (update / "rootfs.img").stat().st_size - 1),
        FILE_CHECK,
        "rootfs.img was changed after it was signed (wrong sum)",
    ),
    "an empty image": (lambda update: os.truncate(update / "u-boot.img", 0), FILE_CHECK, "u-boot.img is missing"),
    "another manifest": (
        lambda update: rewrite(update / "manifest.txt", lambda text: text.replace(b"4.07", b"4.09")),
        VERSION_CHECK,
        "manifest.txt was changed after it was signed (wrong sum)",
    ),
    "another post-update script": (
        lambda update: (update / "post-update.sh").write_text("rm -rf /mnt/userdata\n"),
        FILE_CHECK,
        "post-update.sh was changed after it was signed (wrong sum)",
    ),
}

# The same, where the maker signs what has been done.
MADE_SO: dict[str, tuple[Callable[[pathlib.Path], object], str, str]] = {
    "no bootloader version": (
        lambda update: rewrite(update / "manifest.txt", lambda text: text.replace(b"image_bootloader", b"bootloader")),
        VERSION_CHECK,
        "the update is for bootloader (none given), this instrument runs V4.05.00",
    ),
    "newer bootloader": (
        lambda update: rewrite(update / "manifest.txt", lambda text: text.replace(b"V4.05.00", b"V4.05.001")),
        VERSION_CHECK,
        "the update is for bootloader V4.05.001, this instrument runs V4.05.00",
    ),
    "an image not listed": (
        lambda update: (update / "rootfs.img").rename(update / "rootfs.old"),
        FILE_CHECK,
        "rootfs.img is not listed in sha256sums.txt",
    ),
    "no manifest": (
        lambda update: (update / "manifest.txt").unlink(),
        VERSION_CHECK,
        "manifest.txt is not listed in sha256sums.txt",
    ),
    "an empty image": (lambda update: os.truncate(update / "u-boot.img", 0), FILE_CHECK, "u-boot.img is missing"),
}

# The sticks and archives that the commands make, and how they are rejected.
BAD_KINDS = {
    "badsum": (FILE_CHECK, "kernel.img was changed after it was signed (wrong sum)"),
    "missingfile": (FILE_CHECK, "recoveryfs.img is missing"),
    "wrongbootloader": (VERSION_CHECK, "the update is for bootloader V3.01.00, this instrument runs V4.05.00"),
}


class Rejection(unittest.TestCase):
    def run_until_rejected(self, board: Instrument, scripts: tuple[str, ...], by: str) -> None:
        """Runs scripts up to the one that rejects; those before it must be content."""
        scripts = scripts[: scripts.index(by) + 1]
        codes = board.run(*scripts)
        self.assertEqual(codes, [0] * (len(scripts) - 1) + [3], board.all_logs())

    def assert_rejected(
        self,
        board: Instrument,
        scripts: tuple[str, ...],
        by: str,
        reason: str,
        log: str = "/media/usb0/update/update.log",
    ) -> None:
        before = board.storage()
        self.run_until_rejected(board, scripts, by)
        self.assertEqual(board.marker(), reason + "\n")
        self.assertEqual(board.log(log)[-1], (by, "REJECTED: " + reason))
        self.assertEqual(board.storage(), before)

    def test_bad_sticks(self) -> None:
        for kind, (by, reason) in BAD_KINDS.items():
            with self.subTest(kind):
                board = Instrument(self)
                board.plug("--bad", kind)
                self.assert_rejected(board, CHECK_FILESYSTEM + VERIFY, by, reason)

    def test_spoiled_sticks(self) -> None:
        for name, (spoil, by, reason) in SPOILED.items():
            with self.subTest(name):
                board = Instrument(self)
                spoil(board.plug())
                self.assert_rejected(board, CHECK_FILESYSTEM + VERIFY, by, reason)

    def test_sticks_made_so(self) -> None:
        for name, (spoil, by, reason) in MADE_SO.items():
            with self.subTest(name):
                board = Instrument(self)
                spoil(board.plug())
                board.sign()
                self.assert_rejected(board, CHECK_FILESYSTEM + VERIFY, by, reason)

    def test_image_larger_than_its_slot(self) -> None:
        for image, slot in (("u-boot.img", "mmcblk0boot1"), ("rootfs.img", "mmcblk0p7")):
            with self.subTest(image):
                board = Instrument(self)
                board.plug()
                size = board.path(f"/media/usb0/update/{image}").stat().st_size
                os.truncate(board.path(f"/dev/{slot}"), size - 1)
                self.assert_rejected(board, VERIFY, FILE_CHECK, f"{image} does not fit in /dev/{slot}")
                os.truncate(board.path(f"/dev/{slot}"), size)
                board.path("/tmp/verifyFailed").unlink()
                board.run_well(*VERIFY)

    def test_image_larger_than_the_slot_that_it_goes_through(self) -> None:
        """All are written to the slot of the root file system first."""
        board = Instrument(self)
        board.plug()
        size = board.path("/media/usb0/update/recoveryfs.img").stat().st_size
        os.truncate(board.path("/dev/mmcblk0p7"), size - 1)
        reason = "recoveryfs.img does not fit in /dev/mmcblk0p7"
        self.assert_rejected(board, CHECK_FILESYSTEM + VERIFY, FILE_CHECK, reason)

    def test_slot_that_is_missing(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/dev/mmcblk0p5").unlink()
        self.assert_rejected(board, VERIFY, FILE_CHECK, "/dev/mmcblk0p5 does not exist")

    def test_damaged_partition_file(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/mnt/recovery/download/partition_c").write_text("2\n")
        reason = "/mnt/recovery/download/partition_c names no version partition"
        self.assert_rejected(board, VERIFY, FILE_CHECK, reason)

    def test_running_bootloader_not_known(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/tmp/runningbootloaderversion").unlink()
        self.assert_rejected(board, VERIFY, VERSION_CHECK, "the running bootloader version is not known")

    def test_sums_as_other_machines_write_them(self) -> None:
        board = Instrument(self)
        update = board.plug()
        rewrite(
            update / "sha256sums.txt",
            lambda text: b"".join(line[:64].upper() + b" *" + line[66:] + b"\r\n" for line in text.splitlines()),
        )
        board.sign(path="/media/usb0/update/sha256sums.txt")
        board.run_well(*VERIFY)

    def test_bad_archives(self) -> None:
        kinds = {**BAD_KINDS, "truncated": (UNZIP[0], "update.zip was changed after it was signed")}
        for kind, (by, reason) in kinds.items():
            with self.subTest(kind):
                board = Instrument(self)
                update = board.download("--bad", kind)
                self.assert_rejected(board, CHECK_FILESYSTEM + UNZIP + VERIFY, by, reason, NETWORK_LOG)
                logged = board.log(NETWORK_LOG)
                self.assertEqual(board.run(CLEANUP), [0])
                self.assertEqual([path.name for path in update.iterdir()], ["update.log"])
                self.assertEqual(board.log(NETWORK_LOG), [*logged, (CLEANUP, "ok")])
                self.assertFalse(board.path("/mnt/recovery/download/update.zip").exists())

    def test_no_archive(self) -> None:
        board = Instrument(self)
        board.plug()
        self.assert_rejected(board, CHECK_FILESYSTEM + UNZIP, UNZIP[0], "update.zip is missing", NETWORK_LOG)

    def test_archive_of_one_changed_byte(self) -> None:
        board = Instrument(self)
        board.download()
        rewrite(
            board.path("/mnt/recovery/download/update.zip"),
            lambda data: data[:50000] + bytes([data[50000] ^ 1]) + data[50001:],
        )
        reason = "update.zip was changed after it was signed"
        self.assert_rejected(board, CHECK_FILESYSTEM + UNZIP, UNZIP[0], reason, NETWORK_LOG)

    def test_archive_that_is_none(self) -> None:
        board = Instrument(self)
        board.download()
        board.path("/mnt/recovery/download/update.zip").write_text("no archive")
        board.sign(path="/mnt/recovery/download/update.zip")
        self.assert_rejected(board, CHECK_FILESYSTEM + UNZIP, UNZIP[0], "update.zip is damaged", NETWORK_LOG)

    def test_first_reason_stays(self) -> None:
        board = Instrument(self)
        board.download("--bad", "truncated")
        self.assertEqual(board.run(*CHECK_FILESYSTEM, *UNZIP, *VERIFY), [0, 0, 3, 3, 3])
        reason = "update.zip was changed after it was signed"
        self.assertEqual(board.marker(), reason + "\n")
        results = board.log(NETWORK_LOG)[2:]
        self.assertEqual(results, [(script, f"REJECTED: {reason}") for script in (*UNZIP, *VERIFY)])

    def test_files_of_an_earlier_download_are_not_mixed_in(self) -> None:
        board = Instrument(self)
        update = board.download()
        (update / "OLD").mkdir(parents=True)
        (update / "u-boot-variables.txt").write_text("bootdelay=3\n")
        board.run_well(*CHECK_FILESYSTEM, *UNZIP)
        self.assertFalse((update / "OLD").exists())
        self.assertFalse((update / "u-boot-variables.txt").exists())

    def test_new_update_is_not_judged_by_the_last(self) -> None:
        board = Instrument(self)
        board.plug("--bad", "badsum")
        self.run_until_rejected(board, CHECK_FILESYSTEM + VERIFY, FILE_CHECK)
        instrument.command("unplug-stick", board.root)
        board.plug()
        board.run_well(*CHECK_FILESYSTEM, *VERIFY)
        self.assertIsNone(board.marker())

    def test_network_update_does_not_fall_back_to_the_stick(self) -> None:
        board = Instrument(self)
        board.plug()
        update = board.download()
        board.run_well(*CHECK_FILESYSTEM, *UNZIP)
        shutil.rmtree(update)
        update.mkdir()
        before = board.storage()
        self.assertEqual(board.run(*VERIFY, *instrument.IMAGES), [3, 3, 1, 1, 1, 1, 1])
        self.assertEqual(board.storage(), before)


if __name__ == "__main__":
    unittest.main()
