"""Whether two pictures show the same screen, whichever of its buttons is pressed or has the focus."""

from PIL import Image, ImageChops

TILE = 40  # pixels
# Share of tiles that may differ on the same screen. A touched button or row of a table is in up to 33 % of them;
# other screens differ in 41 % or more, even where all windows have one background.
SAME = 0.37


def same_screen(one: Image.Image | None, other: Image.Image | None) -> bool:
    if one is None or other is None or one.size != other.size:
        return False
    return share_of_tiles(one, other) <= SAME


def share_of_tiles(one: Image.Image, other: Image.Image) -> float:
    """The share of tiles in which two pictures of one size differ in more than a dot."""
    changed = ImageChops.difference(one, other).convert("L").point([0] + [255] * 255)
    tiles = changed.resize((one.width // TILE, one.height // TILE), Image.Resampling.BOX).histogram()
    return sum(tiles[1:]) / sum(tiles)
