"""What a tour's verdict makes of an instrument and of an archive, and how a tour notices that it is lost."""

import io
import tarfile
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import handmade
from fakes import FakeAlbum, FakeStage
from PIL import Image
from rehearsal import tour
from rehearsal import tourverdict
from rehearsal.stage import Window
from rehearsal.tourscreens import MIDDLES, SETTINGS, TOOLS, Stop


class Changes(unittest.TestCase):
    def setUp(self):
        self.tree = handmade.Tree(self)

    def changes(self):
        return tourverdict.changes(self.tree.before, self.tree.holdings())

    def test_nothing(self):
        self.assertEqual(self.changes(), [])

    def test_all_kinds(self):
        (self.tree.root / "etc/pointercal").unlink()
        self.tree.write("mnt/recovery/download/partition_c", "7\n")
        self.tree.write("media/usb0/diagnostics-1.tgz", "archive")
        self.tree.write("dev/mmcblk0p8", "damaged")
        self.tree.write("var/log/maintenance.log", "a line")
        self.assertEqual(self.changes(), [
            "dev/mmcblk0p8 is changed", "etc/pointercal is gone", "media/usb0/*.tgz is new",
            "mnt/recovery/download/partition_c is changed"])

    def test_permissions_and_links(self):
        (self.tree.root / "mnt/userdata/1/notes").chmod(0o600)
        self.tree.link_home("8")
        self.assertEqual(self.changes(), ["home/tesk is changed", "mnt/userdata/1/notes is changed"])


class Archive(unittest.TestCase):
    def setUp(self):
        self.tree = handmade.Tree(self)
        self.tree.write("var/log/messages", "a message\n")
        self.tree.write("mnt/recovery/update_files/update/update.log", "updated\n")
        self.wanted = tourverdict.exported(self.tree.holdings())
        self.file = Path(tempfile.mkdtemp(dir=self.tree.top)) / "x.tgz"

    def pack(self, without="", spoilt=""):
        with tarfile.open(self.file, "w:gz") as tar:
            for path in self.wanted:
                content = (self.tree.root / path).read_bytes() + (b"!" if path == spoilt else b"")
                member = tarfile.TarInfo(f"./{path}")
                member.size = len(content)
                if path != without:
                    tar.addfile(member, io.BytesIO(content))

    def fault(self):
        return tourverdict.archive_text(self.file.name, self.file.read_bytes(), self.wanted)

    def test_whole(self):
        self.pack()
        self.assertEqual(self.fault(), "")
        self.assertEqual(sorted(self.wanted), [
            "mnt/recovery/update_files/1manifest.txt", "mnt/recovery/update_files/7manifest.txt",
            "mnt/recovery/update_files/8manifest.txt", "mnt/recovery/update_files/update/update.log",
            "var/log/messages"])

    def test_file_missing(self):
        self.pack(without="var/log/messages")
        self.assertEqual(self.fault(), "var/log/messages is missing")

    def test_file_differs(self):
        self.pack(spoilt="mnt/recovery/update_files/7manifest.txt")
        self.assertEqual(self.fault(), "mnt/recovery/update_files/7manifest.txt differs")

    def test_no_archive(self):
        for content in (b"", b"no archive", b"\x1f\x8b\x08"):
            self.file.write_bytes(content)
            self.assertIn("cannot be read", self.fault())

    def test_truncated(self):
        self.pack()
        content = self.file.read_bytes()
        for length in range(1, len(content), 7):
            self.file.write_bytes(content[:length])
            self.assertNotEqual(self.fault(), "", length)


