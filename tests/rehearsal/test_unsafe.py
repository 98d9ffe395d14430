"""What the rehearsal makes of updates that are not signed, that change, and of instruments without keys."""

import os
import subprocess
import unittest
import zipfile
from pathlib import Path

from handmade import IMAGES, LOG, USB_SCRIPTS, Tree
from rehearsal.modes import FAILED, MODES
from rehearsal.record import Record, ScriptRun
from rehearsal.source import LARGEST, Source
from test_source import write_sums

RECOVERY_LOG = "mnt/recovery/update_files/update/update.log"
MANIFEST_OF_7 = "mnt/recovery/update_files/7manifest.txt"
SWITCH = "11-SetNextPartition.sh"


def make_key(directory: Path, name: str) -> bytes:
    """A pair of keys in a directory; returns the public one."""
    subprocess.run(
        ["minisign", "-GW", "-p", directory / f"{name}.pub", "-s", directory / f"{name}.key"],
        check=True,
        capture_output=True,
    )
    return (directory / f"{name}.pub").read_bytes()


def sign(key: Path, file: Path) -> None:
    subprocess.run(["minisign", "-S", "-s", key, "-m", file], stdin=subprocess.DEVNULL, check=True, capture_output=True)


class Signed(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.source, self.sums = self.tree.source, self.tree.top / "stick/update/sha256sums.txt"
        write_sums(self.sums.parent)
        self.known, self.other = (make_key(self.tree.top, name) for name in ("known", "other"))

    def test_signed(self) -> None:
        sign(self.tree.top / "known.key", self.sums)
        for keys in ((self.known,), (self.other, self.known)):
            self.assertEqual(self.source.flaw(keys), "")

    def test_by_another_key(self) -> None:
        sign(self.tree.top / "other.key", self.sums)
        unknown = "sha256sums.txt is not as any key that the instrument knows has signed it"
        self.assertEqual(self.source.flaw([self.known]), unknown)
        self.assertEqual(self.source.flaw([b"damaged", self.known]), unknown)

    def test_changed(self) -> None:
        sign(self.tree.top / "known.key", self.sums)
        self.sums.write_text(self.sums.read_text() + "\n")
        self.assertEqual(
            self.source.flaw([self.known]), "sha256sums.txt is not as any key that the instrument knows has signed it"
        )

    def test_not_signed(self) -> None:
        self.assertEqual(self.source.flaw([self.known]), "sha256sums.txt is not signed")

    def test_older_form_of_a_signature(self) -> None:
        """The instrument takes none that needs the whole file in memory."""
        key = self.tree.top / "known.key"
        subprocess.run(
            ["minisign", "-Sl", "-s", key, "-m", self.sums], stdin=subprocess.DEVNULL, check=True, capture_output=True
        )
        self.assertEqual(
            self.source.flaw([self.known]), "sha256sums.txt is not as any key that the instrument knows has signed it"
        )

    def test_instrument_without_keys(self) -> None:
        self.assertEqual(self.source.flaw(), "")

    def test_signature_behind_a_link(self) -> None:
        sign(self.tree.top / "known.key", self.sums)
        signature = self.sums.with_name("sha256sums.txt.minisig")
        signature.rename(signature.with_name("other"))
        signature.symlink_to("other")
        self.assertEqual(self.source.flaw([self.known]), "sha256sums.txt is not signed")

    def test_archive(self) -> None:
        archive = self.tree.top / "update.zip"
        with zipfile.ZipFile(archive, "w") as file:
            for name in ("manifest.txt", "sha256sums.txt", *IMAGES):
                file.write(self.sums.with_name(name), name)
        self.assertEqual(Source(archive).flaw([self.known]), "update.zip is not signed")
        sign(self.tree.top / "known.key", archive)
        self.assertEqual(Source(archive).flaw([self.known]), "")


class Harmful(unittest.TestCase):
    """What an instrument must not read, the rehearsal does not read either."""

    def setUp(self) -> None:
        self.tree = Tree(self)
        self.update = self.tree.top / "stick/update"
        write_sums(self.update)

    def test_link(self) -> None:
        kernel = self.update / "kernel.img"
        kernel.rename(self.update / "other")
        kernel.symlink_to("other")
        self.assertEqual(self.tree.source.flaw(), "kernel.img is missing")

    def test_update_behind_a_link(self) -> None:
        self.update.rename(self.update.with_name("other"))
        self.update.symlink_to("other")
        self.assertIsNone(self.tree.source.read("kernel.img"))
        self.assertFalse(self.tree.source.takes_a_log)

    def test_larger_than_any_image(self) -> None:
        for size, there in ((LARGEST, True), (LARGEST + 1, False)):
            os.truncate(self.update / "kernel.img", size)
            self.assertEqual(self.tree.source.read("kernel.img") is not None, there)

    def test_archive_that_says_how_large_it_gets(self) -> None:
        archive = self.tree.top / "update.zip"
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as file, file.open("kernel.img", "w") as image:
            for _ in range(LARGEST // (1 << 24)):
                image.write(bytes(1 << 24))
            image.write(b"X")
        self.assertIsNone(Source(archive).read("kernel.img"))

    def test_any_bootloader(self) -> None:
        manifest = self.update / "manifest.txt"
        manifest.write_text(manifest.read_text().replace("V4.05.00", "V3.01.00"))
        write_sums(self.update)
        self.assertNotEqual(self.tree.source.flaw(), "")
        self.assertEqual(self.tree.source.flaw(any_bootloader=True), "")


class Verdicts(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)

    def failed(self) -> None:
        """An update that was given up: nothing but version 7 has changed, and it is not offered any more."""
        self.tree.outcome = FAILED
        runs = [ScriptRun(name, 0.0, 1.0, "1" if name == SWITCH or ".img" in name else "0") for name in USB_SCRIPTS]
        self.tree.record = Record(["Update Successful, rebooting"], runs)
        self.tree.write("dev/mmcblk0p7", "anything")
        (self.tree.root / MANIFEST_OF_7).unlink()
        self.tree.write(LOG, "".join(f"{name}: FAILED\n" for name in USB_SCRIPTS))
        self.tree.write("run/rebooted", "11-Reboot.sh\n")

    def test_failed(self) -> None:
        self.failed()
        self.assertEqual(self.tree.faults(), {})

    def test_failed_and_installed_all_the_same(self) -> None:
        self.failed()
        self.tree.write("mnt/recovery/download/partition_c", "7\n")
        self.tree.write(MANIFEST_OF_7, "core_version=9\n")
        self.tree.record.runs[-2].code = "0"
        self.assertEqual(
            self.tree.faults(),
            {
                "active partition": "7",
                "manifest of 7": "changed",
                "scripts": f"{SWITCH} ended with exit code 0",
                "everything else": "mnt/recovery/download/partition_c changed",
            },
        )

    def test_failed_and_shared_slot_written(self) -> None:
        self.failed()
        self.tree.write("dev/mmcblk0p2", "anything")
        self.assertEqual(
            self.tree.faults(), {"p2 recovery file system": "changed", "everything else": "dev/mmcblk0p2 changed"}
        )

    def test_stick_was_replaced(self) -> None:
        """The first lines of the log went with it."""
        self.failed()
        log = self.tree.root / LOG
        log.write_text("".join(log.read_text().splitlines(True)[4:]))
        self.assertIn("update.log", self.tree.faults())
        (self.tree.top / "stick.instead").mkdir()
        self.assertEqual(self.tree.faults(), {})
        log.write_text("".join(log.read_text().splitlines(True)[1:]))
        self.assertEqual(self.tree.faults(), {"update.log": "no line of 3-USB-UBoot.sh"})

    def test_stick_that_takes_no_log(self) -> None:
        self.tree.update()
        (self.tree.top / "stick/update/update.log").symlink_to("/etc/passwd")
        self.assertIn("update.log", self.tree.faults())
        (self.tree.root / RECOVERY_LOG).parent.mkdir()
        (self.tree.root / LOG).rename(self.tree.root / RECOVERY_LOG)
        self.assertEqual(self.tree.faults(), {})

    def test_stick_with_a_directory_in_place_of_its_log(self) -> None:
        self.tree.update()
        (self.tree.top / "stick/update/update.log").mkdir()
        self.assertIn("update.log", self.tree.faults())

    def test_rebuild_that_is_rejected(self) -> None:
        self.tree.reject()
        self.tree.mode = MODES["blank"]
        names = (*USB_SCRIPTS[:2], "11-DCA-Reboot.sh")
        self.tree.record = Record(
            ["Update Successful, exiting"],
            [ScriptRun(name, 0.0, 1.0, "3" if name == names[1] else "0") for name in names],
        )
        self.tree.write(LOG, "".join(f"{name}: said\n" for name in names))
        self.tree.write("run/rebooted", "11-DCA-Reboot.sh\n")
        self.assertEqual(self.tree.faults(), {})
        (self.tree.root / "dev/mmcblk0p8").unlink()
        self.tree.before = self.tree.holdings()
        self.tree.write("dev/mmcblk0p8", "\0" * 50)
        self.assertEqual(self.tree.faults(), {"everything else": "dev/mmcblk0p8 changed"})

    def test_keys(self) -> None:
        """An instrument that has lost or got a key is told from one that has not, and from one without any."""
        self.tree.reject()
        self.assertEqual(self.tree.verdict()["keys"].now, "none: no signature is verified")
        self.tree.write("etc/update/keys/other.pub", "key")
        self.assertIn("keys", self.tree.faults())


if __name__ == "__main__":
    unittest.main()
