"""Sticks and downloads that nobody known has signed, or that mean harm, through whole updates by the program."""

import unittest

from rehearsals import Rehearsal

VERSION_CHECK, FILE_CHECK = "99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh"
UNKNOWN = "is signed by a key that this instrument does not know"


class Told:
    def rehearse(self, *options):
        rehearsal = Rehearsal(self, *options)
        rehearsal.assert_promise_kept()
        return rehearsal

    def assert_rejected(self, options, script, reason):
        """The log tells the reason, in the words of the check that found it."""
        self.assertIn(f" {script}: REJECTED: {reason}", self.rehearse(*options).output)


class Signatures(Told, unittest.TestCase):
    def assert_stick(self, kind, reason):
        self.assert_rejected(["--stick", kind], VERSION_CHECK, f"sha256sums.txt {reason}")

    def test_unsigned(self):
        self.assert_stick("unsigned", "is not signed")

    def test_otherkey(self):
        self.assert_stick("otherkey", UNKNOWN)

    def test_resummed(self):
        self.assert_stick("resummed", "was changed after it was signed")

    def assert_download(self, kind, reason):
        self.assert_rejected(["--mode", "network", "--stick", kind], "2-AUTUPD-unzipFirmwareImage.sh",
                             f"update.zip {reason}")

    def test_network_unsigned(self):
        self.assert_download("unsigned", "is not signed")

    def test_network_otherkey(self):
        self.assert_download("otherkey", UNKNOWN)

    def test_network_resummed(self):
        self.assert_download("resummed", "was changed after it was signed")

    def assert_rebuild(self, kind, reason):
        self.assert_rejected(["--mode", "blank", "--stick", kind], "1-AUTUPD-createRecoverySystem.sh", reason)

    def test_blank_unsigned(self):
        self.assert_rebuild("unsigned", "sha256sums.txt is not signed")

    def test_blank_otherkey(self):
        self.assert_rebuild("otherkey", f"sha256sums.txt {UNKNOWN}")

    def test_blank_resummed(self):
        self.assert_rebuild("resummed", "sha256sums.txt was changed after it was signed")

    def test_blank_badsum(self):
        self.assert_rebuild("badsum", "kernel.img was changed after it was signed")

    def test_blank_missingfile(self):
        self.assert_rebuild("missingfile", "recoveryfs.img is missing")

    def test_blank_wrongbootloader(self):
        self.rehearse("--mode", "blank", "--stick", "wrongbootloader")

    def assert_override(self, variant, reason):
        self.assert_rejected(["--mode", "override", "--stick", variant], "00-USB-installoverrides.sh", reason)

    def test_override_unsigned(self):
        self.assert_override("unsigned", "sha256sums.txt is not signed")

    def test_override_otherkey(self):
        self.assert_override("otherkey", f"sha256sums.txt {UNKNOWN}")


class Sticks(Told, unittest.TestCase):
    def assert_stick(self, kind, script, reason):
        self.assert_rejected(["--stick", kind], script, reason)

    def test_linkedlog(self):
        rehearsal = self.rehearse("--stick", "linkedlog")
        self.assertIn("11-SetNextPartition.sh: ok, partition 7 is active", rehearsal.output)

    def test_linkedimage(self):
        self.assert_stick("linkedimage", FILE_CHECK, "kernel.img is no plain file")

    def test_linkedlist(self):
        self.assert_stick("linkedlist", VERSION_CHECK, "sha256sums.txt is no plain file")

    def test_linkedupdate(self):
        self.assert_stick("linkedupdate", VERSION_CHECK, "sha256sums.txt lies behind a link")

    def test_directory(self):
        self.assert_stick("directory", FILE_CHECK, "kernel.img is no plain file")

    def test_pipe(self):
        self.assert_stick("pipe", VERSION_CHECK, "manifest.txt is no plain file")

    def test_device(self):
        """No plain file if root has made it, else missing."""
        self.assert_stick("device", FILE_CHECK, "kernel.img is ")

    def test_hugelist(self):
        self.assert_stick("hugelist", VERSION_CHECK, "sha256sums.txt is too large")

    def test_odd(self):
        self.rehearse("--stick", "odd")

    def assert_not_installed(self, kind):
        output = self.rehearse("--stick", kind).output
        for image in ("u-boot", "kernel", "recovery-kernel", "recoveryfs", "rootfs"):
            self.assertIn(f"FAILED: {image}.img has changed since it was checked", output)
        self.assertIn("partition 1 stays active", output)

    def test_swapped(self):
        self.assert_not_installed("swapped")

    def test_replaced(self):
        self.assert_not_installed("replaced")

    def test_override_linked(self):
        rehearsal = self.rehearse("--mode", "override", "--stick", "linked")
        self.assertNotIn("00-USB-installoverrides.sh", rehearsal.scripts)


class Downloads(Told, unittest.TestCase):
    def test_bomb(self):
        self.assert_rejected(["--mode", "network", "--stick", "bomb"], FILE_CHECK,
                             "rootfs.img does not fit in /dev/mmcblk0p7")

    def test_climbing(self):
        self.rehearse("--mode", "network", "--stick", "climbing")


if __name__ == "__main__":
    unittest.main()
