"""Sticks that change once they have been checked: what was checked is installed, or nothing becomes active."""

import os
import unittest

import instrument
from instrument import (CHECK_FILESYSTEM, IMAGE_OF, IMAGES, POST_UPDATE, SHARED_SLOTS, SLOT_OF, SWITCH, USB, VERIFY,
                        Instrument, command, fingerprint, made)

AFTER_CHECK = IMAGES + POST_UPDATE + SWITCH
TARGET_ROOTFS = "mmcblk0p7"  # the update's own slot, through which every image goes


class SecondLook(unittest.TestCase):
    def swap(self, board, *options):
        self.assertEqual(command("swap-stick", board.root, made("make-stick", *options)).returncode, 0)

    def storage_but_target(self, board):
        """All that must not change when an update fails."""
        storage = board.storage()
        for name in (TARGET_ROOTFS, "mmcblk0p5", "7manifest.txt"):
            storage.pop(name, None)
        return storage

    def assert_old_version_stays(self, board, before):
        self.assertEqual(board.active, "1\n")
        self.assertFalse(board.path("/mnt/recovery/update_files/7manifest.txt").exists())
        self.assertEqual(self.storage_but_target(board), before)

    def test_image_changes(self):
        """Not one byte of it reaches a slot that all versions share."""
        for script, image in IMAGE_OF.items():
            with self.subTest(image):
                board = Instrument(self)
                update = board.plug_checked()
                with (update / image).open("r+b") as file:
                    file.seek(200000)
                    file.write(b"X")
                before, slot = self.storage_but_target(board), fingerprint(board.path(f"/dev/{SLOT_OF[script]}"))
                self.assertEqual(board.run(script), [1])
                self.assertEqual(board.log()[-1], (script, f"FAILED: {image} has changed since it was checked"))
                self.assertEqual(self.storage_but_target(board), before)
                if script != IMAGES[-1]:
                    self.assertEqual(fingerprint(board.path(f"/dev/{SLOT_OF[script]}")), slot)
                self.assertEqual(board.run(*(other for other in AFTER_CHECK if other != script))[-1], 1)
                self.assertEqual(board.active, "1\n")

    def test_image_has_another_length(self):
        for size in (1, 800010, 800012, 1048576):
            with self.subTest(size):
                board = Instrument(self)
                os.truncate(board.plug_checked() / "kernel.img", size)
                self.assertEqual(board.run(IMAGES[1]), [1])
                self.assertEqual(board.log()[-1][1], "FAILED: kernel.img has changed since it was checked")

    def test_image_becomes_a_link(self):
        board = Instrument(self)
        kernel = board.plug_checked() / "kernel.img"
        kernel.rename(kernel.with_name("other"))
        kernel.symlink_to("other")
        before = board.storage()
        self.assertEqual(board.run(IMAGES[1]), [1])
        self.assertEqual(board.log()[-1][1], "FAILED: kernel.img is no plain file")
        self.assertEqual(board.storage(), before)

    def test_swapped(self):
        """An image, the manifest and the script that runs as root."""
        board = Instrument(self)
        board.plug_checked("--bad", "swapped")
        before = self.storage_but_target(board)
        self.swap(board, "--bad", "swapped")
        self.assertEqual(board.run(*AFTER_CHECK), [0, 0, 0, 1, 0, 0, 1], board.all_logs())
        self.assertIn((IMAGES[3], "FAILED: recoveryfs.img has changed since it was checked"), board.log())
        self.assertEqual(board.log()[-1],
                         (*SWITCH, "FAILED: /dev/mmcblk0p2 does not hold recoveryfs.img, partition 1 stays active"))
        self.assertEqual(board.active, "1\n")
        self.assertEqual(self.storage_but_target(board)["mmcblk0p2"], before["mmcblk0p2"])
        self.assertFalse(board.path("/etc/update/evil").exists())
        self.assertEqual(board.path("/var/log/post-update.log").read_text(), "firmware 4.07 for version partition 7\n")

    def test_swapped_script_and_manifest_alone(self):
        """What was checked is installed, since it is not read again."""
        board = Instrument(self)
        update = board.plug_checked("--bad", "swapped")
        manifest, image = (update / "manifest.txt").read_text(), (update / "recoveryfs.img").read_bytes()
        self.swap(board, "--bad", "swapped")
        self.assertNotEqual((update / "manifest.txt").read_text(), manifest)
        (update / "recoveryfs.img").write_bytes(image)
        board.run_well(*AFTER_CHECK)
        self.assertEqual(board.active, "7\n")
        self.assertTrue(board.manifest("7").startswith(manifest))
        self.assertFalse(board.path("/etc/update/evil").exists())

    def test_replaced(self):
        """Even another stick of the maker's: half of one and half of the other is no update."""
        board = Instrument(self)
        board.plug_checked("--bad", "replaced")
        before = self.storage_but_target(board)
        self.swap(board, "--bad", "replaced")
        self.assertEqual(board.run(*AFTER_CHECK), [1, 1, 1, 1, 1, 0, 1], board.all_logs())
        results = dict(board.log())
        for script, image in IMAGE_OF.items():
            self.assertEqual(results[script], f"FAILED: {image} has changed since it was checked")
        self.assert_old_version_stays(board, {**before, "/mnt/userdata": board.storage()["/mnt/userdata"]})
        self.assertEqual(board.user_files("1"), Instrument(self).user_files("1"))

    def test_replaced_between_the_checks(self):
        board = Instrument(self)
        board.plug("--bad", "replaced")
        board.run_well(*CHECK_FILESYSTEM, VERIFY[0])
        self.swap(board, "--bad", "replaced")
        before = board.storage()
        self.assertEqual(board.run(VERIFY[1]), [3])
        self.assertEqual(board.marker(), "post-update.sh was changed after it was signed (wrong sum)\n")
        self.assertEqual(board.storage(), before)

    def test_list_that_is_made_to_fit_afterwards(self):
        """New sums for the new images, even signed ones, are not looked at any more."""
        board = Instrument(self)
        update = board.plug_checked()
        (update / "kernel.img").write_bytes(b"X" * 800011)
        board.sign()
        self.assertEqual(board.run(IMAGES[1]), [1])

    def test_switch_does_not_ask_the_stick(self):
        board = Instrument(self)
        board.plug()
        board.run_well(*USB[:-1])
        self.assertEqual(command("unplug-stick", board.root).returncode, 0)
        self.assertEqual(board.run(*SWITCH), [0])
        board.assert_installed(made("make-stick") / "update", "7")

    def test_switch_believes_the_slots_and_not_the_stick(self):
        """Slot and stick agree with each other, but not with what was signed."""
        for image, slots in {**SHARED_SLOTS, **instrument.VERSION_SLOTS["7"]}.items():
            slot = slots if isinstance(slots, str) else slots[0]
            with self.subTest(image):
                board = Instrument(self)
                update = board.plug()
                board.run_well(*USB[:-1])
                for path in (update / image, board.path(f"/dev/{slot}")):
                    with path.open("r+b") as file:
                        file.seek(1000)
                        file.write(b"X")
                self.assertEqual(board.run(*SWITCH), [1])
                self.assertEqual(board.active, "1\n")


