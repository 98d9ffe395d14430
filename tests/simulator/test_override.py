"""The overrides of a stick: installed, matching, contradicting each other, rejected."""

import unittest

import instrument
from instrument import Instrument

SCRIPT = "00-USB-installoverrides.sh"
LOG = "/media/usb0/update/update_override.log"
SIZE_7 = "display_size=7\nresolution=800x480\n"
SIZE_10 = "display_size=10\nresolution=1280x800\n"


class Override(unittest.TestCase):
    def board_with(self, variant: str) -> Instrument:
        board = Instrument(self)
        self.override = board.plug("--override", variant) / "OVERRIDE"
        return board

    def setting(self, board: Instrument) -> str | None:
        setting = board.path("/etc/display-size")
        return setting.read_text() if setting.exists() else None

    def assert_ends(self, board: Instrument, code: int, result: str, setting: str | None) -> None:
        """The script ends so, and the instrument does not restart."""
        self.assertEqual(board.run(SCRIPT), [code], board.all_logs())
        self.assertEqual(board.log(LOG), [(SCRIPT, result)])
        self.assertEqual(self.setting(board), setting)
        self.assertFalse(board.path("/run/rebooted").exists())

    def assert_rejected(self, board: Instrument, reason: str) -> None:
        self.assert_ends(board, 3, "REJECTED: " + reason, SIZE_7)
        self.assertEqual(board.marker(), reason + "\n")

    def assert_installed_and_restarts(self, board: Instrument, setting: str | None, result: str) -> None:
        """The script ends with 0 first; the instrument goes down while the program waits on."""
        wait = board.path("/etc/update/wait.sh")
        wait.write_text("#!/bin/sh\nexec sleep 60\n")
        wait.chmod(0o755)
        self.assertEqual(board.run(SCRIPT, "wait.sh"), [0])
        self.assertEqual(board.path("/run/rebooted").read_text(), f"/bin/sh /etc/update/{SCRIPT}\n")
        self.assertEqual(board.log(LOG), [(SCRIPT, result)])
        self.assertEqual(self.setting(board), setting)

    def test_size(self) -> None:
        self.assert_installed_and_restarts(self.board_with("size"), SIZE_10, "ok, Size10 installed")

    def test_clear(self) -> None:
        board = self.board_with("combination")
        (self.override / "Size10").unlink()
        self.assert_installed_and_restarts(board, None, "ok, SizeClear installed")

    def test_match(self) -> None:
        board = self.board_with("match")
        self.assert_ends(board, 1, "MATCHES: the display setting is Size7 already", SIZE_7)
        self.assertIsNone(board.marker())

    def test_clear_where_nothing_is_set(self) -> None:
        board = self.board_with("combination")
        (self.override / "Size10").unlink()
        board.path("/etc/display-size").unlink()
        self.assert_ends(board, 1, "MATCHES: the display setting is SizeClear already", None)

    def test_combination(self) -> None:
        board = self.board_with("combination")
        self.assert_ends(board, 2, "INVALID: only one of Size10 SizeClear may be present", SIZE_7)
        self.assertIsNone(board.marker())

    def test_two_sizes(self) -> None:
        board = self.board_with("size")
        (self.override / "Size7").write_text(SIZE_7)
        self.assert_ends(board, 2, "INVALID: only one of Size10 Size7 may be present", SIZE_7)

    def test_wrong_sum(self) -> None:
        self.assert_rejected(self.board_with("rejected"), "Size10 was changed after it was signed (wrong sum)")

    def test_no_sums(self) -> None:
        board = self.board_with("size")
        (self.override / "sha256sums.txt").unlink()
        self.assert_rejected(board, "sha256sums.txt is missing")

    def test_not_listed(self) -> None:
        board = self.board_with("size")
        (self.override / "Size10").rename(self.override / "Size7")
        self.assert_rejected(board, "Size7 is not listed in sha256sums.txt")

    def test_unknown_file(self) -> None:
        for name in ("Size", "Size100", "SizeHuge", "size10", "Size1x"):
            with self.subTest(name):
                board = self.board_with("empty")
                (self.override / name).write_text("x")
                self.assert_rejected(board, f"{name} is no override")

    def test_nothing_but_sums(self) -> None:
        board = self.board_with("size")
        (self.override / "Size10").unlink()
        self.assert_rejected(board, "there is no override")

    def test_directories_do_not_count(self) -> None:
        board = self.board_with("match")
        (self.override / "Size10").mkdir()
        (self.override / "old").mkdir()
        self.assert_ends(board, 1, "MATCHES: the display setting is Size7 already", SIZE_7)

    def test_empty(self) -> None:
        board = self.board_with("empty")
        self.assertEqual(list(self.override.iterdir()), [])
        self.assert_rejected(board, "there is no override")

    def test_setting_that_cannot_be_written(self) -> None:
        board = self.board_with("size")
        board.path("/etc").chmod(0o555)
        self.assert_rejected(board, "/etc/display-size cannot be written")
        board.path("/etc").chmod(0o755)

    def test_rejected_once_and_then_mended(self) -> None:
        board = self.board_with("rejected")
        self.assert_rejected(board, "Size10 was changed after it was signed (wrong sum)")
        instrument.command("unplug-stick", board.root)
        board.plug("--override", "match")
        self.assert_ends(board, 1, "MATCHES: the display setting is Size7 already", SIZE_7)
        self.assertIsNone(board.marker())


if __name__ == "__main__":
    unittest.main()