class Lost(unittest.TestCase):
    """The tour itself, on a screen and a clock of its own: what it touches has the effects given here."""

    def setUp(self):
        self.now, self.touches = 1000.0, []
        self.set_stage()

    def set_stage(self):
        self.stage = FakeStage()
        self.album = FakeAlbum(self.stage)

    def play(self, stops, effects):
        def touched(name, _):
            self.touches.append(name)
            if len(self.touches) <= len(effects):
                self.stage.__dict__.update(effects[len(self.touches) - 1])
                self.album.image = self.stage.image

        played = tour.Tour(self.stage, self.album, "800x480", stops, touched, False)
        with mock.patch("rehearsal.tour.time.monotonic", lambda: self.now):
            played.begin()
            while played.step() is not None:
                self.now += 0.05
        return played

    def test_reached(self):
        played = self.play((Stop("main: Versions", "versions", opens="Versions"),
                            Stop("versions: Done", "main again", back_to="main")),
                           ({"front": Window(2, "Versions")}, {"front": Window(1, "MainWindow")}))
        self.assertEqual((played.failure, self.album.kept), ("", ["versions", "main again"]))

    def test_by_hand_it_touches_nothing_and_waits(self):
        told = []
        played = tour.Tour(self.stage, self.album, "800x480",
                           (Stop("main: Versions", "versions", opens="Versions"),),
                           lambda *words: told.append(words), True)
        with mock.patch("rehearsal.tour.time.monotonic", lambda: self.now):
            played.begin()
            for _ in range(1000):
                self.assertIsNotNone(played.step())
                self.now += 1
            self.stage.front = Window(2, "Versions")
            while played.step() is not None:
                self.now += 1
        self.assertEqual((played.failure, told), ("", [("main: Versions", "yourself")]))
        self.assertEqual(self.stage.touches, [])

    def test_no_effect(self):
        played = self.play((Stop("main: Versions", "versions", opens="Versions"),), ())
        self.assertEqual(self.touches, ["main: Versions"] * 3)
        self.assertEqual(played.failure,
                         "after \"main: Versions\" there is no versions: the window in front is \"MainWindow\"")

    def test_another_window_opens(self):
        played = self.play((Stop("main: Versions", "versions", opens="Versions"),), ({"front": Window(2, "Error")},))
        self.assertEqual(self.touches, ["main: Versions"])  # not again: it had an effect
        self.assertIn("the window in front is \"Error\"", played.failure)

    def test_window_that_was_there_before_does_not_open(self):
        """Under a warning that closes lies the screen that it came from."""
        stops = (Stop("menu: Reset All", "reset", opens="Dialog"), Stop("reset: Reset", "warning", opens="Dialog"),
                 Stop("warning: Accept", "rebooting", opens="Dialog"))
        fronts = [{"front": Window(number, "Dialog")} for number in (2, 3, 2)]
        self.assertIn("there is no rebooting", self.play(stops, fronts).failure)

    def test_does_not_go_back(self):
        played = self.play((Stop("versions: Done", "main again", back_to="main"),), ({"front": Window(2, "MainWindow")},))
        self.assertIn("there is no main again", played.failure)

    def test_page_is_not_the_same_again(self):
        pages = [Image.new("RGB", (800, 480), (shade, 0, 0)) for shade in (1, 2, 3)]
        stops = (Stop("log: Top", "log"), Stop("log: Page Down", "down"), Stop("log: Page Up", "up", same_as="log"))
        played = self.play(stops, [{"image": page} for page in pages])
        self.assertIn("after \"log: Page Up\" there is no up", played.failure)
        self.touches.clear()
        self.set_stage()
        self.assertEqual(self.play(stops, [{"image": page} for page in (*pages[:2], pages[0])]).failure, "")


class Tables(unittest.TestCase):
    def test_every_touch_has_its_place(self):
        for stop in TOOLS + SETTINGS:
            self.assertTrue(stop.touch == "" or stop.touch in MIDDLES, stop.touch)

    def test_places_lie_on_the_screen(self):
        for name, middles in MIDDLES.items():
            for (x, y), (width, height) in zip(middles, ((800, 480), (1024, 600), (1280, 800)), strict=True):
                self.assertTrue(0 < x < width and 0 < y < height, name)


if __name__ == "__main__":
    unittest.main()
