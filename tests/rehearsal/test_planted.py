"""Faults planted in scripts, and other instruments: the verdict's first sentence names the cause and the script."""

import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from rehearsals import OURS, SIMULATOR, Rehearsal, Scripts
from rehearsal.reader import OURS as DESCRIPTION

UPDATE = "/mnt/recovery/update_files/update"


def first_sentence(rehearsal: Rehearsal) -> str:
    return str(re.findall(r"^Verdict: (.*)$", rehearsal.output, re.MULTILINE)[0])


class Planted(unittest.TestCase):
    def setUp(self) -> None:
        self.scripts = Scripts(self)

    def assert_cause(self, sentence: str, *options: str | Path) -> Rehearsal:
        """The download is the quickest: it has every script, and needs no touch."""
        rehearsal = Rehearsal(self, "--mode", "network", "--scripts", self.scripts.directory, *OURS, *options)
        self.assertEqual(rehearsal.status, 1, rehearsal.output)
        self.assertEqual(first_sentence(rehearsal), sentence, rehearsal.output)
        return rehearsal

    def test_recovery_system_fails(self) -> None:
        self.scripts.replace("1-AUTUPD-createRecoverySystem.sh", "echo the disk is full >&2\nexit 4\n")
        rehearsal = self.assert_cause(
            "1-AUTUPD-createRecoverySystem.sh ended with 4: the program took the way to the reboot."
        )
        self.assertIn("      the last of 1 lines that it printed:\n      | the disk is full\n", rehearsal.output)

    def test_check_without_marker(self) -> None:
        self.scripts.replace("2-USB-checkupdatefiles.sh", "exit 1\n")
        self.assert_cause("2-USB-checkupdatefiles.sh ended with 1 but left no /tmp/verifyFailed: the program goes on.")

    def test_windows_line_ends(self) -> None:
        script = self.scripts.directory / "4-USB-kernel.sh"
        script.write_bytes(script.read_bytes().replace(b"\n", b"\r\n"))
        self.assert_cause(
            '4-USB-kernel.sh has Windows line ends, so its interpreter "/bin/sh\\r" is not there: the '
            "program goes on as if it had run."
        )

    def test_not_executable(self) -> None:
        (self.scripts.directory / "6-USB-recoveryfs.sh").chmod(0o644)
        rehearsal = self.assert_cause("6-USB-recoveryfs.sh is not executable: the program goes on as if it had run.")
        found = "\nWhat teskupdater-audit found beforehand:\n  - /etc/update/6-USB-recoveryfs.sh: is not executable: "
        self.assertIn(found, rehearsal.output)

    def test_interpreter_missing(self) -> None:
        (self.scripts.directory / "5-USB-recoverykernel.sh").write_text("#!/opt/tools/sh\n")
        self.assert_cause(
            "5-USB-recoverykernel.sh names the interpreter /opt/tools/sh, which is not there: the program "
            "goes on as if it had run."
        )

    def test_sleeps_for_ever(self) -> None:
        self.scripts.replace("5-USB-recoverykernel.sh", "echo it begins\nexec sleep 1000\n")
        rehearsal = self.assert_cause(
            "5-USB-recoverykernel.sh did not end (nothing happened for 8 s): the program waits "
            "for it without a limit.",
            "--patience",
            "8",
        )
        self.assertIn("      | it begins\n", rehearsal.output)

    def test_wrong_slot(self) -> None:
        self.scripts.replace("4-USB-kernel.sh", f"dd if={UPDATE}/kernel.img of=/dev/mmcblk0p4 conv=notrunc\n")
        self.assert_cause("4-USB-kernel.sh wrote to p4, which is the active version's.")

    def test_removes_user_files(self) -> None:
        self.scripts.before_end("7-USB-rootfs.sh", "rm /home/tesk/cfg/channels.conf")
        self.assert_cause("7-USB-rootfs.sh removed /home/tesk/cfg/channels.conf.")

    def test_image_too_large(self) -> None:
        """A file stands for the partition, and grows; what would be lost on the instrument is told."""
        self.scripts.replace("7-USB-rootfs.sh", f"cat {UPDATE}/rootfs.img {UPDATE}/rootfs.img >/dev/mmcblk0p7\n")
        rehearsal = self.assert_cause("7-USB-rootfs.sh wrote more than 4194304 bytes to p7, which has no more.")
        rehearsal.assert_found_out("p7    root file system of 7", "more than its 4194304 bytes")

    def test_too_large_for_the_check(self) -> None:
        update = Path(tempfile.mkdtemp(prefix="test-planted-"))
        self.addCleanup(shutil.rmtree, update)
        subprocess.run([SIMULATOR / "make-stick", update / "stick"], check=True)
        with (update / "stick/update/recoveryfs.img").open("ab") as image:
            image.truncate(2 * 2**20 + 1)
        subprocess.run([SIMULATOR / "sign-update", update / "stick"], check=True)
        subprocess.run("zip -q ../../update.zip *", shell=True, cwd=update / "stick/update", check=True)
        subprocess.run([SIMULATOR / "sign-update", update / "update.zip"], check=True)
        self.scripts.replace("2-USB-checkupdatefiles.sh", "exit 0\n")
        self.assert_cause(
            "2-USB-checkupdatefiles.sh accepted the update, although recoveryfs.img does not fit: 2097153 "
            "bytes, 2097152 in its partition.",
            "--stick",
            update / "update.zip",
        )

    def test_switch_without_write(self) -> None:
        self.scripts.replace("7-USB-rootfs.sh", ":\n")
        self.scripts.replace("11-SetNextPartition.sh", "echo 7 >/mnt/recovery/download/partition_c\n")
        rehearsal = self.assert_cause("7-USB-rootfs.sh ended with 0, but changed nothing on the instrument.")
        self.assertIn(
            "\nWhat followed:\n  - 11-SetNextPartition.sh made version 7 (2 on the screen) the active one, "
            "although p7 does not hold rootfs.img\n",
            rehearsal.output,
        )


