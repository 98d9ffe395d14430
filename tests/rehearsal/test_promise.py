"""What the program promises whatever its scripts do: judged from their results, in every mode."""

import unittest

from handmade import Tree
from rehearsal import promise
from rehearsal.modes import MODES, PROGRESS
from rehearsal.record import ScriptRun

CHECK = ["0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh"]
VERSION, FILES = "99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh"
WRITE = [
    "3-USB-UBoot.sh",
    "4-USB-kernel.sh",
    "5-USB-recoverykernel.sh",
    "6-USB-recoveryfs.sh",
    "7-USB-rootfs.sh",
    "10-USB-PostUpdate.sh",
]
OVERRIDES = "00-USB-installoverrides.sh"
BEGIN = ["Initializing Update...", "Checking Filesystem...", "Verifying Recovery Filesystem..."]
WRITING = [
    "Update U-Boot",
    "Update Kernel",
    "Update Recovery Kernel",
    "Update RecoveryFS",
    "Update RootFS",
    "Execute Post update script, if available.",
]
INCREMENT = "Increment Partitions..."
USB = [
    *BEGIN,
    "Version Checking...",
    "Validating Files...",
    *WRITING,
    INCREMENT,
    "REBOOTING...",
    "Update Successful, rebooting",
]


class Promise(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.outcome = ""
        self.tree.write("run/rebooted", "11-Reboot.sh\n")
        self.missing: dict[str, str] = {}
        self.asked = self.unseen = ""

    def faults(
        self,
        mode: str,
        scripts: list[str],
        lines: list[str],
        codes: dict[str, str] | None = None,
        marker_after: str = "",
    ) -> dict[str, str]:
        """The points in which the program has not done as it promises."""
        self.tree.mode, self.tree.record.lines, self.tree.record.runs = MODES[mode], lines, []
        for name in scripts:
            if name == marker_after:
                self.tree.write("tmp/verifyFailed", "no\n")
            self.tree.record.runs.append(ScriptRun(name, 0.0, 1.0, (codes or {}).get(name, "0"), self.tree.holdings()))
        self.tree.record.states = [
            f"{PROGRESS[line]} {line}" for line in lines if line in PROGRESS and line != self.unseen
        ]
        case = self.tree.case(unstartable=self.missing, asked=self.asked)
        return {line.what: line.now for line in promise.judge(case) if not line.ok}

    def assert_kept(
        self,
        mode: str,
        scripts: list[str],
        lines: list[str],
        codes: dict[str, str] | None = None,
        marker_after: str = "",
    ) -> None:
        self.assertEqual(self.faults(mode, scripts, lines, codes, marker_after), {})


class Kept(Promise):
    def test_usb(self) -> None:
        scripts = [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"]
        self.assert_kept("usb", scripts, USB)
        self.assert_kept("usb", scripts, USB, codes={"4-USB-kernel.sh": "5", VERSION: "1", FILES: "-11"})

    def test_network(self) -> None:
        scripts = [
            *CHECK,
            "2-AUTUPD-unzipFirmwareImage.sh",
            VERSION,
            FILES,
            "3-AUTUPD-backupUserFiles.sh",
            *WRITE,
            "11-AUTUPD-restoreUserFiles.sh",
            "11-SetNextPartition.sh",
            "11-Reboot.sh",
        ]
        lines = [
            *BEGIN,
            "Unzipping Net Update Firmware Image...",
            "Version Checking...",
            "Validating Files...",
            "Backup User Files...",
            *WRITING,
            "Restore User Files...",
            INCREMENT,
            "REBOOTING...",
            "Net Update Successful, rebooting",
        ]
        self.assert_kept("network", scripts, lines)

    def test_blank(self) -> None:
        self.assert_kept(
            "blank",
            [*CHECK, *WRITE, "11-SetNextPartition.sh", "11-DCA-Reboot.sh"],
            [*BEGIN, *WRITING, INCREMENT, "Update Successful, exiting"],
        )

    def test_recovery_script_fails(self) -> None:
        for code in ("1", "255", "-9", "unstartable"):
            with self.subTest(code=code):
                self.assert_kept(
                    "usb",
                    [*CHECK, "11-Reboot.sh"],
                    [*BEGIN, "REBOOTING...", "Update Successful, rebooting"],
                    codes={CHECK[1]: code},
                )
        self.assert_kept(
            "network",
            [*CHECK, "11-Reboot.sh"],
            [*BEGIN, "REBOOTING...", "Net Update Failed, rebooting"],
            codes={CHECK[1]: "1"},
        )
        self.missing[CHECK[1]] = "is missing"
        self.assert_kept("usb", [CHECK[0], "11-Reboot.sh"], [*BEGIN, "REBOOTING...", "Update Successful, rebooting"])

    def test_rejected(self) -> None:
        self.assert_kept(
            "usb",
            [*CHECK, VERSION, FILES],
            [*BEGIN, "Version Checking...", "Validating Files...", "Verifying Files...FAILED", "FINISHED"],
            marker_after=FILES,
        )

    def test_rejected_by_a_marker_of_somebody_else(self) -> None:
        self.assert_kept(
            "usb",
            [*CHECK, VERSION],
            [*BEGIN, "Version Checking...", "Version Checking...FAILED", "FINISHED"],
            marker_after=CHECK[0],
        )

    def test_rejected_download(self) -> None:
        self.assert_kept(
            "network",
            [*CHECK, "2-AUTUPD-unzipFirmwareImage.sh", VERSION, "99-AUTUPD-failedCleanup.sh", "11-Reboot.sh"],
            [
                *BEGIN,
                "Unzipping Net Update Firmware Image...",
                "Version Checking...",
                "Version Checking...FAILED",
                "Recovery Cleanup...",
                "REBOOTING...",
                "Net Update Failed, rebooting",
            ],
            marker_after=VERSION,
        )

    def test_scripts_that_cannot_be_started(self) -> None:
        self.missing |= {"4-USB-kernel.sh": "is missing", VERSION: "is not executable"}
        self.assert_kept(
            "usb",
            [
                *CHECK,
                FILES,
                *[name for name in WRITE if name != "4-USB-kernel.sh"],
                "11-SetNextPartition.sh",
                "11-Reboot.sh",
            ],
            USB,
        )

    def test_overrides(self) -> None:
        self.tree.write("../stick/update/OVERRIDE/Size10", "10 inches")
        begin = ["Implementing overrides..."]
        self.assert_kept("override", [OVERRIDES], [*begin, "ostat = 0"])
        for code in ("1", "2"):
            self.assert_kept(
                "override",
                [OVERRIDES, *CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"],
                [*begin, f"ostat = {code}", *USB],
                codes={OVERRIDES: code},
            )
        self.assert_kept("override", [OVERRIDES] * 3, begin + ["ostat = 5"] * 3, codes={OVERRIDES: "5"})
        self.assert_kept(
            "override", [OVERRIDES], [*begin, "Verifying Files...FAILED", "ostat = 98"], marker_after=OVERRIDES
        )


class Broken(Promise):
    def test_order(self) -> None:
        self.assertEqual(
            self.faults(
                "usb", [*reversed(CHECK), VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"], USB
            ),
            {"order of the scripts": f"{CHECK[1]} in place 1"},
        )

    def test_script_left_out(self) -> None:
        self.assertEqual(
            self.faults("usb", [*CHECK, VERSION, FILES, *WRITE, "11-Reboot.sh"], USB),
            {"order of the scripts": "11-Reboot.sh in place 11"},
        )

    def test_goes_on_after_the_marker(self) -> None:
        faults = self.faults(
            "usb", [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"], USB, marker_after=FILES
        )
        self.assertEqual(faults[f"{FILES} left the marker"], "the update goes on")
        self.assertEqual(faults["order of the scripts"], "3-USB-UBoot.sh in place 5")

    def test_goes_on_without_recovery_system(self) -> None:
        faults = self.faults("usb", [*CHECK, VERSION], [*BEGIN, "Version Checking..."], codes={CHECK[1]: "4"})
        self.assertEqual(faults[f"{CHECK[1]} ended with 4"], "the update goes on")

    def test_rejects_without_marker(self) -> None:
        faults = self.faults("usb", [*CHECK, VERSION], [*BEGIN, "Version Checking...", "Version Checking...FAILED"])
        self.assertEqual(faults[f"{VERSION} left no marker"], "the update is rejected")

    def test_step_not_shown(self) -> None:
        lines = [line for line in USB if line != "Update Kernel"]
        self.assertEqual(
            self.faults("usb", [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"], lines),
            {"steps shown": "Update Recovery Kernel in place 7"},
        )

    def test_broken_off(self) -> None:
        self.tree.record.fault = "nothing happened for 60 s, no script was running"
        scripts = [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"]
        self.assertEqual(self.faults("usb", scripts, USB), {"the run": self.tree.record.fault})

    def test_step_not_pictured(self) -> None:
        self.unseen = "Update Kernel"
        self.assertEqual(
            self.faults("usb", [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"], USB),
            {"screen": 'no picture of "Update Kernel"'},
        )

    def test_print_missing(self) -> None:
        lines = [line for line in USB if line != "REBOOTING..."]
        self.assertEqual(
            self.faults("usb", [*CHECK, VERSION, FILES, *WRITE, "11-SetNextPartition.sh", "11-Reboot.sh"], lines),
            {"prints": 'no "REBOOTING..."'},
        )

    def test_end_that_was_asked_for(self) -> None:
        self.asked = "updated"
        self.assertEqual(
            self.faults(
                "usb",
                [*CHECK, VERSION],
                [*BEGIN, "Version Checking...", "Version Checking...FAILED", "FINISHED"],
                marker_after=VERSION,
            ),
            {"the end": "rejected"},
        )


if __name__ == "__main__":
    unittest.main()
