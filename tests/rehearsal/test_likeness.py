"""Screens are told apart by their pictures alone, at every size, and with one background for all windows."""

import unittest
from pathlib import Path

from PIL import Image

from rehearsals import REPOSITORY

from rehearsal.likeness import SAME, same_screen, share_of_tiles

SCREENS = REPOSITORY / "docs/screens"
BACKGROUND = (239, 239, 239)
# Of the same screen, with a button or a row touched.
SAME_SCREEN = (("logs", "logs-pressed"), ("change-version", "change-version-pressed"))
# Of screens that lead to each other.
OTHER_SCREENS = (
    ("main-interactive", "utilities"),
    ("main-interactive", "versions"),
    ("utilities", "logs"),
    ("utilities", "export-opened"),
    ("utilities", "change-version"),
    ("utilities", "reset-local-remote"),
    ("utilities", "reset-touch-calibration"),
    ("utilities", "reset-display-detection"),
    ("utilities", "reset-system-settings"),
    ("reset-system-settings", "warning-reset-system-settings"),
    ("warning-reset-system-settings", "utilities"),
    ("logs", "logs-viewer"),
    ("change-version", "warning-change-version"),
    ("warning-change-version", "notice-rebooting"),
)


def picture(size: Path, name: str) -> Image.Image:
    return Image.open(size / f"{name}.png").convert("RGB")


def on_one_background(image: Image.Image) -> Image.Image:
    """As a frame buffer shows it: the most frequent colour is the background's."""
    colours = image.getcolors(image.width * image.height) or []
    commonest = max(colours, key=lambda colour: colour[0])[1]
    flat = Image.new("RGB", image.size, BACKGROUND)
    unlike = Image.new("L", image.size)
    unlike.putdata([0 if pixel == commonest else 255 for pixel in image.getdata()])
    flat.paste(image, mask=unlike)
    return flat


class Likeness(unittest.TestCase):
    def test_touched_screen_is_the_same(self) -> None:
        for size in sorted(SCREENS.glob("*x*")):
            for one, other in SAME_SCREEN:
                with self.subTest(size=size.name, pictures=(one, other)):
                    self.assertTrue(same_screen(picture(size, one), picture(size, other)))

    def test_other_screens_are_told_apart(self) -> None:
        for size in sorted(SCREENS.glob("*x*")):
            for pair in OTHER_SCREENS:
                with self.subTest(size=size.name, pictures=pair):
                    one, other = (on_one_background(picture(size, name)) for name in pair)
                    self.assertFalse(same_screen(one, other), share_of_tiles(one, other))

    def test_a_cursor_is_not_a_screen(self) -> None:
        one = Image.new("RGB", (800, 480), BACKGROUND)
        other = one.copy()
        other.paste((0, 0, 0), (100, 100, 102, 120))
        self.assertTrue(0 < share_of_tiles(one, other) < SAME / 4)

    def test_no_picture_is_like_none(self) -> None:
        image = Image.new("RGB", (800, 480))
        self.assertFalse(same_screen(None, image))
        self.assertFalse(same_screen(image, Image.new("RGB", (1024, 600))))


if __name__ == "__main__":
    unittest.main()