class PostUpdateFiles(unittest.TestCase):
    """What else the maker lists is at the hands of the script, as a copy that was verified."""

    def board_with(self, **files):
        board = Instrument(self)
        update = board.plug()
        (update / "post-update.sh").write_text('cd "$UPDATE_DIR" && tail -n +1 fonts.txt >/run/seen 2>/dev/null; ls >/run/listed\n')
        for name, content in files.items():
            (update / f"{name}.txt").write_text(content)
        board.sign()
        board.run_well(*CHECK_FILESYSTEM, *VERIFY)
        return board, update

    def listed(self, board):
        return board.path("/run/listed").read_text().split()

    def test_as_signed(self):
        board, _ = self.board_with(fonts="Liberation")
        board.run_well(*POST_UPDATE)
        self.assertEqual(board.path("/run/seen").read_text(), "Liberation")
        self.assertEqual(self.listed(board), ["fonts.txt", "manifest.txt", "post-update.sh", "sha256sums.txt"])

    def test_changed(self):
        board, update = self.board_with(fonts="Liberation")
        (update / "fonts.txt").write_text("Evil")
        board.run_well(*POST_UPDATE)
        self.assertNotIn("fonts.txt", self.listed(board))
        self.assertEqual(board.log()[-1], (*POST_UPDATE, "ok, without fonts.txt: fonts.txt was changed after it was "
                                           "signed (wrong sum)"))

    def test_not_listed(self):
        board, update = self.board_with()
        (update / "fonts.txt").write_text("Evil")
        board.run_well(*POST_UPDATE)
        self.assertNotIn("fonts.txt", self.listed(board))

    def test_large_file_is_no_reason_to_reject(self):
        for size, there in ((1048576, True), (1048577, False)):
            board, _ = self.board_with(fonts="x" * size)
            board.run_well(*POST_UPDATE)
            self.assertEqual("fonts.txt" in self.listed(board), there, size)


if __name__ == "__main__":
    unittest.main()
