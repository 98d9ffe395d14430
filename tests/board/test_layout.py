"""The board's storage has the partitions that the scripts know, and room for what goes into them."""

import unittest

from places import REPOSITORY

from board.layout import ALIGNED_TO, LAYOUT, SECTOR, STORAGE_SIZE, UNITS, described, partition_table, slot_sizes
from rehearsal.reader import ours


class Layout(unittest.TestCase):
    def test_has_the_partitions_that_scripts_look_for(self) -> None:
        devices = {part.device: part.size for part in LAYOUT}
        for line in (REPOSITORY / "simulator/scripts/partitions.txt").read_text().splitlines():
            name, size = line.split()
            self.assertGreaterEqual(devices[f"dev/mmcblk0{name}"], int(size[:-1]) * UNITS[size[-1]], name)
        self.assertIn("dev/mmcblk0boot0", devices)
        self.assertIn("dev/mmcblk0boot1", devices)

    def test_scripts_know_the_slots_before_there_are_any(self) -> None:
        sizes = dict(line.split() for line in slot_sizes().splitlines())
        for device, part in described(ours()).partitions.items():
            self.assertEqual(sizes[device.removeprefix("mmcblk0")], f"{part.size // UNITS['M']}M", device)

    def test_a_version_that_starts_fits_into_its_partition(self) -> None:
        sizes = {name: part.size for name, part in described(ours()).partitions.items()}
        self.assertGreater(sizes["mmcblk0p7"], ours().partitions["mmcblk0p7"].size)

    def test_nothing_overlaps(self) -> None:
        end = ALIGNED_TO  # the table itself
        for part in LAYOUT:
            self.assertGreaterEqual(part.start, end, part.name)
            self.assertEqual(part.start % ALIGNED_TO, 0, part.name)
            end = part.start + part.size
        self.assertLessEqual(end, STORAGE_SIZE - ALIGNED_TO)  # its copy

    def test_numbers_and_names_are_unique(self) -> None:
        self.assertEqual(len({part.number for part in LAYOUT}), len(LAYOUT))
        self.assertEqual(len({part.name for part in LAYOUT}), len(LAYOUT))

    def test_a_card_has_the_size_of_a_power_of_two(self) -> None:
        self.assertEqual(STORAGE_SIZE & (STORAGE_SIZE - 1), 0)

    def test_table(self) -> None:
        first = LAYOUT[0]
        row = f"{first.number}: start={first.start // SECTOR}, size={first.size // SECTOR}, name={first.name}"
        self.assertIn(row, partition_table().splitlines())


if __name__ == "__main__":
    unittest.main()
