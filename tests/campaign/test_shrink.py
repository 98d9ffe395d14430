"""Shrinking, and what is told of a difference; no program is run."""

import unittest

import draw
from history import History, parse
from model import expect
from shrink import shrink
from transcript import differences

LOST = "3-USB-UBoot.sh:signal=9"


class Shrink(unittest.TestCase):
    def test_leaves_the_words_that_matter(self) -> None:
        def differs(history: History) -> bool:
            return {"stick=link", LOST} <= set(str(history).split())

        long = parse(f"--gobackupdate stick=link update=directory null=absent tick3:clock=1 {LOST} rest1:touch=ETHbtn")
        self.assertEqual(str(shrink(long, differs)), f"stick=link {LOST}")

    def test_an_empty_history_may_remain(self) -> None:
        self.assertEqual(str(shrink(parse("--autoupdate marker=empty"), lambda _: True)), "")


class Differences(unittest.TestCase):
    def test_equal(self) -> None:
        self.assertEqual(differences(expect(parse("--autoupdate")), expect(parse("--autoupdate"))), [])

    def test_every_part_counts(self) -> None:
        rows = [
            ("--autoupdate 0-checkpartitions.sh=missing", "-script /etc/update/0-checkpartitions.sh"),
            ("--autoupdate 1-AUTUPD-createRecoverySystem.sh:exit=3", "+print code = 3"),
            ("--autoupdate --gobackupdate", "+look pbuttonUtils: shown False"),
            ("--autoupdate version=directory", "+a directory"),
            ("--autoupdate pause:kill=updater", "+killed"),
        ]
        for line, told in rows:
            with self.subTest(line):
                self.assertIn(told, differences(expect(parse("--autoupdate")), expect(parse(line))))


class Draw(unittest.TestCase):
    def test_the_same_number_draws_the_same_history(self) -> None:
        self.assertEqual(
            [draw.history(7, number) for number in range(50)], [draw.history(7, number) for number in range(50)]
        )
        self.assertNotEqual(draw.history(7, 1), draw.history(8, 1))

    def test_what_is_drawn_can_be_written_and_read(self) -> None:
        for number in range(500):
            history = draw.history(1, number)
            self.assertEqual(parse(str(history)), history)


if __name__ == "__main__":
    unittest.main()