class Undescribed(unittest.TestCase):
    """Scripts without a description of their instrument: the program is judged, what they do is told."""

    def setUp(self) -> None:
        self.scripts = Scripts(self)

    def rehearse(self, *options: str | Path) -> Rehearsal:
        return Rehearsal(self, "--scripts", self.scripts.directory, *options)

    def test_whatever(self) -> None:
        self.scripts.replace("2-USB-checkupdatefiles.sh", "exit 1\n")
        self.scripts.replace("4-USB-kernel.sh", "cp /etc/update/4-USB-kernel.sh /dev/mmcblk0p4; kill -9 $$\n")
        self.scripts.replace("7-USB-rootfs.sh", "rm -r /home/tesk/\n")
        self.scripts.replace("11-SetNextPartition.sh", "echo 8 >/mnt/recovery/download/partition_c\n")
        rehearsal = self.rehearse("--mode", "network")
        rehearsal.assert_promise_kept()
        self.assertEqual(first_sentence(rehearsal), "The program did as it promises whatever the scripts do.")
        for told in (
            "\nOf note:\n  - 2-USB-checkupdatefiles.sh ended with 1 but left no /tmp/verifyFailed: the program "
            "goes on\n",
            "\n  - 4-USB-kernel.sh was killed by signal 9: the program goes on as if it had done its work\n",
            "\n  4-USB-kernel.sh was killed by signal 9\n      wrote to p4, kernel of 1 (1 on the screen)\n",
            "\n      made version 8 (3 on the screen) the active one\n",
        ):
            self.assertIn(told, rehearsal.output)

    def test_hangs(self) -> None:
        self.scripts.replace("5-USB-recoverykernel.sh", "exec sleep 1000\n")
        rehearsal = self.rehearse("--mode", "network", "--patience", "8")
        self.assertEqual(rehearsal.status, 1)
        self.assertEqual(
            first_sentence(rehearsal),
            "5-USB-recoverykernel.sh did not end (nothing happened for 8 s): the "
            "program waits for it without a limit.",
        )

    def test_rejected(self) -> None:
        rehearsal = self.rehearse("--stick", "badsum")
        rehearsal.assert_promise_kept()
        self.assertIn(
            '  - 2-USB-checkupdatefiles.sh left /tmp/verifyFailed ("kernel.img was changed after it was signed '
            '(wrong sum)"): the program '
            "rejects the update\n",
            rehearsal.output,
        )

    def test_asked_for(self) -> None:
        rehearsal = self.rehearse("--mode", "network", "--stick", "badsum", "--expect", "updated")
        rehearsal.assert_found_out("the end", "rejected")
        self.rehearse("--mode", "network", "--stick", "badsum", "--expect", "rejected").assert_promise_kept()

    def test_override_not_startable(self) -> None:
        (self.scripts.directory / "00-USB-installoverrides.sh").chmod(0o644)
        rehearsal = self.rehearse("--mode", "override")
        self.assertEqual(
            first_sentence(rehearsal),
            "00-USB-installoverrides.sh is not executable: the program starts it " "again every second.",
        )
        rehearsal.assert_found_out("the run", "00-USB-installoverrides.sh is started again and again")


