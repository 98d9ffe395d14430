"""What there is to rehearse: the update's scripts in their order, and what each mode does and promises.

Written down apart from the program's own tables, so that a change there does not change what is
expected here.
"""

from dataclasses import dataclass

from rehearsal import tourscreens

# Console line of a step, the progress that the screen shows with it, and its script.
STEPS = (
    ("Initializing Update...", 0, ""),
    ("Checking Filesystem...", 5, "0-checkpartitions.sh"),
    ("Verifying Recovery Filesystem...", 10, "1-AUTUPD-createRecoverySystem.sh"),
    ("Unzipping Net Update Firmware Image...", 20, "2-AUTUPD-unzipFirmwareImage.sh"),
    ("Version Checking...", 30, "99-USB-ubootDtbVersionCompatibilityCheck.sh"),
    ("Validating Files...", 35, "2-USB-checkupdatefiles.sh"),
    ("Backup User Files...", 40, "3-AUTUPD-backupUserFiles.sh"),
    ("Update U-Boot", 45, "3-USB-UBoot.sh"),
    ("Update Kernel", 50, "4-USB-kernel.sh"),
    ("Update Recovery Kernel", 60, "5-USB-recoverykernel.sh"),
    ("Update RecoveryFS", 70, "6-USB-recoveryfs.sh"),
    ("Update RootFS", 80, "7-USB-rootfs.sh"),
    ("Execute Post update script, if available.", 90, "10-USB-PostUpdate.sh"),
    ("Restore User Files...", 95, "11-AUTUPD-restoreUserFiles.sh"),
    ("Increment Partitions...", 95, "11-SetNextPartition.sh"),
    ("Recovery Cleanup...", 95, "99-AUTUPD-failedCleanup.sh"),
    ("Update Successful, rebooting", 100, "11-Reboot.sh"),
    ("Net Update Successful, rebooting", 100, "11-Reboot.sh"),
    ("Net Update Failed, rebooting", 100, "11-Reboot.sh"),
    ("Update Successful, exiting", 100, "11-DCA-Reboot.sh"),
)
PROGRESS = {message: progress for message, progress, _ in STEPS}
MESSAGES = {script: [message for message, _, of in STEPS if of == script] for _, _, script in STEPS if script}

FINISHED = "FINISHED"  # the program has no more to say

OVERRIDE_SCRIPT = "00-USB-installoverrides.sh"
CLEANUP_SCRIPT = "99-AUTUPD-failedCleanup.sh"
SCRIPTS = (OVERRIDE_SCRIPT, *MESSAGES)

CHECKED = ("0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh")
VERIFIED = ("99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh")
WRITTEN = (
    "3-USB-UBoot.sh",
    "4-USB-kernel.sh",
    "5-USB-recoverykernel.sh",
    "6-USB-recoveryfs.sh",
    "7-USB-rootfs.sh",
    "10-USB-PostUpdate.sh",
)
UNZIPPED = ("2-AUTUPD-unzipFirmwareImage.sh",)
BACKED_UP = ("3-AUTUPD-backupUserFiles.sh",)
RESTORED = ("11-AUTUPD-restoreUserFiles.sh",)
SWITCHED = ("11-SetNextPartition.sh",)
REBOOTED = ("11-Reboot.sh",)
REBOOT_SCRIPTS = (*REBOOTED, "11-DCA-Reboot.sh")

USB_SCRIPTS = CHECKED + VERIFIED + WRITTEN + SWITCHED + REBOOTED
KEEPING_SCRIPTS = CHECKED + VERIFIED + BACKED_UP + WRITTEN + RESTORED + SWITCHED + REBOOTED
NETWORK_SCRIPTS = CHECKED + UNZIPPED + KEEPING_SCRIPTS[len(CHECKED) :]
REBUILD_SCRIPTS = CHECKED + WRITTEN + SWITCHED + ("11-DCA-Reboot.sh",)

