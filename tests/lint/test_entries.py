"""Every test that is written is run, and run once: a shard that nobody named would not be missed otherwise."""

import os
import tempfile
import unittest
from pathlib import Path

from entries import commands, wrong_runs

TOP = Path(__file__).resolve().parents[2]


class Entries(unittest.TestCase):
    def test_every_test_is_run_once(self) -> None:
        entries = list(commands(Path(os.environ["BUILD"])))
        self.assertGreater(len(entries), 100)
        self.assertEqual(wrong_runs(TOP, entries), [])

    def test_what_is_not_run_is_found(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            room = Path(folder) / "tests/room"
            room.mkdir(parents=True)
            (room / "test_a.py").write_text("class A:\n    def test_one(self): pass\n    def test_two(self): pass\n")
            (room / "tst_b.cpp").write_text(
                "private slots:\n    void init();\n    void one();\n    void two_data();\n" "    void two();\n};\n"
            )
            (room / "tst_c.cpp").write_text("private slots:\n    void one();\n};\n")
            python = ["python3", "-m", "unittest"]
            entries = [(room, [*python, "test_a.A.test_one"]), (room, ["/in-sandbox", "build", "build/tst_b", "one"])]
            self.assertEqual(
                wrong_runs(Path(folder), entries),
                [
                    "test_a.A.test_two is run 0 times",
                    "tst_b has ['one', 'two'], run are ['one']",
                    "tst_c has ['one'], run are []",
                ],
            )
            entries += [
                (room, [*python, "test_a"]),
                (room, ["/in-sandbox", "build", "build/tst_b", "two"]),
                (room, ["/in-sandbox", "build", "build/tst_c"]),
            ]
            self.assertEqual(wrong_runs(Path(folder), entries), ["test_a.A.test_one is run 2 times"])


if __name__ == "__main__":
    unittest.main()
