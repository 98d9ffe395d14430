"""File systems that are made and read without being mounted."""

import os
import tempfile
import unittest
from pathlib import Path

import places  # noqa: F401  makes the board known

from board.images import (
    MEGABYTE,
    add_to_squashfs,
    copy_sparse,
    make_ext4,
    make_fat,
    read_ext4,
    read_fat,
    read_squashfs,
    write_text,
)
from rehearsal.stage import StageError


class Images(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        self.tree = self.scratch / "tree"
        (self.tree / "night shift").mkdir(parents=True)
        (self.tree / "night shift/recipe.txt").write_text("setpoint=41.5\n")
        (self.tree / "secret").write_text("pin\n")
        (self.tree / "secret").chmod(0o600)

    def test_squashfs_gives_back_a_directory_wherever_it_lies(self) -> None:
        (self.tree / "etc/keys").mkdir(parents=True)
        (self.tree / "etc/keys/maker.pub").write_text("a key\n")
        image, whole, back = (self.scratch / name for name in ("image", "whole", "back"))
        add_to_squashfs(image, self.tree)
        more = self.scratch / "more"
        more.mkdir()
        (more / "version").write_text("4.07\n")
        add_to_squashfs(image, more)
        whole.write_bytes(bytes(MEGABYTE) + image.read_bytes() + bytes(MEGABYTE))
        back.mkdir()
        read_squashfs(whole, MEGABYTE, "etc/keys", back)
        self.assertEqual((back / "etc/keys/maker.pub").read_text(), "a key\n")
        self.assertFalse((back / "secret").exists())
        read_squashfs(whole, MEGABYTE, "version", back)
        self.assertEqual((back / "version").read_text(), "4.07\n")

    def test_a_place_without_squashfs_holds_no_directory(self) -> None:
        image, back = self.scratch / "image", self.scratch / "back"
        image.write_bytes(bytes(2 * MEGABYTE))
        back.mkdir()
        read_squashfs(image, MEGABYTE, "etc/keys", back)
        self.assertEqual(list(back.iterdir()), [])

    def test_a_stick_takes_no_links(self) -> None:
        (self.tree / "link").symlink_to("secret")
        with self.assertRaisesRegex(StageError, "link is neither file nor directory"):
            make_fat(self.scratch / "stick", self.tree, 40 * MEGABYTE)

    def test_ext4_gives_back_what_it_was_made_from(self) -> None:
        (self.tree / "link").symlink_to("night shift/recipe.txt")
        image = self.scratch / "image"
        image.write_bytes(bytes(3 * MEGABYTE))
        os.truncate(image, 40 * MEGABYTE)
        make_ext4(image, self.tree, 16 * MEGABYTE, 3 * MEGABYTE)
        write_text(image, 3 * MEGABYTE, "more", "text\n", self.scratch)
        back = self.scratch / "back"
        read_ext4(image, back, self.scratch, 3 * MEGABYTE, 16 * MEGABYTE)
        self.assertEqual(
            sorted(str(file.relative_to(back)) for file in back.rglob("*")),
            ["link", "more", "night shift", "night shift/recipe.txt", "secret"],
        )
        self.assertEqual((back / "night shift/recipe.txt").read_text(), "setpoint=41.5\n")
        self.assertEqual((back / "more").read_text(), "text\n")
        self.assertEqual((back / "secret").stat().st_mode & 0o777, 0o600)
        self.assertEqual(os.readlink(back / "link"), "night shift/recipe.txt")

    def test_fat_gives_back_what_it_was_made_from(self) -> None:
        image, back = self.scratch / "stick", self.scratch / "back"
        make_fat(image, self.tree, 64 * MEGABYTE)
        read_fat(image, back)
        self.assertEqual((back / "night shift/recipe.txt").read_text(), "setpoint=41.5\n")
        self.assertEqual((back / "secret").read_text(), "pin\n")

    def test_empty_stick(self) -> None:
        (self.scratch / "empty").mkdir()
        image, back = self.scratch / "stick", self.scratch / "back"
        make_fat(image, self.scratch / "empty", 64 * MEGABYTE)
        read_fat(image, back)
        self.assertEqual(list(back.iterdir()), [])

    def test_copies_a_piece_with_its_holes(self) -> None:
        source, target = self.scratch / "source", self.scratch / "target"
        with source.open("wb") as file:
            file.truncate(64 * MEGABYTE)
            for at in (10, 20, 50):
                file.seek(at * MEGABYTE)
                file.write(b"%d" % at)
        copy_sparse(source, target, 15 * MEGABYTE, 30 * MEGABYTE)
        content = target.read_bytes()
        self.assertEqual(len(content), 30 * MEGABYTE)
        self.assertEqual(content[5 * MEGABYTE : 5 * MEGABYTE + 2], b"20")
        self.assertEqual(content.replace(b"\0", b""), b"20")
        self.assertLess(target.stat().st_blocks * 512, MEGABYTE)


if __name__ == "__main__":
    unittest.main()
