"""Every mode, rehearsed with the real program: it keeps its promise, and the rehearsal shows all of it."""

import subprocess
import unittest
from collections.abc import Sequence
from pathlib import Path

from PIL import Image
from rehearsals import Rehearsal

CHECK = ["0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh"]
VERIFY = ["99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh"]
WRITE = [
    "3-USB-UBoot.sh",
    "4-USB-kernel.sh",
    "5-USB-recoverykernel.sh",
    "6-USB-recoveryfs.sh",
    "7-USB-rootfs.sh",
    "10-USB-PostUpdate.sh",
]
UNZIP, BACKUP, RESTORE = (
    ["2-AUTUPD-unzipFirmwareImage.sh"],
    ["3-AUTUPD-backupUserFiles.sh"],
    ["11-AUTUPD-restoreUserFiles.sh"],
)
SWITCH, REBOOT = ["11-SetNextPartition.sh"], ["11-Reboot.sh"]
CLEANUP = ["99-AUTUPD-failedCleanup.sh"]

USB_SCRIPTS = CHECK + VERIFY + WRITE + SWITCH + REBOOT
USB_PROGRESS = [0, 5, 10, 30, 35, 45, 50, 60, 70, 80, 90, 95, 100]
USB_STATES = [
    "0-initializing-update",
    "5-checking-filesystem",
    "10-verifying-recovery-filesystem",
    "30-version-checking",
    "35-validating-files",
    "45-update-u-boot",
    "50-update-kernel",
    "60-update-recovery-kernel",
    "70-update-recoveryfs",
    "80-update-rootfs",
    "90-execute-post-update-script-if-available",
    "95-increment-partitions",
    "100-update-successful-rebooting",
]
START = ["checking", "update-directory-found"]


def picture_size(file: Path) -> tuple[int, int]:
    with Image.open(file) as picture:
        return picture.size


class Modes(unittest.TestCase):
    maxDiff = None

    def assert_rehearsal(
        self,
        options: Sequence[str],
        progress: list[int],
        scripts: list[str],
        states: list[str],
        size: tuple[int, int] = (800, 480),
    ) -> Rehearsal:
        rehearsal = Rehearsal(self, *options)
        rehearsal.assert_promise_kept()
        self.assertEqual(rehearsal.progress, progress)
        self.assertEqual(rehearsal.scripts, scripts)
        self.assertEqual(rehearsal.states, states)
        for file in rehearsal.folder.glob("*.png"):
            self.assertEqual(picture_size(file), size)
        return rehearsal

    def assert_usb_update(
        self, *options: str, states: Sequence[str] = (*START, "ready"), size: tuple[int, int] = (800, 480)
    ) -> Rehearsal:
        return self.assert_rehearsal(options, USB_PROGRESS, USB_SCRIPTS, [*states, *USB_STATES], size)

    def test_usb(self) -> None:
        rehearsal = self.assert_usb_update()
        for picture in rehearsal.folder.glob("*.png"):  # also for others to read
            subprocess.run(["identify", "-regard-warnings", picture], check=True, capture_output=True)

    def test_keep(self) -> None:
        states = [*START, "ready", "touched-restore-settings", *USB_STATES]
        states.insert(states.index("45-update-u-boot"), "40-backup-user-files")
        states.insert(states.index("95-increment-partitions"), "95-restore-user-files")
        self.assert_rehearsal(
            ["--mode", "keep"],
            [0, 5, 10, 30, 35, 40, 45, 50, 60, 70, 80, 90, 95, 95, 100],
            CHECK + VERIFY + BACKUP + WRITE + RESTORE + SWITCH + REBOOT,
            states,
        )

    def test_network(self) -> None:
        states = ["checking", *USB_STATES[:-1], "100-net-update-successful-rebooting"]
        states.insert(states.index("30-version-checking"), "20-unzipping-net-update-firmware-image")
        states.insert(states.index("45-update-u-boot"), "40-backup-user-files")
        states.insert(states.index("95-increment-partitions"), "95-restore-user-files")
        self.assert_rehearsal(
            ["--mode", "network"],
            [0, 5, 10, 20, 30, 35, 40, 45, 50, 60, 70, 80, 90, 95, 95, 100],
            CHECK + UNZIP + VERIFY + BACKUP + WRITE + RESTORE + SWITCH + REBOOT,
            states,
        )

    def test_rebootusb(self) -> None:
        self.assert_usb_update("--mode", "rebootusb", states=START)

    def test_blank(self) -> None:
        states = [*START, *USB_STATES[:3], *USB_STATES[5:-1], "100-update-successful-exiting"]
        self.assert_rehearsal(
            ["--mode", "blank"],
            [0, 5, 10, 45, 50, 60, 70, 80, 90, 95, 100],
            CHECK + WRITE + SWITCH + ["11-DCA-Reboot.sh"],
            states,
        )

    def test_goback(self) -> None:
        self.assert_usb_update("--mode", "goback")

    def test_deadusb(self) -> None:
        self.assert_usb_update("--mode", "deadusb")

    def test_override(self) -> None:
        rehearsal = Rehearsal(self, "--mode", "override")
        rehearsal.assert_promise_kept()
        self.assertEqual(rehearsal.scripts, ["00-USB-installoverrides.sh"])
        self.assertEqual(rehearsal.progress, [])
        self.assertEqual(rehearsal.states, [*START, "finished"])

    def test_override_match(self) -> None:
        self.assert_update_after_override("match")

    def test_override_combination(self) -> None:
        self.assert_update_after_override("combination")

    def test_override_empty(self) -> None:
        self.assert_usb_update("--mode", "override", "--stick", "empty")

    def assert_update_after_override(self, stick: str) -> None:
        self.assert_rehearsal(
            ["--mode", "override", "--stick", stick],
            USB_PROGRESS,
            ["00-USB-installoverrides.sh", *USB_SCRIPTS],
            [*START, "ready", *USB_STATES],
        )

    # The buttons lie elsewhere on other screens.
    def test_screen_1024x600(self) -> None:
        self.assert_buttons_found("1024x600", (1024, 600))

    def test_screen_1280x800(self) -> None:
        self.assert_buttons_found("1280x800", (1280, 800))

    def assert_buttons_found(self, screen: str, size: tuple[int, int]) -> None:
        rehearsal = Rehearsal(self, "--mode", "keep", "--screen", screen)
        rehearsal.assert_promise_kept()
        self.assertEqual({picture_size(file) for file in rehearsal.folder.glob("*.png")}, {size})


