"""The verdict on the board says no when something there goes wrong."""

import subprocess
import tempfile
import unittest
from pathlib import Path

from boards import BoardRehearsal, DESCRIPTION, Scripts
from places import REPOSITORY


class Sabotage(unittest.TestCase):
    def with_scripts(self, **texts: str) -> BoardRehearsal:
        """A rehearsal with other texts in place of some scripts, by what they are for."""
        scripts = Scripts(self)
        for name, text in texts.items():
            scripts.replace(SCRIPTS[name], text)
        return BoardRehearsal(self, "--scripts", scripts.directory, "--instrument", DESCRIPTION)

    def test_image_script_does_nothing(self) -> None:
        rehearsal = self.with_scripts(recovery_kernel="exit 0")
        rehearsal.assert_found_out("p3    recovery kernel", "as before")
        rehearsal.assert_found_out("active partition", "1")

    def test_switch_without_a_write(self) -> None:
        """What the screen says is the same, what the board starts is not."""
        rehearsal = self.with_scripts(
            root_file_system="exit 0", switch="echo 7 >/mnt/recovery/download/partition_c; sync"
        )
        rehearsal.assert_found_out("p7    root file system of 7", "differs from rootfs.img")
        rehearsal.assert_found_out("comes back as", "nothing")

    def test_restart_into_the_old_version(self) -> None:
        rehearsal = self.with_scripts(restart="echo 1 >/mnt/recovery/download/partition_c; sync; /sbin/reboot")
        rehearsal.assert_found_out("comes back as", "firmware 4.05 from version partition 1")

    def test_no_restart(self) -> None:
        self.with_scripts(restart="exit 0").assert_found_out("reboots", "none")

    def test_root_file_system_that_does_not_start(self) -> None:
        """An update that is whole, and whose sums fit, but whose root file system is none."""
        with tempfile.TemporaryDirectory() as scratch:
            stick = Path(scratch) / "stick"
            subprocess.run([REPOSITORY / "simulator/make-stick", stick], check=True)
            rehearsal = BoardRehearsal(self, "--stick", stick)
        rehearsal.assert_found_out("comes back as", "nothing")


SCRIPTS = {
    "recovery_kernel": "5-USB-recoverykernel.sh",
    "root_file_system": "7-USB-rootfs.sh",
    "switch": "11-SetNextPartition.sh",
    "restart": "11-Reboot.sh",
}

if __name__ == "__main__":
    unittest.main()
