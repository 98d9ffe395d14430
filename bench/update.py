"""An update with scripts that do nothing but what a measure asks of them."""

import os
from pathlib import Path

from common import UPDATER, Run

# The network update's, in their order.
SCRIPTS = (
    "0-checkpartitions.sh",
    "1-AUTUPD-createRecoverySystem.sh",
    "2-AUTUPD-unzipFirmwareImage.sh",
    "99-USB-ubootDtbVersionCompatibilityCheck.sh",
    "2-USB-checkupdatefiles.sh",
    "3-AUTUPD-backupUserFiles.sh",
    "3-USB-UBoot.sh",
    "4-USB-kernel.sh",
    "5-USB-recoverykernel.sh",
    "6-USB-recoveryfs.sh",
    "7-USB-rootfs.sh",
    "10-USB-PostUpdate.sh",
    "11-AUTUPD-restoreUserFiles.sh",
    "11-SetNextPartition.sh",
    "11-Reboot.sh",
)


def make_scripts(bodies: dict[str, str]) -> None:
    for name in SCRIPTS:
        script = Path("/etc/update", name)
        script.write_text(f"#!/bin/sh\n{bodies.get(name, '')}\n")
        script.chmod(0o755)
    Path("/dev/mmcblk0p2").touch()  # a board that was flashed before


def run_update() -> Run:
    """The program once its network update has come to the end, which only a real reboot would be."""
    reader, writer = os.pipe()
    run = Run([*UPDATER, "--autoupdate"], console=writer)
    os.close(writer)
    with os.fdopen(reader) as console:
        if not any(line == "FINISHED\n" for line in console):
            raise RuntimeError("the update did not finish")
    return run
