"""An instrument's tree made by hand, and what rehearsals that end in different ways do to it."""

import datetime
import re
import shutil
import tempfile
import unittest
from pathlib import Path

import rehearsals  # noqa: F401  makes the modules below known
from rehearsal import verdict
from rehearsal.case import Case, Line
from rehearsal.holdings import Holdings
from rehearsal.modes import FAILED, MODES, OVERRIDDEN, REJECTED, UPDATED
from rehearsal.record import Record, ScriptRun
from rehearsal.sandbox import tree
from rehearsal.source import Source

IMAGES = ("u-boot.img", "kernel.img", "recovery-kernel.img", "recoveryfs.img", "rootfs.img")
USB_SLOTS = {
    "boot0": "u-boot.img",
    "boot1": "u-boot.img",
    "p3": "recovery-kernel.img",
    "p2": "recoveryfs.img",
    "p5": "kernel.img",
    "p7": "rootfs.img",
}
ALL_SLOTS = ("boot0", "boot1", *(f"p{number}" for number in range(1, 9)))
USB_SCRIPTS = (
    "0-checkpartitions.sh",
    "1-AUTUPD-createRecoverySystem.sh",
    "99-USB-ubootDtbVersionCompatibilityCheck.sh",
    "2-USB-checkupdatefiles.sh",
    "3-USB-UBoot.sh",
    "4-USB-kernel.sh",
    "5-USB-recoverykernel.sh",
    "6-USB-recoveryfs.sh",
    "7-USB-rootfs.sh",
    "10-USB-PostUpdate.sh",
    "11-SetNextPartition.sh",
    "11-Reboot.sh",
)
MANIFEST = "core_version=9.9\ncore_build=77\ncore_build_date=20250101\nimage_bootloader_version=V4.05.00\n"
LOG = "media/usb0/update/update.log"
STARTED = datetime.datetime.now(datetime.timezone.utc)


class Tree:
    """An instrument that runs version 1, with a stick, and what a rehearsal does to it."""

    def __init__(self, test: unittest.TestCase) -> None:
        self.top = Path(tempfile.mkdtemp(prefix="test-verdict-"))
        test.addCleanup(shutil.rmtree, self.top)
        self.root = self.top / "instrument"
        self.source = Source(self.top / "stick")
        for name in IMAGES:
            self.write(f"../stick/update/{name}", f"new {name}")
        self.write("../stick/update/manifest.txt", MANIFEST)
        for slot in ALL_SLOTS:
            self.write(f"dev/mmcblk0{slot}", f"old firmware in {slot}" + "\0" * 50)
        for version in ("1", "7", "8"):
            self.write(f"mnt/recovery/update_files/{version}manifest.txt", f"core_version={version}\n")
            self.write(f"mnt/userdata/{version}/cfg/teskuihost.conf", f"address of {version}")
            self.write(f"mnt/userdata/{version}/notes", f"notes of {version}")
        self.write("mnt/userdata/factory/cfg/teskuihost.conf", "no address")
        self.write("mnt/recovery/download/partition_c", "1\n")
        self.write("etc/pointercal", "calibration")
        self.write("etc/display-size", "7 inches")
        (self.root / "home").mkdir()
        self.link_home("1")
        self.before = self.holdings()
        self.mode, self.outcome = MODES["usb"], UPDATED
        self.record = Record(["Update Successful, rebooting"], [ScriptRun(name, 0.0, 1.0, "0") for name in USB_SCRIPTS])

    def write(self, path: str, text: str) -> None:
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)

    def link_home(self, version: str) -> None:
        (self.root / "home/tesk").unlink(missing_ok=True)
        (self.root / "home/tesk").symlink_to(f"../mnt/userdata/{version}")

    def update(self) -> None:
        """What an update from the stick does to version 7."""
        for slot, image in USB_SLOTS.items():
            self.write(f"dev/mmcblk0{slot}", f"new {image}" + "\0" * 50)
        shutil.rmtree(self.root / "mnt/userdata/7")
        shutil.copytree(self.root / "mnt/userdata/factory", self.root / "mnt/userdata/7")
        date = datetime.datetime.now(datetime.timezone.utc).strftime("%Y%m%d %H:%M:%S")
        self.write("mnt/recovery/update_files/7manifest.txt", f"{MANIFEST}install_date_time={date}\n")
        self.write("mnt/recovery/download/partition_c", "7\n")
        self.write(LOG, "".join(f"2025-01-01 10:00:00 {name}: ok\n" for name in USB_SCRIPTS))
        self.write("run/rebooted", "11-Reboot.sh\n")
        self.link_home("7")

    def reject(self) -> None:
        """What is left of an update that the file check turned down."""
        self.outcome = REJECTED
        self.record = Record(
            ["Verifying Files...FAILED", "FINISHED"], [ScriptRun(name, 0.0, 1.0, "0") for name in USB_SCRIPTS[:3]]
        )
        self.record.runs.append(ScriptRun(USB_SCRIPTS[3], 1.0, 2.0, "3"))
        self.write(LOG, "".join(f"{name}: ok\n" for name in USB_SCRIPTS[:4]) + "kernel.img has a wrong sum\n")
        self.write("tmp/verifyFailed", "kernel.img has a wrong sum\n")

    def give_up(self) -> None:
        """What is left of an update whose stick was another one after the check."""
        self.outcome = FAILED
        for slot in ("p5", "p7"):
            self.write(f"dev/mmcblk0{slot}", "somebody else's")
        (self.root / "mnt/recovery/update_files/7manifest.txt").unlink()
        self.write(LOG, "".join(f"{name}: FAILED\n" for name in USB_SCRIPTS))
        self.write("run/rebooted", "11-Reboot.sh\n")
        for run in self.record.runs[4:9] + self.record.runs[10:11]:
            run.code = "1"

    def override(self) -> None:
        """What the installation of an override does."""
        self.outcome, self.mode = OVERRIDDEN, MODES["override"]
        name = "00-USB-installoverrides.sh"
        self.write("../stick/update/OVERRIDE/Size10", "10 inches")
        self.write("etc/display-size", "10 inches")
        self.write("media/usb0/update/update_override.log", f"{name}: ok\n")
        self.write("run/rebooted", name)
        self.record = Record(["ostat = 0", "FINISHED"], [ScriptRun(name, 0.0, 1.0, "0")])

    def holdings(self) -> Holdings:
        return tree.Tree(self.root).holdings()

    def case(self, asked: str = "", unstartable: dict[str, str] | None = None) -> Case:
        after, missing = self.holdings(), unstartable or {}
        return Case(self.mode, self.outcome, self.source, self.before, after, self.record, STARTED, asked, missing)

    def faults(self) -> dict[str, str]:
        """The points that are not as promised. How the screen numbers versions has a test of its own."""
        return {what: plain(line.now) for what, line in self.verdict().items() if not line.ok}

    def verdict(self) -> dict[str, Line]:
        return {plain(line.what): line for line in verdict.judge(self.case())}


def plain(text: str) -> str:
    return " ".join(re.sub(r" \(\d on the screen\)", "", text).split())
