"""A simulated instrument as the tests see it: from outside, as a tree of files."""

import functools
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
from collections.abc import Sequence
from typing import Any

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SIMULATOR = REPOSITORY / "simulator"
SCRIPTS = SIMULATOR / "scripts"

# Image, and its slots as the storage names them; what a version partition has of its own is in VERSION_SLOTS.
SHARED_SLOTS = {
    "u-boot.img": ("mmcblk0boot0", "mmcblk0boot1"),
    "recovery-kernel.img": ("mmcblk0p3",),
    "recoveryfs.img": ("mmcblk0p2",),
}
VERSION_SLOTS = {
    "1": {"kernel.img": "mmcblk0p4", "rootfs.img": "mmcblk0p1"},
    "7": {"kernel.img": "mmcblk0p5", "rootfs.img": "mmcblk0p7"},
    "8": {"kernel.img": "mmcblk0p6", "rootfs.img": "mmcblk0p8"},
}
AFTER = {"1": "7", "7": "8", "8": "1"}

CHECK_FILESYSTEM = ("0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh")
UNZIP = ("2-AUTUPD-unzipFirmwareImage.sh",)
VERIFY = ("99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh")
BACKUP = ("3-AUTUPD-backupUserFiles.sh",)
IMAGES = ("3-USB-UBoot.sh", "4-USB-kernel.sh", "5-USB-recoverykernel.sh", "6-USB-recoveryfs.sh", "7-USB-rootfs.sh")
POST_UPDATE = ("10-USB-PostUpdate.sh",)
RESTORE = ("11-AUTUPD-restoreUserFiles.sh",)
SWITCH = ("11-SetNextPartition.sh",)

USB = CHECK_FILESYSTEM + VERIFY + IMAGES + POST_UPDATE + SWITCH
USB_KEEP = CHECK_FILESYSTEM + VERIFY + BACKUP + IMAGES + POST_UPDATE + RESTORE + SWITCH
NETWORK = CHECK_FILESYSTEM + UNZIP + VERIFY + BACKUP + IMAGES + POST_UPDATE + RESTORE + SWITCH
REBUILD = CHECK_FILESYSTEM + IMAGES + POST_UPDATE + SWITCH

# What the image scripts write, and one slot that each of them writes when 7 is the target.
IMAGE_OF = dict(zip(IMAGES, ("u-boot.img", "kernel.img", "recovery-kernel.img", "recoveryfs.img", "rootfs.img")))
SLOT_OF = dict(zip(IMAGES, ("mmcblk0boot0", "mmcblk0p5", "mmcblk0p3", "mmcblk0p2", "mmcblk0p7")))

StrPath = str | os.PathLike[str]
Fingerprint = Any  # a text, or those of all that a directory holds, by name
LOG_LINE = re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d (?P<script>\S+): (?P<result>.+)")


def script_and_result(line: str) -> tuple[str, str]:
    """Of a line of a log; one that is none of a script is no line of ours."""
    match = LOG_LINE.fullmatch(line)
    if match is None:
        raise ValueError(f"no line of a script: {line}")
    return match["script"], match["result"]


