"""A rehearsal can say beforehand which of the scripts and files it is given cannot do their work."""

import os
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP))

from rehearsal.audit import AuditError, faults  # noqa: E402  the path comes first

AUDIT = Path(os.environ["TESKUPDATER_AUDIT"])


class RehearsalsAudit(unittest.TestCase):
    def setUp(self) -> None:
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = Path(place.name)

    def test_our_own_have_no_faults(self) -> None:
        stick = self.place / "stick"
        (stick / "update").mkdir(parents=True)
        self.assertEqual(faults(AUDIT, self.place, stick=stick), [])

    def test_faults_of_scripts_and_stick_are_told(self) -> None:
        scripts, stick = self.place / "scripts", self.place / "stick"
        shutil.copytree(TOP / "simulator/scripts", scripts)
        (scripts / "7-USB-rootfs.sh").chmod(0o644)
        stick.mkdir()
        first, second = faults(AUDIT, self.place, scripts, stick)
        self.assertTrue(first.startswith('/etc/update/7-USB-rootfs.sh: is not executable: "Update RootFS" at 80 % '))
        self.assertTrue(second.startswith("update: does not exist: "), second)

    def test_scripts_that_are_not_there(self) -> None:
        with self.assertRaises(AuditError):
            faults(AUDIT, self.place, self.place / "nothing")


if __name__ == "__main__":
    unittest.main()
