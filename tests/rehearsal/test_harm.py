"""Sticks and downloads that nobody known has signed, or that mean harm, through whole updates by the program."""

import unittest
from collections.abc import Sequence

from rehearsals import Rehearsal

VERSION_CHECK, FILE_CHECK = "99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh"
UNKNOWN = "is signed by a key that this instrument does not know"


class Told(unittest.TestCase):
    def rehearse(self, *options: str) -> Rehearsal:
        rehearsal = Rehearsal(self, *options)
        rehearsal.assert_promise_kept()
        return rehearsal

    def assert_rejected(self, options: Sequence[str], script: str, reason: str) -> None:
        """The log tells the reason, in the words of the check that found it."""
        self.assertIn(f" {script}: REJECTED: {reason}", self.rehearse(*options).output)


class Signatures(Told):
    def assert_stick(self, kind: str, reason: str) -> None:
        self.assert_rejected(["--stick", kind], VERSION_CHECK, f"sha256sums.txt {reason}")

    def test_unsigned(self) -> None:
        self.assert_stick("unsigned", "is not signed")

    def test_otherkey(self) -> None:
        self.assert_stick("otherkey", UNKNOWN)

    def test_resummed(self) -> None:
        self.assert_stick("resummed", "was changed after it was signed")

    def assert_download(self, kind: str, reason: str) -> None:
        self.assert_rejected(
            ["--mode", "network", "--stick", kind], "2-AUTUPD-unzipFirmwareImage.sh", f"update.zip {reason}"
        )

    def test_network_unsigned(self) -> None:
        self.assert_download("unsigned", "is not signed")

    def test_network_otherkey(self) -> None:
        self.assert_download("otherkey", UNKNOWN)

    def test_network_resummed(self) -> None:
        self.assert_download("resummed", "was changed after it was signed")

    def assert_rebuild(self, kind: str, reason: str) -> None:
        self.assert_rejected(["--mode", "blank", "--stick", kind], "1-AUTUPD-createRecoverySystem.sh", reason)

    def test_blank_unsigned(self) -> None:
        self.assert_rebuild("unsigned", "sha256sums.txt is not signed")

    def test_blank_otherkey(self) -> None:
        self.assert_rebuild("otherkey", f"sha256sums.txt {UNKNOWN}")

    def test_blank_resummed(self) -> None:
        self.assert_rebuild("resummed", "sha256sums.txt was changed after it was signed")

    def test_blank_badsum(self) -> None:
        self.assert_rebuild("badsum", "kernel.img was changed after it was signed")

    def test_blank_missingfile(self) -> None:
        self.assert_rebuild("missingfile", "recoveryfs.img is missing")

    def test_blank_wrongbootloader(self) -> None:
        self.rehearse("--mode", "blank", "--stick", "wrongbootloader")

    def assert_override(self, variant: str, reason: str) -> None:
        self.assert_rejected(["--mode", "override", "--stick", variant], "00-USB-installoverrides.sh", reason)

    def test_override_unsigned(self) -> None:
        self.assert_override("unsigned", "sha256sums.txt is not signed")

    def test_override_otherkey(self) -> None:
        self.assert_override("otherkey", f"sha256sums.txt {UNKNOWN}")


class Sticks(Told):
    def assert_stick(self, kind: str, script: str, reason: str) -> None:
        self.assert_rejected(["--stick", kind], script, reason)

    def test_linkedlog(self) -> None:
        rehearsal = self.rehearse("--stick", "linkedlog")
        self.assertIn("11-SetNextPartition.sh: ok, partition 7 is active", rehearsal.output)

    def test_linkedimage(self) -> None:
        self.assert_stick("linkedimage", FILE_CHECK, "kernel.img is no plain file")

    def test_linkedlist(self) -> None:
        self.assert_stick("linkedlist", VERSION_CHECK, "sha256sums.txt is no plain file")

    def test_linkedupdate(self) -> None:
        self.assert_stick("linkedupdate", VERSION_CHECK, "sha256sums.txt lies behind a link")

    def test_directory(self) -> None:
        self.assert_stick("directory", FILE_CHECK, "kernel.img is no plain file")

    def test_pipe(self) -> None:
        self.assert_stick("pipe", VERSION_CHECK, "manifest.txt is no plain file")

    def test_device(self) -> None:
        """No plain file if root has made it, else missing."""
        self.assert_stick("device", FILE_CHECK, "kernel.img is ")

    def test_hugelist(self) -> None:
        self.assert_stick("hugelist", VERSION_CHECK, "sha256sums.txt is too large")

    def test_odd(self) -> None:
        self.rehearse("--stick", "odd")

    def assert_not_installed(self, kind: str, mode: str = "usb", active: str = "1") -> None:
        output = self.rehearse("--mode", mode, "--stick", kind).output
        for image in ("u-boot", "kernel", "recovery-kernel", "recoveryfs", "rootfs"):
            self.assertIn(f"FAILED: {image}.img has changed since it was checked", output)
        self.assertIn(f"partition {active} stays active", output)

    def test_swapped(self) -> None:
        self.assert_not_installed("swapped")

    def test_replaced(self) -> None:
        self.assert_not_installed("replaced")

    def test_blank_swapped(self) -> None:
        """Partitions are made, and nothing but the one that images pass through holds anything."""
        self.assert_not_installed("swapped", "blank", "none")

    def test_blank_replaced(self) -> None:
        self.assert_not_installed("replaced", "blank", "none")

    def test_override_linked(self) -> None:
        rehearsal = self.rehearse("--mode", "override", "--stick", "linked")
        self.assertNotIn("00-USB-installoverrides.sh", rehearsal.scripts)


class Downloads(Told):
    def test_bomb(self) -> None:
        self.assert_rejected(
            ["--mode", "network", "--stick", "bomb"], FILE_CHECK, "rootfs.img does not fit in /dev/mmcblk0p7"
        )

    def test_climbing(self) -> None:
        self.rehearse("--mode", "network", "--stick", "climbing")


if __name__ == "__main__":
    unittest.main()
