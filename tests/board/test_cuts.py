"""What a power cut may leave, and what it may not."""

import random
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from places import REPOSITORY

from board.cuts import TAKES, TAKES_ELSE, choose_cut, left_behind
from rehearsal.sandbox.tree import Tree
from rehearsal.source import Source

SIMULATOR = REPOSITORY / "simulator"


class Choice(unittest.TestCase):
    def test_same_seed_same_moment(self) -> None:
        self.assertEqual(choose_cut(random.Random(3)), choose_cut(random.Random(3)))

    def test_every_script_that_does_something_has_its_share(self) -> None:
        cuts = [choose_cut(random.Random(seed)) for seed in range(400)]
        share = {name: sum(cut.script == name for cut in cuts) for name in {cut.script for cut in cuts}}
        self.assertEqual(len(share), 11)
        self.assertEqual(max(share, key=lambda name: share[name]), max(TAKES, key=lambda name: TAKES[name]))
        self.assertTrue(all(0.0 <= cut.delay <= TAKES.get(cut.script, TAKES_ELSE) for cut in cuts))


class LeftBehind(unittest.TestCase):
    """On the tree of an instrument, whose version 1 is active and which is updated to version 7."""

    scratch: Path

    @classmethod
    def setUpClass(cls) -> None:
        cls.scratch = Path(tempfile.mkdtemp(prefix="test-cuts-"))
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        subprocess.run([SIMULATOR / "make-instrument", cls.scratch / "before"], check=True)
        subprocess.run([SIMULATOR / "make-stick", cls.scratch / "stick"], check=True)

    def setUp(self) -> None:
        self.update = Source(self.scratch / "stick")
        self.before = Tree(self.scratch / "before").holdings
        self.root = self.scratch / "after"
        shutil.copytree(self.scratch / "before", self.root, symlinks=True)
        self.addCleanup(shutil.rmtree, self.root)

    def faults(self) -> list[str]:
        return left_behind(self.before(), Tree(self.root).holdings(), self.update)

    def write(self, device: str, content: bytes) -> None:
        with (self.root / "dev" / device).open("r+b") as file:
            file.write(content)

    def image(self, name: str) -> bytes:
        content = self.update.read(name)
        assert content
        return content

    def switch(self) -> None:
        """Everything that the update does."""
        for device, name in self.before().description.slots_of("7").items():
            self.write(device, self.image(name))
        userdata, updates = self.root / "mnt/userdata", self.root / "mnt/recovery/update_files"
        shutil.rmtree(userdata / "7")
        shutil.copytree(userdata / "factory", userdata / "7", symlinks=True)
        (updates / "7manifest.txt").write_bytes(self.image("manifest.txt"))
        (self.root / "mnt/recovery/download/partition_c").write_text("7\n")

    def test_nothing_was_written_yet(self) -> None:
        self.assertEqual(self.faults(), [])

    def test_the_version_that_is_installed_may_be_half_written(self) -> None:
        self.write("mmcblk0p7", b"half")
        self.write("mmcblk0p5", b"half")
        self.write("mmcblk0boot1", b"half")
        shutil.rmtree(self.root / "mnt/userdata/7")
        self.assertEqual(self.faults(), [])

    def test_the_whole_update(self) -> None:
        self.switch()
        self.assertEqual(self.faults(), [])

    def test_another_version_is_active(self) -> None:
        (self.root / "mnt/recovery/download/partition_c").write_text("8\n")
        self.assertEqual(self.faults(), ['the active partition is "8"'])

    def test_the_partition_file_is_empty(self) -> None:
        (self.root / "mnt/recovery/download/partition_c").write_text("")
        self.assertEqual(self.faults(), ['the active partition is ""'])

    def test_the_active_version_was_written_to(self) -> None:
        self.write("mmcblk0p4", b"half")
        self.assertEqual(self.faults(), ["kernel.img of version 1 is not whole"])

    def test_the_new_version_is_active_and_not_whole(self) -> None:
        self.switch()
        self.write("mmcblk0p7", b"torn")
        self.assertEqual(self.faults(), ["rootfs.img of version 7 is not whole"])

    def test_no_copy_of_u_boot_is_whole(self) -> None:
        self.write("mmcblk0boot0", b"half")
        self.write("mmcblk0boot1", b"half")
        self.assertEqual(self.faults(), ["no copy of U-Boot is whole"])

    def test_user_files_of_the_active_version(self) -> None:
        (self.root / "mnt/userdata/1/cfg/service.conf").write_text("pin=\n")
        self.assertEqual(self.faults(), ["the user files of the active version are not whole"])

    def test_the_new_version_has_the_old_manifest(self) -> None:
        self.switch()
        manifest = self.root / "mnt/recovery/update_files/7manifest.txt"
        manifest.write_bytes(b"core_version=4.06\n")
        self.assertEqual(self.faults(), ["the manifest of the active version is not its own"])


if __name__ == "__main__":
    unittest.main()