def command(name: str, *arguments: StrPath) -> subprocess.CompletedProcess[str]:
    """Runs one of the simulator's commands."""
    return subprocess.run(
        [SIMULATOR / name, *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False
    )


@functools.lru_cache(maxsize=None)
def made(name: str, *options: str) -> pathlib.Path:
    """What a make command makes with these options, made once: not to be written to."""
    directory = tempfile.mkdtemp(prefix="instrument-")
    unittest.addModuleCleanup(made.cache_clear)
    unittest.addModuleCleanup(shutil.rmtree, directory)
    result = command(name, *options, os.path.join(directory, "made"))
    if result.returncode != 0:
        raise RuntimeError(f"{name} {options}: {result.stderr}")
    return pathlib.Path(directory, "made")


def fingerprint(path: pathlib.Path) -> Fingerprint:
    """All of a file, link or directory that may be told apart: names, kinds, modes, content."""
    if path.is_symlink():
        return f"link to {os.readlink(path)}"
    if path.is_dir():
        return {entry.name: fingerprint(entry) for entry in sorted(path.iterdir())}
    if path.is_file():
        return f"{path.stat().st_mode:o} {hashlib.sha256(path.read_bytes()).hexdigest()}"
    return None


class Instrument:
    """An instrument of its own for one test."""

    def __init__(self, test: unittest.TestCase, *options: str) -> None:
        self.test = test
        directory = tempfile.mkdtemp(prefix="instrument-")
        test.addCleanup(shutil.rmtree, directory)
        self.root = pathlib.Path(directory, "tree")
        subprocess.run(["cp", "-a", made("make-instrument", *options), self.root], check=True)
        (self.root / "tmp/runningbootloaderversion").write_text("V4.05.00")

    def path(self, absolute: str) -> pathlib.Path:
        return self.root / absolute.lstrip("/")

    def plug(self, *options: str) -> pathlib.Path:
        """Plugs a stick; returns where its files lie on the instrument."""
        self.test.assertEqual(command("plug-stick", self.root, made("make-stick", *options)).returncode, 0)
        return self.path("/media/usb0/update")

    def plug_checked(self, *options: str) -> pathlib.Path:
        """Plugs a stick that passes the checks: the scripts after them write nothing else."""
        update = self.plug(*options)
        self.run_well(*CHECK_FILESYSTEM, *VERIFY)
        return update

    def sign(self, *options: StrPath, path: str = "/media/usb0") -> None:
        """Has the maker sign what has become of a stick, or a file."""
        signed = command("sign-update", *options, self.path(path))
        self.test.assertEqual((signed.returncode, signed.stderr), (0, ""))

    def download(self, *options: str) -> pathlib.Path:
        archive, place = made("make-archive", *options), self.path("/mnt/recovery/download/update.zip")
        shutil.copy(archive, place)
        signature = archive.with_name(f"{archive.name}.minisig")
        if signature.exists():
            shutil.copy(signature, place.with_name("update.zip.minisig"))
        return self.path("/mnt/recovery/update_files/update")

    def run(self, *scripts: str, sandbox_options: Sequence[str] = ()) -> list[int]:
        """Runs scripts one after the other, as the program does; returns their exit codes."""
        loop = 'for script in "$@"; do "/etc/update/$script" >/dev/null 2>&1; echo "code $?"; done'
        reader, writer = os.pipe()  # what the scripts have as standard input: open, and never written
        try:
            output = subprocess.run(
                [SIMULATOR / "sandbox", self.root, *sandbox_options, "sh", "-c", loop, "sh", *scripts],
                stdin=reader,
                capture_output=True,
                text=True,
                check=False,
            )
        finally:
            os.close(reader)
            os.close(writer)
        self.console = output.stdout + output.stderr
        self.codes = [int(code) for code in re.findall(r"^code (\d+)$", output.stdout, re.MULTILINE)]
        return self.codes

    def run_well(self, *scripts: str) -> None:
        codes = dict(zip(scripts, self.run(*scripts)))
        self.test.assertEqual(codes, {script: 0 for script in scripts}, self.all_logs())

    def all_logs(self) -> str:
        logs = [*self.root.glob("media/usb0/update/*.log"), *self.root.glob("mnt/recovery/update_files/update/*.log")]
        return "".join(log.read_text() for log in logs)

    def log(self, absolute: str = "/media/usb0/update/update.log") -> list[tuple[str, str]]:
        """The log as (script, result) pairs; a line that is none of a script fails the test."""
        pairs = []
        for line in self.path(absolute).read_text().splitlines():
            self.test.assertRegex(line, LOG_LINE)
            pairs.append(script_and_result(line))
        return pairs

    def marker(self) -> str | None:
        marker = self.path("/tmp/verifyFailed")
        return marker.read_text() if marker.exists() else None

    @property
    def active(self) -> str:
        return self.path("/mnt/recovery/download/partition_c").read_text()

    def manifest(self, partition: str) -> str:
        return self.path(f"/mnt/recovery/update_files/{partition}manifest.txt").read_text()

    def user_files(self, partition: str) -> Fingerprint:
        return fingerprint(self.path(f"/mnt/userdata/{partition}"))

    def version(self, partition: str) -> Fingerprint:
        """All that belongs to one installed version."""
        slots = {name: fingerprint(self.path(f"/dev/{name}")) for name in VERSION_SLOTS[partition].values()}
        manifest = fingerprint(self.path(f"/mnt/recovery/update_files/{partition}manifest.txt"))
        return {"slots": slots, "manifest": manifest, "user files": self.user_files(partition)}

    def storage(self) -> dict[str, Fingerprint]:
        """All that outlives a restart, but for the logs and the update itself."""
        places = ("/mnt/userdata", "/etc/pointercal", "/etc/display-size", "/mnt/recovery/download/partition_c")
        kept = {place: fingerprint(self.path(place)) for place in places}
        for place, pattern in (("/dev", "mmcblk0*"), ("/mnt/recovery/update_files", "*manifest.txt")):
            kept.update({path.name: fingerprint(path) for path in self.path(place).glob(pattern)})
        return kept

    def slot_sizes(self) -> dict[str, int]:
        return {slot.name: slot.stat().st_size for slot in self.path("/dev").glob("mmcblk0*")}

    def assert_slot_holds(self, slot: str, image: pathlib.Path) -> None:
        payload = image.read_bytes()
        self.test.assertGreater(len(payload), 0)
        self.test.assertTrue(self.path(f"/dev/{slot}").read_bytes().startswith(payload), f"{slot} holds {image.name}")

    def assert_installed(self, update: pathlib.Path, target: str) -> None:
        """Every slot of an update to a partition holds its image, and the partition is the active one."""
        for image, slots in SHARED_SLOTS.items():
            for slot in slots:
                self.assert_slot_holds(slot, update / image)
        for image, slot in VERSION_SLOTS[target].items():
            self.assert_slot_holds(slot, update / image)
        self.test.assertEqual(self.active, target + "\n")
        values = (update / "manifest.txt").read_text()
        self.test.assertTrue(self.manifest(target).startswith(values))
        self.test.assertRegex(self.manifest(target)[len(values) :], r"\Ainstall_date_time=\d{8} \d\d:\d\d:\d\d\n\Z")


class OneScript(unittest.TestCase):
    """A script of which something is expected to fail."""

    def assert_fails(
        self, board: Instrument, script: str, reason: str, log: str = "/media/usb0/update/update.log"
    ) -> None:
        self.assertEqual(board.run(script), [1], board.all_logs())
        self.assertEqual(board.log(log)[-1], (script, "FAILED: " + reason))

    def assert_fails_and_changes_nothing(self, board: Instrument, script: str, reason: str) -> None:
        before = board.storage()
        self.assert_fails(board, script, reason)
        self.assertEqual(board.storage(), before)
