"""The verdict on the board says no when something there goes wrong."""

import subprocess
import tempfile
import unittest
from pathlib import Path

from boards import BoardRehearsal, DESCRIPTION, Scripts
from places import REPOSITORY


class Sabotage(unittest.TestCase):
    def test_image_script_does_nothing(self) -> None:
        scripts = Scripts(self)
        scripts.replace("5-USB-recoverykernel.sh", "exit 0")
        rehearsal = BoardRehearsal(self, "--scripts", scripts.directory, "--instrument", DESCRIPTION)
        rehearsal.assert_found_out("p3    recovery kernel", "as before")
        rehearsal.assert_found_out("active partition", "1")

    def test_switch_without_a_write(self) -> None:
        """What the screen says is the same, what the board starts is not."""
        scripts = Scripts(self)
        scripts.replace("7-USB-rootfs.sh", "exit 0")
        scripts.replace("11-SetNextPartition.sh", "echo 7 >/mnt/recovery/download/partition_c; sync")
        rehearsal = BoardRehearsal(self, "--scripts", scripts.directory, "--instrument", DESCRIPTION)
        rehearsal.assert_found_out("p7    root file system of 7", "as before")
        rehearsal.assert_found_out("comes back as", "firmware 4.06 from version partition 7")

    def test_restart_into_the_old_version(self) -> None:
        scripts = Scripts(self)
        scripts.replace("11-Reboot.sh", "echo 1 >/mnt/recovery/download/partition_c; sync; /sbin/reboot")
        rehearsal = BoardRehearsal(self, "--scripts", scripts.directory, "--instrument", DESCRIPTION)
        rehearsal.assert_found_out("comes back as", "firmware 4.05 from version partition 1")

    def test_no_restart(self) -> None:
        scripts = Scripts(self)
        scripts.replace("11-Reboot.sh", "exit 0")
        BoardRehearsal(self, "--scripts", scripts.directory, "--instrument", DESCRIPTION).assert_found_out(
            "reboots", "none"
        )

    def test_root_file_system_that_does_not_start(self) -> None:
        """An update that is whole, and whose sums fit, but whose root file system is none."""
        with tempfile.TemporaryDirectory() as scratch:
            stick = Path(scratch) / "stick"
            subprocess.run([REPOSITORY / "simulator/make-stick", stick], check=True)
            rehearsal = BoardRehearsal(self, "--stick", stick)
        rehearsal.assert_found_out("comes back as", "nothing")


if __name__ == "__main__":
    unittest.main()
