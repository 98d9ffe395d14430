"""Power lost anywhere in a utility script: what is there is whole, and the script can be run again."""

import gzip
import pathlib
import shutil
import unittest
from collections.abc import Iterator

from test_power_loss import COMMANDS, TEARABLE
from utility import UtilityScripts

NEVER = 1_000_000


class PowerLoss(UtilityScripts):
    def cut_off(self, name: str, *arguments: str) -> Iterator[None]:
        """Yields an instrument for every command of the script, after the power was lost there."""
        count, number, torn = NEVER, 0, ("whole", "torn")
        while number < count:
            number += 1
            for half in torn:
                with self.subTest(f"{half} {number}"):
                    self.board = self.instrument()
                    self.board.plug()
                    commands = self.run_until(number, half, name, *arguments)
                    if len(commands) < number:
                        count = len(commands)  # it has come to its end
                        return
                    if half == "torn" and commands[-1] not in TEARABLE:
                        continue
                    yield
                    self.assertEqual(self.run_script(name, *arguments)[0], 0)
                    shutil.rmtree(self.board.root)

    def run_until(self, number: int, torn: str, name: str, *arguments: str) -> list[str]:
        directory = self.board.path("/run/power")
        directory.mkdir()
        for command in COMMANDS:
            (directory / command).symlink_to("/run/power-lost")
        shutil.copy(pathlib.Path(__file__).with_name("power-lost"), self.board.path("/run"))
        (directory / "at").write_text(str(number))
        (directory / "torn").write_text(torn)
        (directory / "commands").write_text("")
        self.run_killed(name, *arguments)
        return (directory / "commands").read_text().splitlines()

    def test_change(self) -> None:
        versions = {version: self.board.version(version) for version in "178"}
        seen = set()
        for _ in self.cut_off("ChangeToPartition.sh", "7"):
            seen.add(self.board.active)
            self.assertEqual({version: self.board.version(version) for version in "178"}, versions)
        self.assertEqual(seen, {"1\n", "7\n"})

    def test_export(self) -> None:
        points = 0
        for _ in self.cut_off("ExportFiles.sh"):
            points += 1
            for archive in self.board.path("/media/usb0").glob("*.tgz"):
                self.assertGreater(len(gzip.decompress(archive.read_bytes())), 100000)
        self.assertGreaterEqual(points, 4)

    def test_reset_of_all_settings(self) -> None:
        before = self.board.user_files("1")
        left = set()
        for _ in self.cut_off("RemoveFilesUsingBackupFileList.sh"):
            files = self.board.user_files("1")
            left.add(len(files["cfg"]))
            self.assertEqual({**files, "cfg": {**before["cfg"], **files["cfg"]}}, before)
        self.assertEqual(left, {0, 1, 2, 3, 4})


if __name__ == "__main__":
    unittest.main()
