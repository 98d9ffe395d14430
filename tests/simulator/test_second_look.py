"""Sticks that change once they have been checked: what was checked is installed, or nothing becomes active."""

import os
import unittest
from pathlib import Path
from typing import Any

import instrument
from instrument import (
    CHECK_FILESYSTEM,
    IMAGE_OF,
    IMAGES,
    POST_UPDATE,
    SHARED_SLOTS,
    SLOT_OF,
    SWITCH,
    USB,
    VERIFY,
    Instrument,
    command,
    fingerprint,
    made,
)

AFTER_CHECK = IMAGES + POST_UPDATE + SWITCH
TARGET_ROOTFS = "mmcblk0p7"  # the update's own slot, through which every image goes


class SecondLook(unittest.TestCase):
    def swap(self, board: Instrument, *options: str) -> None:
        self.assertEqual(command("swap-stick", board.root, made("make-stick", *options)).returncode, 0)

    def storage_but_target(self, board: Instrument) -> dict[str, Any]:
        """All that must not change when an update fails."""
        storage = board.storage()
        for name in (TARGET_ROOTFS, "mmcblk0p5", "7manifest.txt"):
            storage.pop(name, None)
        return storage

    def test_image_changes(self) -> None:
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

    def test_image_has_another_length(self) -> None:
        for size in (1, 800010, 800012, 1048576):
            with self.subTest(size):
                board = Instrument(self)
                os.truncate(board.plug_checked() / "kernel.img", size)
                self.assertEqual(board.run(IMAGES[1]), [1])
                self.assertEqual(board.log()[-1][1], "FAILED: kernel.img has changed since it was checked")

    def test_image_becomes_a_link(self) -> None:
        board = Instrument(self)
        kernel = board.plug_checked() / "kernel.img"
        kernel.rename(kernel.with_name("other"))
        kernel.symlink_to("other")
        before = board.storage()
        self.assertEqual(board.run(IMAGES[1]), [1])
        self.assertEqual(board.log()[-1][1], "FAILED: kernel.img is no plain file")
        self.assertEqual(board.storage(), before)

    def assert_nothing_written(self, kind: str) -> None:
        """Only the slot through which every image goes has changed, and the version in it is gone."""
        board = Instrument(self)
        board.plug_checked("--bad", kind)
        slots, before = board.version("7")["slots"], self.storage_but_target(board)
        self.swap(board, "--bad", kind)
        self.assertEqual(board.run(*AFTER_CHECK), [1, 1, 1, 1, 1, 0, 1], board.all_logs())
        results = dict(board.log())
        for script, image in IMAGE_OF.items():
            self.assertEqual(results[script], f"FAILED: {image} has changed since it was checked")
        self.assertEqual(
            board.log()[-1], (*SWITCH, "FAILED: /dev/mmcblk0boot1 does not hold u-boot.img, partition 1 stays active")
        )
        self.assertEqual(self.storage_but_target(board), before)
        self.assertEqual(board.version("7")["slots"]["mmcblk0p5"], slots["mmcblk0p5"])
        self.assertFalse(board.path("/mnt/recovery/update_files/7manifest.txt").exists())
        self.assertEqual(board.path("/var/log/post-update.log").read_text(), "firmware 4.07 for version partition 7\n")
        self.assertFalse(board.path("/etc/update/evil").exists())

    def test_swapped(self) -> None:
        self.assert_nothing_written("swapped")

    def test_replaced(self) -> None:
        """Even another stick of the maker's: half of one and half of the other is no update."""
        self.assert_nothing_written("replaced")

    def test_script_and_manifest_change(self) -> None:
        """What was checked is installed, since it is not read again."""
        board = Instrument(self)
        update = board.plug_checked()
        manifest = (update / "manifest.txt").read_text()
        (update / "manifest.txt").write_text(manifest.replace("4.07", "9.99"))
        (update / "post-update.sh").write_text("echo evil >/etc/update/evil\n")
        board.run_well(*AFTER_CHECK)
        self.assertEqual(board.active, "7\n")
        self.assertTrue(board.manifest("7").startswith(manifest))
        self.assertFalse(board.path("/etc/update/evil").exists())

    def test_swapped_in_the_rebuild_of_a_blank_board(self) -> None:
        board = Instrument(self, "--blank")
        board.plug("--bad", "swapped")
        board.run_well(*CHECK_FILESYSTEM)
        self.swap(board, "--bad", "swapped")
        self.assertEqual(board.run(*AFTER_CHECK), [1, 1, 1, 1, 1, 0, 1], board.all_logs())
        self.assertFalse(board.path("/mnt/recovery/download/partition_c").exists())
        for slot in board.path("/dev").glob("mmcblk0*"):
            if slot.name != "mmcblk0p1":
                self.assertEqual(slot.read_bytes().strip(b"\0"), b"", slot.name)

    def test_replaced_between_the_checks(self) -> None:
        board = Instrument(self)
        board.plug("--bad", "replaced")
        board.run_well(*CHECK_FILESYSTEM, VERIFY[0])
        self.swap(board, "--bad", "replaced")
        before = board.storage()
        self.assertEqual(board.run(VERIFY[1]), [3])
        self.assertEqual(board.marker(), "post-update.sh was changed after it was signed (wrong sum)\n")
        self.assertEqual(board.storage(), before)

    def test_list_that_is_made_to_fit_afterwards(self) -> None:
        """New sums for the new images, even signed ones, are not looked at any more."""
        board = Instrument(self)
        update = board.plug_checked()
        (update / "kernel.img").write_bytes(b"X" * 800011)
        board.sign()
        self.assertEqual(board.run(IMAGES[1]), [1])

    def test_list_that_is_the_makers_while_it_is_verified(self) -> None:
        """A stick may answer with another list a moment before."""
        board = Instrument(self)
        update = board.plug()
        board.path("/run/makers-list").write_bytes((update / "sha256sums.txt").read_bytes())
        with (update / "sha256sums.txt").open("a") as file:
            file.write(f"{'0' * 64}  evil.txt\n")
        turncoat = board.path("/run/turncoat")
        turncoat.write_text(
            "#!/bin/sh\ncp /run/makers-list /media/usb0/update/sha256sums.txt\n" 'exec /run/minisign "$@"\n'
        )
        turncoat.chmod(0o755)
        options = ("--ro-bind", "/usr/bin/minisign", "/run/minisign", "--ro-bind", str(turncoat), "/usr/bin/minisign")
        self.assertEqual(board.run(*CHECK_FILESYSTEM, VERIFY[0], sandbox_options=options)[-1], 3)
        self.assertEqual(board.marker(), "sha256sums.txt was changed after it was signed\n")
        self.assertEqual((update / "sha256sums.txt").read_bytes(), board.path("/run/makers-list").read_bytes())

    def test_switch_does_not_ask_the_stick(self) -> None:
        board = Instrument(self)
        board.plug()
        board.run_well(*USB[:-1])
        self.assertEqual(command("unplug-stick", board.root).returncode, 0)
        self.assertEqual(board.run(*SWITCH), [0])
        board.assert_installed(made("make-stick") / "update", "7")

    def test_switch_believes_the_slots_and_not_the_stick(self) -> None:
        """Slot and stick agree with each other, but not with what was signed."""
        shared = {image: slots[0] for image, slots in SHARED_SLOTS.items()}
        for image, slot in {**shared, **instrument.VERSION_SLOTS["7"]}.items():
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


