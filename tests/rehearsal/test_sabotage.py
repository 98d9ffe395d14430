"""Scripts that do not do what they have to: the verdict says no and names what is wrong."""

import unittest

from rehearsals import OURS, Rehearsal, Scripts

LOG_IT = """
log=/mnt/recovery/update_files/update/update.log
echo "2025-01-01 10:00:00 ${0##*/}: ok" >>$log
"""


class Sabotage(unittest.TestCase):
    def setUp(self) -> None:
        self.scripts = Scripts(self)

    def rehearse(self, *options: str) -> Rehearsal:
        """The download is the quickest: it has every script, and needs no touch."""
        return Rehearsal(self, "--mode", "network", "--scripts", self.scripts.directory, *OURS, *options)

    def test_unspoilt(self) -> None:
        self.scripts.before_end("7-USB-rootfs.sh", ":")
        self.rehearse().assert_promise_kept()

    def test_image_script_does_nothing(self) -> None:
        self.scripts.replace("7-USB-rootfs.sh", LOG_IT)
        # what other images came through on their way is still there
        self.rehearse().assert_found_out("p7    root file system of 7", "differs from rootfs.img")

    def test_slot_differs(self) -> None:
        self.scripts.before_end(
            "11-SetNextPartition.sh", "printf X | dd of=/dev/mmcblk0p5 bs=1 seek=1000 conv=notrunc status=none"
        )
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("p5    kernel of 7", "differs from kernel.img at byte 1000")
        self.assertIn("NOT as promised, in 1 of", rehearsal.output)

    def test_other_version_damaged(self) -> None:
        self.scripts.before_end("6-USB-recoveryfs.sh", ": >/dev/mmcblk0p8")
        self.rehearse().assert_found_out("p8    root file system of 8", "changed")

    def test_no_reboot(self) -> None:
        self.scripts.replace("11-Reboot.sh", LOG_IT)
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("reboots", "none")
        rehearsal.assert_found_out("last word", "FINISHED")

    def test_lost_user_file(self) -> None:
        self.scripts.before_end("11-AUTUPD-restoreUserFiles.sh", "rm /mnt/userdata/7/cfg/channels.conf")
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("user files of 7", "cfg/channels.conf is lost")
        self.assertIn("NOT as promised, in 1 of", rehearsal.output)

    def test_lost_user_file_of_old_version(self) -> None:
        self.scripts.before_end("11-AUTUPD-restoreUserFiles.sh", "rm /mnt/userdata/1/cfg/teskuihost.conf")
        self.rehearse().assert_found_out("user files of 1", "cfg/teskuihost.conf is lost")

    def test_not_switched(self) -> None:
        self.scripts.replace("11-SetNextPartition.sh", LOG_IT)
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("active partition", "1")
        rehearsal.assert_found_out("manifest of 7", "missing")
        rehearsal.assert_found_out("/home/tesk", "/mnt/userdata/1")

    def test_log_lost(self) -> None:
        self.scripts.before_end("11-SetNextPartition.sh", "rm /mnt/recovery/update_files/update/update.log")
        self.rehearse().assert_found_out("update.log", "no line of 0-checkpartitions.sh")

    def test_script_missing(self) -> None:
        (self.scripts.directory / "6-USB-recoveryfs.sh").unlink()
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("scripts", "6-USB-recoveryfs.sh did not run")
        rehearsal.assert_found_out("p2    recovery file system", "as before")

    def test_script_not_executable(self) -> None:
        (self.scripts.directory / "6-USB-recoveryfs.sh").chmod(0o644)
        self.rehearse().assert_found_out("scripts", "6-USB-recoveryfs.sh did not run")

    def test_interpreter_missing(self) -> None:
        (self.scripts.directory / "6-USB-recoveryfs.sh").write_text("#!/opt/nothing\n")
        self.rehearse().assert_found_out("scripts", "6-USB-recoveryfs.sh did not run")

    def test_script_killed(self) -> None:
        self.scripts.before_end("10-USB-PostUpdate.sh", "kill -KILL $$")
        self.rehearse().assert_found_out("scripts", "10-USB-PostUpdate.sh was killed by signal 9")

    def test_script_fails(self) -> None:
        self.scripts.before_end("10-USB-PostUpdate.sh", "exit 7")
        self.rehearse().assert_found_out("scripts", "10-USB-PostUpdate.sh ended with exit code 7")

    def test_script_hangs(self) -> None:
        self.scripts.replace("5-USB-recoverykernel.sh", "exec sleep 1000")
        self.rehearse("--patience", "10").assert_found_out(
            "the run", "nothing happened for 10 s, 5-USB-recoverykernel.sh was running"
        )

    def test_recovery_system_fails(self) -> None:
        self.scripts.replace("1-AUTUPD-createRecoverySystem.sh", "exit 1")
        rehearsal = self.rehearse()
        rehearsal.assert_found_out("scripts", "2-AUTUPD-unzipFirmwareImage.sh did not run")
        rehearsal.assert_found_out("last word", "Net Update Failed, rebooting")

    def test_bad_download_accepted(self) -> None:
        self.scripts.replace("2-USB-checkupdatefiles.sh", LOG_IT)
        rehearsal = self.rehearse("--stick", "badsum")
        rehearsal.assert_found_out("last word", "Net Update Successful, rebooting")
        # what no check has passed is written by no script of ours, so the old version stays; nobody clears away
        rehearsal.assert_found_out("update.log", "no line of 99-AUTUPD-failedCleanup.sh")

    def test_no_cleanup(self) -> None:
        self.scripts.replace("99-AUTUPD-failedCleanup.sh", LOG_IT)
        self.rehearse("--stick", "badsum").assert_found_out(
            "rejected download", "mnt/recovery/download/update.zip is left"
        )

    def test_rejection_reboots(self) -> None:
        self.scripts.replace(
            "99-USB-ubootDtbVersionCompatibilityCheck.sh", "echo no >/tmp/verifyFailed\n/sbin/reboot\n"
        )
        Rehearsal(self, "--stick", "badsum", "--scripts", self.scripts.directory, *OURS).assert_found_out(
            "reboots", "one"
        )

    def test_override_in_a_loop(self) -> None:
        self.scripts.replace("00-USB-installoverrides.sh", "exit 5")
        Rehearsal(self, "--mode", "override", "--scripts", self.scripts.directory, *OURS).assert_found_out(
            "the run", "00-USB-installoverrides.sh runs again and again"
        )

    def test_override_not_installed(self) -> None:
        self.scripts.replace(
            "00-USB-installoverrides.sh", "echo ${0##*/} >>/media/usb0/update/update_override.log\n/sbin/reboot &\n"
        )
        Rehearsal(self, "--mode", "override", "--scripts", self.scripts.directory, *OURS).assert_found_out(
            "/etc/display-size", "as before"
        )

    def test_other_files_are_seen(self) -> None:
        """Scripts that call each other by path or read files beside them find them."""
        tool = self.scripts.directory / "tool"
        tool.write_text("#!/bin/sh\n[ \"$1\" = 'a b' ] && echo called >>/var/log/called\n")
        tool.chmod(0o755)
        self.scripts.before_end(
            "10-USB-PostUpdate.sh",
            "\"$(dirname \"$0\")/tool\" 'a b' && /etc/update/tool 'a b' || exit 3\n"
            '[ "$(wc -l </var/log/called)" -eq 2 ] || exit 4',
        )
        self.rehearse().assert_promise_kept()


if __name__ == "__main__":
    unittest.main()