# How a rehearsal may have to end.
UPDATED = "updated"  # the update is installed, and the instrument rebooted
REJECTED = "rejected"  # the update was turned down, and nothing has changed
OVERRIDDEN = "overridden"  # the override is installed, nothing else, and the instrument rebooted
FAILED = "failed"  # the update was not what had been checked: not installed, the old version is active, rebooted
TOURED = "toured"  # every screen was seen, each did what it promises, and the last one rebooted the instrument

BAD = {
    "badsum": REJECTED,
    "missingfile": REJECTED,
    "wrongbootloader": REJECTED,
    "unsigned": REJECTED,
    "otherkey": REJECTED,
    "resummed": REJECTED,
}
# What somebody who means harm puts on a stick.
HARMFUL = {
    "linkedlog": UPDATED,
    "linkedimage": REJECTED,
    "linkedlist": REJECTED,
    "linkedupdate": REJECTED,
    "directory": REJECTED,
    "pipe": REJECTED,
    "device": REJECTED,
    "hugelist": REJECTED,
    "odd": UPDATED,
    "swapped": FAILED,
    "replaced": FAILED,
}
STICKS = {"good": UPDATED, **BAD}
ARCHIVES = {**STICKS, "truncated": REJECTED, "bomb": REJECTED, "climbing": UPDATED}
# The override directory of a stick that is good apart from it.
OVERRIDES = {
    "size": OVERRIDDEN,
    "match": UPDATED,
    "combination": UPDATED,
    "rejected": REJECTED,
    "unsigned": REJECTED,
    "otherkey": REJECTED,
    "linked": UPDATED,
    "empty": UPDATED,
}
# a blank board runs with no bootloader yet
REBUILDS = {**STICKS, "wrongbootloader": UPDATED, "swapped": FAILED, "replaced": FAILED}


@dataclass(frozen=True)
class Mode:
    summary: str
    option: str | None  # of the program
    scripts: tuple[str, ...]
    touches: tuple[str, ...] = ()  # once the buttons are there
    sources: tuple[tuple[str, str], ...] = tuple(STICKS.items())  # what can be plugged in, and how it ends
    blank: bool = False  # the board has never been flashed
    network: bool = False  # the update was downloaded, there is no stick
    keeps_user_files: bool = False
    override: bool = False
    tour: tuple[tourscreens.Stop, ...] = ()  # through the maintenance screens, in place of an update
    tour_ends_with: str = ""  # the active version; as it began if empty


# fmt: off
MODES = {
    "usb": Mode("update from the stick, by the USB button", None, USB_SCRIPTS, ("USB",),
                sources=tuple({**STICKS, **HARMFUL}.items())),
    "keep": Mode("the same with the user files restored afterwards", None, KEEPING_SCRIPTS,
                 ("Restore Settings", "USB"), keeps_user_files=True),
    "network": Mode("update that was downloaded before", "--autoupdate", NETWORK_SCRIPTS,
                    sources=tuple(ARCHIVES.items()), network=True, keeps_user_files=True),
    "rebootusb": Mode("update from the stick after a reboot, untouched", "--rebootusbupdate", USB_SCRIPTS),
    "blank": Mode("rebuild of a board that was never flashed", None, REBUILD_SCRIPTS,
                  sources=tuple(REBUILDS.items()), blank=True),
    "goback": Mode("going back to another version, from the stick", "--gobackupdate", USB_SCRIPTS, ("USB",)),
    "deadusb": Mode("rebuild of a dead instrument, from the stick", "--deadusbrebuild", USB_SCRIPTS, ("USB",)),
    "override": Mode("stick with overrides to install", None, USB_SCRIPTS, ("USB",),
                     sources=tuple(OVERRIDES.items()), override=True),
    "tools": Mode("every maintenance screen, to a change of version", None, tourscreens.TOOLS_SCRIPTS,
                  sources=(("good", TOURED),), tour=tourscreens.TOOLS, tour_ends_with="7"),
    "settings": Mode("reset of all system settings", None, tourscreens.SETTINGS_SCRIPTS,
                     sources=(("good", TOURED),), tour=tourscreens.SETTINGS),
}
# fmt: on
