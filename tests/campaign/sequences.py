"""What an update consists of: steps, their order in each mode, and the endings."""

from typing import NamedTuple

FOLDER = "/etc/update/"
OVERRIDE_SCRIPT = "00-USB-installoverrides.sh"
RECOVERY_SCRIPT = "1-AUTUPD-createRecoverySystem.sh"


class Call(NamedTuple):
    progress: int
    message: str
    script: str


class Step(NamedTuple):
    prints: str | None
    calls: tuple[Call, ...]


STEPS = {
    "check partitions": Step(None, (Call(5, "Checking Filesystem...", "0-checkpartitions.sh"),)),
    "recovery system": Step(None, (Call(10, "Verifying Recovery Filesystem...", RECOVERY_SCRIPT),)),
    "unzip": Step(None, (Call(20, "Unzipping Net Update Firmware Image...", "2-AUTUPD-unzipFirmwareImage.sh"),)),
    "versions": Step(None, (Call(30, "Version Checking...", "99-USB-ubootDtbVersionCompatibilityCheck.sh"),)),
    "files": Step(None, (Call(35, "Validating Files...", "2-USB-checkupdatefiles.sh"),)),
    "backup": Step(None, (Call(40, "Backup User Files...", "3-AUTUPD-backupUserFiles.sh"),)),
    "images": Step(
        None,
        (
            Call(45, "Update U-Boot", "3-USB-UBoot.sh"),
            Call(50, "Update Kernel", "4-USB-kernel.sh"),
            Call(60, "Update Recovery Kernel", "5-USB-recoverykernel.sh"),
            Call(70, "Update RecoveryFS", "6-USB-recoveryfs.sh"),
            Call(80, "Update RootFS", "7-USB-rootfs.sh"),
        ),
    ),
    "post update": Step(None, (Call(90, "Execute Post update script, if available.", "10-USB-PostUpdate.sh"),)),
    "restore": Step(
        "Restore Backedup User Files...", (Call(95, "Restore User Files...", "11-AUTUPD-restoreUserFiles.sh"),)
    ),
    "next partition": Step(
        "Set Current & Next Partition...", (Call(95, "Increment Partitions...", "11-SetNextPartition.sh"),)
    ),
    "clean up": Step(
        "Verify Failed - Recovery Cleanup...", (Call(95, "Recovery Cleanup...", "99-AUTUPD-failedCleanup.sh"),)
    ),
}


class Verdict(NamedTuple):
    """What a marker that is there leads to."""

    title: str
    prints: str


VERDICTS = {
    "versions": Verdict("Version Checking:\nFAILED", "Version Checking...FAILED"),
    "files": Verdict("Verifying Files:\nFAILED", "Verifying Files...FAILED"),
}

USB, TOUCHED, REBUILD, NETWORK, USB_KEEPING_SETTINGS = range(5)

# Each row is a verb and what it is done with: do a step, judge the marker, print a line, set the title.
Row = tuple[str, str]
SEQUENCES: dict[int, tuple[Row, ...]] = {
    USB: (
        ("title", "Verifying Files:"),
        ("do", "versions"),
        ("judge", "versions"),
        ("do", "files"),
        ("judge", "files"),
        ("print", "Updating Files..."),
        ("title", "USB Update\nin progress..."),
        ("do", "images"),
        ("do", "post update"),
        ("do", "next partition"),
        ("finish", "well"),
    ),
    USB_KEEPING_SETTINGS: (
        ("title", "Verifying Files:"),
        ("do", "versions"),
        ("judge", "versions"),
        ("do", "files"),
        ("judge", "files"),
        ("print", "Updating Files w/Backup..."),
        ("title", "USB Update\nin progress..."),
        ("do", "backup"),
        ("do", "images"),
        ("do", "post update"),
        ("do", "restore"),
        ("do", "next partition"),
        ("finish", "well"),
    ),
    NETWORK: (
        ("do", "unzip"),
        ("title", "Verifying Files:"),
        ("do", "versions"),
        ("judge", "versions"),
        ("do", "files"),
        ("judge", "files"),
        ("print", "Net Updating Files..."),
        ("title", "Net Update in progress..."),
        ("do", "backup"),
        ("do", "images"),
        ("do", "post update"),
        ("do", "restore"),
        ("do", "next partition"),
        ("finish", "well"),
    ),
    REBUILD: (
        ("print", "Updating Files..."),
        ("title", "Update in progress..."),
        ("do", "images"),
        ("do", "post update"),
        ("do", "next partition"),
        ("finish", "well"),
    ),
}

# What follows a marker; where a mode is not listed the update just ends.
REJECTED: dict[int, tuple[Row, ...]] = {
    NETWORK: (("do", "clean up"), ("finish", "failed")),
}

# What follows a recovery system that could not be made, in every mode.
ABORTED: tuple[Row, ...] = (("finish", "failed"), ("print", "AutoUpdate file is missing - cannot continue"))


class Ending(NamedTuple):
    message: str
    acts: tuple[Row, ...]
    script: str


SUCCESS = Ending("Update Successful, rebooting", (("sync", ""), ("print", "REBOOTING...")), "11-Reboot.sh")
NET_ACTS: tuple[Row, ...] = (("sync", ""), ("print", "REBOOTING..."), ("sync", ""))

# By mode and how it went; a failure is announced as a success everywhere but in the network mode.
ENDINGS: dict[tuple[int, str], Ending] = {
    (USB, "well"): SUCCESS,
    (USB, "failed"): SUCCESS,
    (USB_KEEPING_SETTINGS, "well"): SUCCESS,
    (USB_KEEPING_SETTINGS, "failed"): SUCCESS,
    (NETWORK, "well"): Ending("Net Update Successful, rebooting", NET_ACTS, "11-Reboot.sh"),
    (NETWORK, "failed"): Ending("Net Update Failed, rebooting", NET_ACTS, "11-Reboot.sh"),
    (REBUILD, "well"): Ending("Update Successful, exiting", (("sync", ""),), "11-DCA-Reboot.sh"),
    (REBUILD, "failed"): Ending("Update Successful, exiting", (("sync", ""),), "11-DCA-Reboot.sh"),
}

SCRIPTS = tuple(
    sorted(
        {call.script for step in STEPS.values() for call in step.calls}
        | {ending.script for ending in ENDINGS.values()}
        | {OVERRIDE_SCRIPT}
    )
)

# What the worker prints; every other line on the console is the window's.
WORKER_PRINTS = frozenset(
    {step.prints for step in STEPS.values() if step.prints}
    | {verdict.prints for verdict in VERDICTS.values()}
    | {text for rows in (*SEQUENCES.values(), ABORTED) for verb, text in rows if verb == "print"}
    | {text for ending in ENDINGS.values() for verb, text in ending.acts if verb == "print"}
)
