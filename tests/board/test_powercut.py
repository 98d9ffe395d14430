"""Power cuts: three on a storage that writes through, three on one with a volatile cache."""

import subprocess
import unittest

from places import REPOSITORY

ENDS_WITHIN = 3500  # seconds, on a busy machine


class PowerCut(unittest.TestCase):
    def assert_survives(self, storage: str) -> None:
        done = subprocess.run(
            ["/usr/bin/python3", "-B", "-m", "board.powercut", "--cuts", "3", "--seed", "1", "--storage", storage],
            cwd=REPOSITORY,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=ENDS_WITHIN,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("3 of 3 cuts", done.stdout)

    def test_writes_through(self) -> None:
        self.assert_survives("writes-through")

    def test_volatile_cache(self) -> None:
        self.assert_survives("volatile-cache")


if __name__ == "__main__":
    unittest.main()
