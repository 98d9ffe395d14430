"""What decides that the new version becomes the active one: its images and its user files."""

import os
import unittest
from collections.abc import Callable, Collection, Sequence

from instrument import BACKUP, IMAGE_OF, RESTORE, SLOT_OF, SWITCH, USB, USB_KEEP, Instrument, OneScript


class UserFiles(OneScript):
    def test_unreadable_file(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/mnt/userdata/1/cfg/service.conf").chmod(0)
        self.assert_fails(board, *BACKUP, "the user files cannot be saved")

    def test_backup_of_an_earlier_update_is_not_restored(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*BACKUP)
        board.path("/mnt/userdata/1/cfg/service.conf").chmod(0)
        before = board.user_files("7")
        self.assertEqual(board.run(*BACKUP), [1])
        self.assert_fails(board, *RESTORE, "there is no backup")
        self.assertEqual(board.user_files("7"), before)

    def test_restore_without_a_backup_of_this_update(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*BACKUP)
        before = board.user_files("7")
        board.run("0-checkpartitions.sh")
        self.assert_fails(board, *RESTORE, "no user files were saved in this update")
        self.assertEqual(board.user_files("7"), before)

    def test_damaged_backup(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*BACKUP)
        backup = board.path("/mnt/recovery/backup/userfiles.tgz")
        os.truncate(backup, backup.stat().st_size // 2)
        before = board.user_files("7")
        self.assert_fails(board, *RESTORE, "the user files of partition 7 cannot be written")
        self.assertEqual(board.user_files("7"), before)

    def test_no_active_version(self) -> None:
        board = Instrument(self)
        board.path("/mnt/recovery/download/partition_c").unlink()
        board.plug()
        board.run_well(*USB_KEEP)
        self.assertEqual(board.active, "1\n")
        self.assertEqual(board.user_files("1"), board.user_files("factory"))


class Switch(OneScript):
    """The program goes on to the switch whatever the scripts before it did."""

    def assert_old_version_stays(
        self, scripts: Sequence[str], spoil: Callable[[Instrument], object], reason: str, left_out: Collection[str]
    ) -> None:
        board = Instrument(self)
        spoil(board)
        old = board.version("1")
        board.run(*(script for script in scripts if script not in left_out))
        self.assertEqual(board.log()[-1], (*SWITCH, f"FAILED: {reason}, partition 1 stays active"))
        self.assertEqual(board.active, "1\n")
        self.assertEqual(board.version("1"), old)

    def test_image_not_written(self) -> None:
        for script, image in IMAGE_OF.items():
            slot = SLOT_OF[script].replace("boot0", "boot1")
            with self.subTest(image):
                reason = f"/dev/{slot} does not hold {image}"
                self.assert_old_version_stays(USB, lambda board: board.plug(), reason, (script,))

    def test_user_files_not_restored(self) -> None:
        reason = "the user files are not restored"
        for left_out in (BACKUP, RESTORE):
            with self.subTest(left_out):
                self.assert_old_version_stays(USB_KEEP, lambda board: board.plug(), reason, left_out)

    def test_changed_afterwards(self) -> None:
        for slot, image in (("mmcblk0boot0", "u-boot.img"), ("mmcblk0p7", "rootfs.img")):
            with self.subTest(slot):
                board = Instrument(self)
                board.plug()
                board.run_well(*USB[:-1])
                with board.path(f"/dev/{slot}").open("r+b") as storage:
                    storage.seek(299999)
                    storage.write(b"X")
                reason = f"/dev/{slot} does not hold {image}, partition 1 stays active"
                self.assert_fails_and_changes_nothing(board, *SWITCH, reason)


if __name__ == "__main__":
    unittest.main()
