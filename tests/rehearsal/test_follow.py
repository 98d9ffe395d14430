"""The parts that follow a rehearsal: lines of the console, pictures of the screen, the touches."""

import os
import select
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from fakes import FakeAlbum, FakeStage
from rehearsals import invisible_screen
from PIL import Image
from rehearsal.album import Album, slug, write_picture
from rehearsal.lines import Lines
from rehearsal.player import BUTTONS, Player
from rehearsal.sandbox.xdisplay import XDisplay


def scratch(test):
    path = Path(tempfile.mkdtemp(prefix="test-follow-"))
    test.addCleanup(shutil.rmtree, path)
    return path


class Console(unittest.TestCase):
    def lines_of(self, *pieces: bytes) -> list[str]:
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        taken: list[str] = []
        lines = Lines(reading)
        for piece in pieces:
            os.write(writing, piece)
            taken += lines.take()
            self.assertFalse(lines.ended)
        os.close(writing)
        taken += lines.take_all(60)
        self.assertTrue(lines.ended)
        return taken

    def test_lines(self):
        self.assertEqual(self.lines_of(b"one\ntw", b"o\n\nthr", b"ee"), ["one", "two", "", "three"])

    def test_no_text(self):
        self.assertEqual(self.lines_of(b"\xff\xfe\n"), ["\ufffd\ufffd"])

    def test_endless_line(self):
        """It is never held as a whole."""
        taken = self.lines_of(*[b"x" * 5000] * 20)
        self.assertGreater(len(taken), 10)
        self.assertLessEqual(max(map(len, taken)), 1000)


class ScreenStage(FakeStage):
    """Has a real screen."""

    def __init__(self, display: XDisplay):
        super().__init__()
        self.display = display

    def changed(self) -> bool:
        return self.display.changed()

    def picture(self) -> Image.Image:
        return self.display.picture()


class Pictures(unittest.TestCase):
    def setUp(self):
        self.folder = scratch(self)
        self.name = invisible_screen(self, "1024x600")
        self.display = XDisplay(self.name)
        self.addCleanup(self.display.close)
        self.album = Album(ScreenStage(self.display), self.folder, ("first", "second"))
        self.addCleanup(self.album.close)

    def show(self, colour: str, geometry: str = "200x100+10+20"):
        """A window of one colour, shown as long as the test runs."""
        process = subprocess.Popen(["display", "-immutable", "-geometry", geometry, "-size", "200x100", f"xc:{colour}"],
                                   env={**os.environ, "DISPLAY": self.name}, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def wait_for(self, condition):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            wait = self.album.settle()
            select.select([self.display], [], [], 0.02 if wait is None else wait)

    def pixel(self, x, y):
        return self.album.image.getpixel((x, y))

    def test_size(self):
        self.assertEqual(self.display.size, (1024, 600))

    def test_states(self):
        # an empty screen is no state
        self.wait_for(lambda: self.album.settle() is None)
        self.assertIsNone(self.album.image)
        self.show("#102030")
        self.wait_for(lambda: (self.folder / "01-first.png").exists())
        self.assertEqual(self.pixel(60, 60), (0x10, 0x20, 0x30))
        self.show("#ff0000", "200x100+500+300")
        self.wait_for(lambda: (self.folder / "02-second.png").exists())
        self.album.enter("It is: done!")
        self.assertFalse(self.album.shows_state())
        self.show("#00ff00", "200x100+300+100")
        self.wait_for(lambda: (self.folder / "03-it-is-done.png").exists())
        self.assertTrue(self.album.shows_state())
        self.album.close()
        self.assertEqual(len(list(self.folder.glob("*.png"))), 3)


class Files(unittest.TestCase):
    def test_read_by_others(self):
        picture = Image.frombytes("RGB", (2, 2), bytes((255, 0, 0, 0, 255, 0, 0, 0, 255, 3, 2, 1)))
        file = scratch(self) / "picture.png"
        write_picture(file, picture)
        done = subprocess.run(["convert", file, "-depth", "8", "rgb:-"], capture_output=True, check=True)
        self.assertEqual(done.stdout, bytes((255, 0, 0, 0, 255, 0, 0, 0, 255, 3, 2, 1)))

    def test_slug(self):
        self.assertEqual(slug("10 Verifying Recovery Filesystem..."), "10-verifying-recovery-filesystem")


class Touches(unittest.TestCase):
    """A touch that has no effect is tried again, and then told."""

    def setUp(self):
        self.stage = FakeStage()
        self.album = FakeAlbum(self.stage)
        self.told = []

    def player(self, *touches):
        return Player(self.stage, self.album, "800x480", touches, lambda name, where: self.told.append(name))

    def test_waits_for_the_buttons(self):
        player = self.player("USB")
        self.assertIsNone(player.step())
        self.assertEqual(self.told, [])

    def test_in_turn(self):
        player = self.player("Restore Settings", "USB")
        player.begin()
        self.album.shown = False
        player.step()
        self.assertEqual(self.told, [])
        self.album.shown = True
        player.step()
        player.step()
        self.assertEqual(self.told, ["Restore Settings"])
        x, y = BUTTONS["Restore Settings"].middles["800x480"]
        self.album.image = self.stage.image.copy()
        self.album.image.putpixel((x + 100, y), (0, 0, 255))  # in the label beside it
        player.step()
        player.step()
        self.assertEqual(self.told, ["Restore Settings", "USB"])
        player.heard("Update in progress")
        self.assertIsNone(player.step())
        self.assertEqual(player.failure, "")

    def test_in_vain(self):
        player = self.player("USB")
        player.begin()
        for _ in range(10):
            player.heard("something else")
            player._touched_at = 0.0  # as if long ago
            player.step()
        self.assertEqual(self.told, ["USB"] * 3)
        self.assertEqual(player.failure, 'touching "USB" has no effect')


if __name__ == "__main__":
    unittest.main()