class Rejections(unittest.TestCase):
    """A rejected update changes nothing; at the stick the user reads why, a download is removed."""

    def assert_rejected(self, options: Sequence[str], progress: list[int], scripts: list[str], says: str) -> Rehearsal:
        rehearsal = Rehearsal(self, *options)
        rehearsal.assert_promise_kept()
        self.assertEqual(rehearsal.progress, progress)
        self.assertEqual(rehearsal.scripts, scripts)
        self.assertIn(says, rehearsal.console)
        return rehearsal

    def assert_rejected_stick(self, stick: str, progress: list[int], scripts: list[str], says: str) -> None:
        rehearsal = self.assert_rejected(["--stick", stick], progress, scripts, says)
        self.assertEqual(rehearsal.console[-1], "FINISHED")
        self.assertEqual(rehearsal.states[-1], "finished")

    def assert_rejected_download(self, stick: str, checked: list[int], scripts: list[str], says: str) -> None:
        rehearsal = self.assert_rejected(
            ["--mode", "network", "--stick", stick],
            [0, 5, 10, 20, *checked, 95, 100],
            CHECK + UNZIP + scripts + CLEANUP + REBOOT,
            says,
        )
        self.assertEqual(rehearsal.states[-1], "100-net-update-failed-rebooting")

    def test_badsum(self) -> None:
        self.assert_rejected_stick("badsum", [0, 5, 10, 30, 35], CHECK + VERIFY, "Verifying Files...FAILED")

    def test_missingfile(self) -> None:
        self.assert_rejected_stick("missingfile", [0, 5, 10, 30, 35], CHECK + VERIFY, "Verifying Files...FAILED")

    def test_wrongbootloader(self) -> None:
        self.assert_rejected_stick("wrongbootloader", [0, 5, 10, 30], CHECK + VERIFY[:1], "Version Checking...FAILED")

    def test_override(self) -> None:
        rehearsal = Rehearsal(self, "--mode", "override", "--stick", "rejected")
        rehearsal.assert_promise_kept()
        self.assertEqual(rehearsal.scripts, ["00-USB-installoverrides.sh"])
        self.assertIn("ostat = 98", rehearsal.console)

    def test_network_badsum(self) -> None:
        self.assert_rejected_download("badsum", [30, 35], VERIFY, "Verifying Files...FAILED")

    def test_network_missingfile(self) -> None:
        self.assert_rejected_download("missingfile", [30, 35], VERIFY, "Verifying Files...FAILED")

    def test_network_wrongbootloader(self) -> None:
        self.assert_rejected_download("wrongbootloader", [30], VERIFY[:1], "Version Checking...FAILED")

    def test_network_truncated(self) -> None:
        self.assert_rejected_download("truncated", [30], VERIFY[:1], "Version Checking...FAILED")


if __name__ == "__main__":
    unittest.main()