class Looking(unittest.TestCase):
    """What a rehearsal leaves for whoever looks for a fault."""

    def setUp(self) -> None:
        self.scripts = Scripts(self)

    def rehearse(self, *options: str | Path) -> Rehearsal:
        rehearsal = Rehearsal(self, "--mode", "network", "--scripts", self.scripts.directory, *OURS, *options)
        rehearsal.assert_promise_kept()
        return rehearsal

    def test_printed(self) -> None:
        self.scripts.before_end("10-USB-PostUpdate.sh", "echo out; echo err >&2")
        rehearsal = self.rehearse()
        printed = {file.name: file.read_text() for file in rehearsal.folder.glob("script-*")}
        self.assertEqual(printed, {"script-12-10-USB-PostUpdate.sh.txt": "out\nerr\n"})

    def test_traced(self) -> None:
        rehearsal = self.rehearse("--trace")
        trace = (rehearsal.folder / "script-07-3-USB-UBoot.sh.txt").read_text()
        self.assertIn("\n+ . /etc/update/instrument.sh\n", f"\n{trace}")

    def test_kept(self) -> None:
        rehearsal = self.rehearse("--keep")
        command = re.findall(r"a shell on it: (.*)$", rehearsal.output, re.MULTILINE)[0]
        done = subprocess.run(
            [*command.split(), "-c", "cat /mnt/recovery/download/partition_c"],
            check=True,
            capture_output=True,
            text=True,
            stdin=subprocess.DEVNULL,
        )
        self.assertEqual(done.stdout, "7\n")
        self.assertEqual(
            (rehearsal.folder / "instrument/etc/update/7-USB-rootfs.sh").read_bytes(),
            (self.scripts.directory / "7-USB-rootfs.sh").read_bytes(),
        )

    def test_tour(self) -> None:
        rehearsal = Rehearsal(self, "--mode", "settings", "--keep")
        rehearsal.assert_promise_kept()
        self.assertTrue((rehearsal.folder / "instrument/home/tesk").is_symlink())
        self.assertIn("      removed /home/tesk/cfg/channels.conf\n", rehearsal.output)


class Instruments(unittest.TestCase):
    """Descriptions that a rehearsal cannot do with, and one of which only a part is told."""

    def setUp(self) -> None:
        self.folder = Path(tempfile.mkdtemp(prefix="test-planted-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def rehearse(self, text: str, *options: str | Path) -> Rehearsal:
        (self.folder / "mine.toml").write_text(text)
        return Rehearsal(self, "--instrument", self.folder / "mine.toml", *options)

    def assert_unusable(self, rehearsal: Rehearsal, message: str) -> None:
        self.assertEqual((rehearsal.status, rehearsal.output), (2, f"rehearse: {self.folder}/mine.toml{message}\n"))

    def without(self, *sections: str) -> str:
        """Our own description but for some sections."""
        text = DESCRIPTION.read_text()
        for section in sections:
            text, count = re.subn(rf"(?ms)^\[{section}\].*?(?=^#|^\[|\Z)", "", text)
            self.assertEqual(count, 1)
        return text

    def test_told(self) -> None:
        """Our instrument, of which nothing but the partitions and the versions is told."""
        rehearsal = self.rehearse(
            self.without("update", "logs", "survives", "maintenance"),
            "--mode",
            "network",
            "--stick",
            self.archive(),
            "--expect",
            "updated",
        )
        rehearsal.assert_promise_kept()
        self.assertIn("ok      p7    root file system of 7", rehearsal.output)
        for left_out in ("update.log  ", "/etc/pointercal", "manifest of"):
            self.assertNotRegex(rehearsal.output, rf"(?m)^  ok +{left_out}")

    def archive(self) -> Path:
        subprocess.run([SIMULATOR / "make-archive", self.folder / "update.zip"], check=True)
        return self.folder / "update.zip"

    def test_not_told(self) -> None:
        self.assert_unusable(
            self.rehearse(self.without("update", "signature"), "--mode", "network", "--stick", self.archive()),
            " does not say how to tell a good update from a bad one, in [update] by sums or a bootloader_key, or in "
            "[signature]: say --expect updated or --expect rejected",
        )

    def test_without_signatures(self) -> None:
        """Nobody has to sign for it, and it is said to believe everybody."""
        rehearsal = self.rehearse(self.without("signature"), "--mode", "network")
        rehearsal.assert_promise_kept()
        self.assertIn("\nThe instrument has no keys: it verifies no signature.\n", rehearsal.output)
        self.assertRegex(rehearsal.output, "(?m)^  ok +keys +none described: no signature is verified")

    def test_no_signature_to_be_bad(self) -> None:
        rehearsal = self.rehearse(self.without("signature"), "--stick", "unsigned")
        self.assertEqual(rehearsal.status, 2)
        self.assertIn("unsigned: the instrument verifies no signature", rehearsal.output)

    def test_mistake(self) -> None:
        self.assert_unusable(
            self.rehearse("[partitions]\nmmcblk0p2 = { size = '2 M' }\n"),
            ':2: partitions.mmcblk0p2.size is "2 M", not a size such as "512K" or "4M"',
        )

    def test_no_images(self) -> None:
        self.assert_unusable(
            self.rehearse("[partitions]\nmmcblk0p2 = { size = '2M' }\n", "--mode", "network"),
            ": without [images] it cannot be seen whether an update is installed",
        )

    def test_tour_without_its_versions(self) -> None:
        text = "[partitions]\nmmcblk0p2 = { size = '2M' }\n[versions]\nring = ['1', '8']\n"
        rehearsal = self.rehearse(text, "--mode", "tools")
        self.assertEqual(
            (rehearsal.status, rehearsal.output),
            (2, "rehearse: the tour tools needs an instrument with the versions 1 and 7\n"),
        )


if __name__ == "__main__":
    unittest.main()
