"""What is wrong with an update is seen from its files, without the scripts."""

import hashlib
import unittest
from pathlib import Path

from handmade import IMAGES, MANIFEST, Tree


def write_sums(update: Path) -> None:
    (update / "sha256sums.txt").write_text(
        "".join(
            f"{hashlib.sha256((update / name).read_bytes()).hexdigest()}  {name}\n"
            for name in ("manifest.txt", *IMAGES)
        )
    )


class Flaw(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.update = self.tree.top / "stick/update"
        self.sums()

    def sums(self) -> None:
        write_sums(self.update)

    def test_none(self) -> None:
        self.assertEqual(self.tree.source.flaw(), "")

    def test_each_image(self) -> None:
        for name in IMAGES:
            file = self.update / name
            good = file.read_bytes()
            for content, flaw in (
                (b"X" + good[1:], f"{name} has not the sum listed for it"),
                (b"", f"{name} is missing"),
            ):
                with self.subTest(flaw=flaw):
                    file.write_bytes(content)
                    self.assertEqual(self.tree.source.flaw(), flaw)
            file.write_bytes(good)

    def test_bootloader(self) -> None:
        (self.update / "manifest.txt").write_text(MANIFEST.replace("V4.05.00", "V4.06.00"))
        self.sums()
        self.assertEqual(self.tree.source.flaw(), 'it is for bootloader "V4.06.00", not V4.05.00')

    def test_unlisted_script(self) -> None:
        (self.update / "post-update.sh").write_text("rm -rf /\n")
        self.assertEqual(self.tree.source.flaw(), "post-update.sh has not the sum listed for it")


if __name__ == "__main__":
    unittest.main()
