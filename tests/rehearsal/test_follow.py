"""The parts that follow a rehearsal: lines of the console, pictures of the screen, the touches."""

import os
import select
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import rehearsals
from album import Album, png, slug
from follow import Lines
from player import BUTTONS, Player, cut
from screen import Screen
from xconnection import XConnection


def scratch(test):
    path = Path(tempfile.mkdtemp(prefix="test-follow-"))
    test.addCleanup(shutil.rmtree, path)
    return path


class Console(unittest.TestCase):
    def lines_of(self, *pieces: bytes) -> list[str]:
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        taken = []
        lines = Lines(reading, taken.append)
        for piece in pieces:
            os.write(writing, piece)
            self.assertTrue(lines.read())
        os.close(writing)
        lines.read_all(60)
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


class Pictures(unittest.TestCase):
    def setUp(self):
        self.folder = scratch(self)
        self.screen = Screen("1024x600", False, self.folder / "screen.log")
        self.addCleanup(self.screen.close)
        self.connection = XConnection(self.screen.number)
        self.album = Album(self.connection, self.folder, ("first", "second"))
        self.addCleanup(self.album.close)

    def show(self, colour: str, geometry: str = "200x100+10+20"):
        """A window of one colour, shown as long as the test runs."""
        process = subprocess.Popen(["display", "-immutable", "-geometry", geometry, "-size", "200x100", f"xc:{colour}"],
                                   env={**os.environ, "DISPLAY": self.screen.display}, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def wait_for(self, condition):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            wait = self.album.settle()
            if select.select([self.album], [], [], 0.02 if wait is None else wait)[0]:
                self.album.look()

    def pixel(self, x, y):
        return cut(self.album.pixels, 1024, x, y, 1, 1)[:3]

    def test_size(self):
        self.assertEqual((self.connection.width, self.connection.height), (1024, 600))

    def test_states(self):
        # an empty screen is no state
        self.wait_for(lambda: self.album.settle() is None)
        self.assertEqual(self.album.pixels, b"")
        self.show("#102030")
        self.wait_for(lambda: (self.folder / "01-first.png").exists())
        self.assertEqual(self.pixel(60, 60), bytes((0x30, 0x20, 0x10)))
        self.show("#ff0000", "200x100+500+300")
        self.wait_for(lambda: (self.folder / "02-second.png").exists())
        self.album.enter("It is: done!")
        self.assertFalse(self.album.shows_state())
        self.show("#00ff00", "200x100+300+100")
        self.wait_for(self.album.shows_state)
        self.album.close()
        self.assertEqual(sorted(file.name for file in self.folder.glob("*.png")),
                         ["01-first.png", "02-second.png", "03-it-is-done.png"])


class Png(unittest.TestCase):
    def test_read_by_others(self):
        # two rows: blue, green, red as an X server gives them, and the unused byte
        pixels = bytes((0, 0, 255, 9, 0, 255, 0, 9, 255, 0, 0, 9, 1, 2, 3, 9))
        file = scratch(self) / "picture.png"
        file.write_bytes(png(2, 2, pixels))
        done = subprocess.run(["convert", file, "-depth", "8", "rgb:-"], capture_output=True, check=True)
        self.assertEqual(done.stdout, bytes((255, 0, 0, 0, 255, 0, 0, 0, 255, 3, 2, 1)))

    def test_slug(self):
        self.assertEqual(slug("10 Verifying Recovery Filesystem..."), "10-verifying-recovery-filesystem")


class Touches(unittest.TestCase):
    """A touch that has no effect is tried again, and then told."""

    def setUp(self):
        self.screen = Screen("800x480", False, scratch(self) / "screen.log")
        self.addCleanup(self.screen.close)
        self.told = []
        self.pixels = bytes(800 * 480 * 4)
        self.shown = True

    def player(self, *touches):
        return Player(self.screen.display, "800x480", touches, lambda: self.pixels, lambda: self.shown,
                      lambda name, where: self.told.append(name))

    def test_waits_for_the_buttons(self):
        player = self.player("USB")
        self.assertIsNone(player.step())
        self.assertEqual(self.told, [])

    def test_in_turn(self):
        player = self.player("Restore Settings", "USB")
        player.begin()
        self.shown = False
        player.step()
        self.assertEqual(self.told, [])
        self.shown = True
        player.step()
        player.step()
        self.assertEqual(self.told, ["Restore Settings"])
        x, y = BUTTONS["Restore Settings"].middles["800x480"]
        changed = bytearray(self.pixels)
        changed[(y * 800 + x + 100) * 4] = 255  # in the label beside it
        self.pixels = bytes(changed)
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