class InTheMoment(unittest.TestCase):
    """What changes between a look at a name and its opening: the stand-in for a command does it just then."""

    def run_with(self, board: Instrument, command_name: str, text: str, *scripts: str) -> list[int]:
        stand_in = board.path(f"/opt/{command_name}")
        stand_in.write_text(f'#!/bin/sh\n/usr/bin/{command_name} "$@"\n{text}\n')
        stand_in.chmod(0o755)
        return board.run(*scripts, sandbox_options=("--setenv", "PATH", "/opt:/usr/bin:/bin"))

    def test_file_becomes_a_link(self) -> None:
        """Even one to the same content: what was opened lies elsewhere."""
        board = Instrument(self)
        board.plug()
        text = """cd /media/usb0/update && [ "$*" = "-f $PWD/manifest.txt" ] && mv manifest.txt other &&
                  ln -s other manifest.txt"""
        self.assertEqual(self.run_with(board, "readlink", text, *CHECK_FILESYSTEM, VERIFY[0]), [0, 0, 3])
        self.assertEqual(board.marker(), "manifest.txt cannot be copied\n")

    def test_image_becomes_a_link(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        text = """cd /media/usb0/update && [ "$*" = "-f $PWD/kernel.img" ] && mv kernel.img other &&
                  ln -s other kernel.img"""
        self.assertEqual(self.run_with(board, "readlink", text, IMAGES[1]), [1])
        self.assertEqual(board.log()[-1][1], "FAILED: kernel.img has changed since it was checked")

    def test_log_becomes_a_link(self) -> None:
        board = Instrument(self)
        board.plug()
        text = '[ "$*" != "-f /media/usb0/update" ] || ln -sf /etc/pointercal /media/usb0/update/update.log'
        before = board.path("/etc/pointercal").read_text()
        self.assertEqual(self.run_with(board, "readlink", text, *CHECK_FILESYSTEM, VERIFY[0]), [0, 0, 0])
        self.assertEqual(board.path("/etc/pointercal").read_text(), before)
        self.assertEqual(len(board.log("/mnt/recovery/update_files/update/update.log")), 3)

    def test_override_changes(self) -> None:
        board = Instrument(self)
        board.plug("--override", "size")
        text = "case $2 in */trusted/Size10) echo evil >/media/usb0/update/OVERRIDE/Size10 ;; esac"
        self.run_with(board, "mv", text, "00-USB-installoverrides.sh")
        self.assertEqual(board.path("/media/usb0/update/OVERRIDE/Size10").read_text(), "evil\n")
        self.assertEqual(board.path("/etc/display-size").read_text(), "display_size=10\nresolution=1280x800\n")


class PostUpdateFiles(unittest.TestCase):
    """What else the maker lists is at the hands of the script, as a copy that was verified."""

    def board_with(self, **files: str) -> tuple[Instrument, Path]:
        board = Instrument(self)
        update = board.plug()
        (update / "post-update.sh").write_text('cd "$UPDATE_DIR"\ncat fonts.txt >/run/seen\nls >/run/listed\n')
        for name, content in files.items():
            (update / f"{name}.txt").write_text(content)
        board.sign()
        board.run_well(*CHECK_FILESYSTEM, *VERIFY)
        return board, update

    def listed(self, board: Instrument) -> list[str]:
        return board.path("/run/listed").read_text().split()

    def test_as_signed(self) -> None:
        board, _ = self.board_with(fonts="Liberation")
        board.run_well(*POST_UPDATE)
        self.assertEqual(board.path("/run/seen").read_text(), "Liberation")
        self.assertEqual(self.listed(board), ["fonts.txt", "manifest.txt", "post-update.sh", "sha256sums.txt"])

    def test_changed(self) -> None:
        board, update = self.board_with(fonts="Liberation")
        (update / "fonts.txt").write_text("Evil")
        board.run_well(*POST_UPDATE)
        self.assertNotIn("fonts.txt", self.listed(board))
        self.assertEqual(
            board.log()[-1],
            (*POST_UPDATE, "ok, without fonts.txt: fonts.txt was changed after it was " "signed (wrong sum)"),
        )

    def test_not_listed(self) -> None:
        board, update = self.board_with()
        (update / "fonts.txt").write_text("Evil")
        board.run_well(*POST_UPDATE)
        self.assertNotIn("fonts.txt", self.listed(board))

    def test_large_file_is_no_reason_to_reject(self) -> None:
        for size, there in ((1048576, True), (1048577, False)):
            board, _ = self.board_with(fonts="x" * size)
            board.run_well(*POST_UPDATE)
            self.assertEqual("fonts.txt" in self.listed(board), there, size)


if __name__ == "__main__":
    unittest.main()
