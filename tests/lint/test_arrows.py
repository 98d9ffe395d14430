"""The program's rooms include each other as docs/design.md draws it, and in no other way."""

import tempfile
import unittest
from pathlib import Path

from arrows import read_table, wrong_includes

TOP = Path(__file__).resolve().parents[2]
FLOORS = ("common", "update", "logs", "versions", "tools", "app")  # from the ground


class Arrows(unittest.TestCase):
    def setUp(self) -> None:
        self.table = read_table((TOP / "docs/design.md").read_text())

    def test_table_has_every_room_and_none_that_includes_a_higher_floor(self) -> None:
        self.assertEqual(tuple(self.table), FLOORS)
        for room, allowed in self.table.items():
            self.assertLessEqual(allowed, set(FLOORS[: FLOORS.index(room)]), room)

    def test_program_includes_as_drawn(self) -> None:
        self.assertEqual(wrong_includes(TOP, self.table), [])

    def test_arrow_turned_round_is_found(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            for room in FLOORS:
                (Path(folder) / room).mkdir()
            (Path(folder) / "app/above.cpp").write_text('#include "update/below.h"\n')
            (Path(folder) / "logs/below.h").write_text('#pragma once\n# include "tools/utilities.h"\n')
            (Path(folder) / "update/outside.cpp").write_text('#include "tests/support/program.h"\n')
            self.assertEqual(
                wrong_includes(Path(folder), self.table),
                ["update/outside.cpp includes tests/support/program.h", "logs/below.h includes tools/utilities.h"],
            )


if __name__ == "__main__":
    unittest.main()
