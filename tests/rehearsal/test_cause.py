"""The sentence that a verdict begins with: what went wrong first, and by which script."""

import dataclasses
import unittest
from collections.abc import Callable

from handmade import LOG, Tree
from rehearsal import verdict
from rehearsal.cause import findings
from rehearsal.modes import MODES
from rehearsal.record import ScriptRun


class Cause(unittest.TestCase):
    """Each test plays the scripts one by one on a tree made by hand, as a rehearsal does."""

    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.record.runs = []
        self.acts: dict[str, Callable[[], None]] = {"11-Reboot.sh": self.write("run/rebooted", "11-Reboot.sh\n")}
        self.codes: dict[str, str] = {}
        self.never_end: set[str] = set()
        self.missing: dict[str, str] = {}

    def write(self, path: str, text: str) -> Callable[[], None]:
        """An act: to write a file."""
        return lambda: self.tree.write(path, text)

    def play(self, *names: str) -> list[str]:
        """All scripts, or some, with what `acts` has them do; then the findings."""
        self.run_scripts(*names)
        return self.findings()

    def run_scripts(self, *names: str) -> None:
        tree, goes_on = self.tree, True
        for name in names or MODES["usb"].scripts:
            if name in self.missing or not goes_on:
                continue
            run = ScriptRun(name, 0.0)
            tree.record.runs.append(run)
            if name in self.acts:
                self.acts[name]()
            tree.write(LOG, tree.holdings().text(LOG) + f"{name}: ok\n")
            goes_on = name not in self.never_end
            if goes_on and name != "11-Reboot.sh":
                run.ended, run.code, run.after = 1.0, self.codes.get(name, "0"), tree.holdings()

    def findings(self) -> list[str]:
        case = self.tree.case(unstartable=self.missing)
        return findings(case, verdict.judge(case))

    def image(self, name: str, *slots: str) -> Callable[[], None]:
        """An act: to write an image."""

        def act() -> None:
            for slot in slots:
                self.tree.write(f"dev/mmcblk0{slot}", f"new {name}" + "\0" * 50)

        return act

    def good(self) -> None:
        """Every script does its work."""
        self.acts |= {
            "3-USB-UBoot.sh": self.image("u-boot.img", "boot0", "boot1"),
            "4-USB-kernel.sh": self.image("kernel.img", "p5"),
            "5-USB-recoverykernel.sh": self.image("recovery-kernel.img", "p3"),
            "6-USB-recoveryfs.sh": self.image("recoveryfs.img", "p2"),
            "7-USB-rootfs.sh": self.write_rootfs,
            "11-SetNextPartition.sh": self.write("mnt/recovery/download/partition_c", "7\n"),
            "11-Reboot.sh": self.tree.update,
        }

    def write_rootfs(self) -> None:
        self.image("rootfs.img", "p7")()
        (self.tree.root / "mnt/userdata/7/notes").unlink()
        self.tree.write("mnt/userdata/7/cfg/teskuihost.conf", "no address")


class OfOneScript(Cause):
    def setUp(self) -> None:
        super().setUp()
        self.good()

    def test_nothing(self) -> None:
        self.assertEqual(self.play(), [])

    def test_wrote_to_the_active_version(self) -> None:
        self.acts["4-USB-kernel.sh"] = self.image("kernel.img", "p4")
        self.assertEqual(self.play()[0], "4-USB-kernel.sh wrote to p4, which is the active version's")

    def test_wrote_to_another_version(self) -> None:
        self.acts["4-USB-kernel.sh"] = self.image("kernel.img", "p6")
        self.assertEqual(
            self.play()[0],
            "4-USB-kernel.sh wrote to p6, which is of version 8 (3 on the screen), not of " "the one to update",
        )

    def test_wrote_where_no_image_goes(self) -> None:
        told = self.tree.before.description
        images = {name: slots for name, slots in told.images.items() if name != "recovery-kernel.img"}
        self.tree.before.description = dataclasses.replace(told, images=images)
        self.assertEqual(self.play()[0], "5-USB-recoverykernel.sh wrote to p3, to which no file of an update goes")

    def test_removed_a_slot(self) -> None:
        self.acts["10-USB-PostUpdate.sh"] = (self.tree.root / "dev/mmcblk0p8").unlink
        self.assertEqual(self.play()[0], "10-USB-PostUpdate.sh removed /dev/mmcblk0p8")

    def test_wrote_beyond_a_slot(self) -> None:
        size = self.tree.before.description.partitions["mmcblk0p3"].size
        self.acts["5-USB-recoverykernel.sh"] = self.write("dev/mmcblk0p3", "x" * (size + 1))
        self.assertEqual(
            self.play_without_update()[0],
            f"5-USB-recoverykernel.sh wrote more than {size} bytes to p3, which has no more",
        )

    def test_wrote_to_the_end_of_a_slot(self) -> None:
        size = self.tree.before.description.partitions["mmcblk0p3"].size
        image = "new recovery-kernel.img"
        self.acts["5-USB-recoverykernel.sh"] = self.write("dev/mmcblk0p3", image.ljust(size, "x"))
        self.assertEqual(self.play_without_update(), [])

    def play_without_update(self) -> list[str]:
        """`update` at the end would write over what is looked at."""
        self.acts["11-Reboot.sh"] = self.write("run/rebooted", "11-Reboot.sh\n")
        return [finding for finding in self.play() if "p3" in finding]

    def test_removed_a_user_file(self) -> None:
        self.acts["10-USB-PostUpdate.sh"] = (self.tree.root / "mnt/userdata/1/cfg/teskuihost.conf").unlink
        self.assertEqual(self.play()[0], "10-USB-PostUpdate.sh removed /home/tesk/cfg/teskuihost.conf")

    def test_changed_files_of_another_version(self) -> None:
        def act() -> None:
            for name in ("notes", "cfg/teskuihost.conf"):
                self.tree.write(f"mnt/userdata/8/{name}", "x")

        self.acts["10-USB-PostUpdate.sh"] = act
        self.assertEqual(self.play()[0], "10-USB-PostUpdate.sh changed /mnt/userdata/8/cfg/teskuihost.conf and 1 more")

    def test_changed_what_has_to_survive(self) -> None:
        self.acts["10-USB-PostUpdate.sh"] = self.write("etc/pointercal", "")
        self.assertEqual(self.play()[0], "10-USB-PostUpdate.sh changed /etc/pointercal")

    def test_lost_the_active_version(self) -> None:
        self.acts["10-USB-PostUpdate.sh"] = self.write("mnt/recovery/download/partition_c", "")
        self.assertEqual(
            self.play()[0], "10-USB-PostUpdate.sh left /mnt/recovery/download/partition_c naming no version"
        )

    def test_switched_to_another_version(self) -> None:
        self.acts["11-SetNextPartition.sh"] = self.write("mnt/recovery/download/partition_c", "8\n")
        self.assertEqual(
            self.play()[0],
            "11-SetNextPartition.sh made version 8 (3 on the screen) the active one, not 7 " "(2 on the screen)",
        )

    def test_exit_code(self) -> None:
        self.codes["10-USB-PostUpdate.sh"] = "7"
        self.assertEqual(
            self.play(), ["10-USB-PostUpdate.sh ended with 7: the program goes on as if it had done its work"]
        )

    def test_killed(self) -> None:
        self.codes["10-USB-PostUpdate.sh"] = "-9"
        self.assertEqual(
            self.play(),
            ["10-USB-PostUpdate.sh was killed by signal 9: the program goes on as if it had done " "its work"],
        )

    def test_recovery_script(self) -> None:
        self.codes["1-AUTUPD-createRecoverySystem.sh"] = "4"
        found = self.play("0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh", "11-Reboot.sh")
        self.assertEqual(
            found[0], "1-AUTUPD-createRecoverySystem.sh ended with 4: the program took the way to the reboot"
        )

    def test_check_without_marker(self) -> None:
        self.codes["2-USB-checkupdatefiles.sh"] = "1"
        self.assertEqual(
            self.play(),
            ["2-USB-checkupdatefiles.sh ended with 1 but left no /tmp/verifyFailed: the program " "goes on"],
        )

    def test_check_that_rejects(self) -> None:
        self.acts["2-USB-checkupdatefiles.sh"] = self.write("tmp/verifyFailed", "one\ntwo\n")
        found = self.play(*MODES["usb"].scripts[:4])
        self.assertEqual(
            found[0], '2-USB-checkupdatefiles.sh left /tmp/verifyFailed ("two"): the program rejects the ' "update"
        )

    def test_marker_of_another_script(self) -> None:
        self.acts["0-checkpartitions.sh"] = self.write("tmp/verifyFailed", "")
        found = self.play(*MODES["usb"].scripts[:3])
        self.assertEqual(
            found[0], "0-checkpartitions.sh left /tmp/verifyFailed, empty: the next check rejects the update"
        )

    def test_hangs(self) -> None:
        self.never_end.add("5-USB-recoverykernel.sh")
        self.tree.record.fault = "nothing happened for 60 s, 5-USB-recoverykernel.sh was running"
        self.assertEqual(
            self.play()[0],
            "5-USB-recoverykernel.sh did not end (nothing happened for 60 s): the program waits "
            "for it without a limit",
        )

    def test_restarts_in_the_middle(self) -> None:
        self.never_end.add("6-USB-recoveryfs.sh")
        self.acts["6-USB-recoveryfs.sh"] = self.write("run/rebooted", "somebody\n")
        self.assertEqual(self.play()[0], "6-USB-recoveryfs.sh restarted the instrument in the middle of the update")

    def test_does_not_restart(self) -> None:
        self.play(*MODES["usb"].scripts[:-1])
        self.tree.record.runs.append(ScriptRun("11-Reboot.sh", 1.0, 2.0, "0", self.tree.holdings()))
        self.assertIn(
            "11-Reboot.sh ended with 0 and did not restart the instrument: the program stays, with its last screen",
            self.findings(),
        )

    def test_writes_nothing(self) -> None:
        del self.acts["4-USB-kernel.sh"]
        self.acts["11-Reboot.sh"] = self.write("run/rebooted", "11-Reboot.sh\n")
        found = self.play()
        self.assertEqual(
            found[:2],
            [
                "4-USB-kernel.sh ended with 0, but changed nothing on the instrument",
                "11-SetNextPartition.sh made version 7 (2 on the screen) the active one, "
                "although p5 does not hold kernel.img",
            ],
        )

    def test_writes_what_is_there_already(self) -> None:
        """An update that is repeated changes nothing in slots that hold it."""
        for act in ("3-USB-UBoot.sh", "4-USB-kernel.sh"):
            self.acts[act]()
        self.tree.before = self.tree.holdings()
        self.assertEqual(self.play(), [])

    def test_cannot_be_started(self) -> None:
        self.tree.record.lines.insert(0, "Update RecoveryFS")
        del self.acts["6-USB-recoveryfs.sh"]
        del self.acts["11-SetNextPartition.sh"]
        self.codes["11-SetNextPartition.sh"] = "1"
        self.missing["6-USB-recoveryfs.sh"] = "is not executable"
        self.assertEqual(
            self.play()[:2],
            [
                "6-USB-recoveryfs.sh is not executable: the program goes on as if it had run",
                "11-SetNextPartition.sh ended with 1: the program goes on as if it had done its work",
            ],
        )

    def test_reboot_script_cannot_be_started(self) -> None:
        self.missing["11-Reboot.sh"] = "is missing"
        self.assertIn("11-Reboot.sh is missing: the program stays, with its last screen", self.play())

    def test_broken_off(self) -> None:
        self.tree.record.fault = 'touching "USB" has no effect'
        self.assertEqual(self.play(), ['The rehearsal was broken off: touching "USB" has no effect'])

    def test_program_stands_still(self) -> None:
        self.tree.record.fault = "nothing happened for 60 s, no script was running"
        self.assertEqual(self.play(), [f"The program stood still: {self.tree.record.fault}"])

    def test_not_reached(self) -> None:
        """A script that the program does not come to is no cause, whatever is wrong with it."""
        self.missing["6-USB-recoveryfs.sh"] = "is missing"
        self.codes["1-AUTUPD-createRecoverySystem.sh"] = "4"
        found = self.play("0-checkpartitions.sh", "1-AUTUPD-createRecoverySystem.sh", "11-Reboot.sh")
        self.assertFalse([finding for finding in found if finding.startswith("6-")])

    def test_last_that_touched_it(self) -> None:
        """What no rule knows is still told with the script that did it."""
        self.acts["11-SetNextPartition.sh"] = self.write("mnt/userdata/7/left", "over")

        def reboot() -> None:
            self.tree.update()
            self.tree.write("mnt/userdata/7/left", "over")

        self.acts["11-Reboot.sh"] = reboot
        found = self.play()
        self.assertEqual(
            found,
            [
                "11-SetNextPartition.sh left it so: user files of 7 (2 on the screen): left does not belong "
                "there, promised: those of the factory"
            ],
        )

    def test_nobody_did_it(self) -> None:
        self.play()
        self.tree.record.lines = ["something else"]
        self.assertEqual(self.findings(), ["last word: none, promised: Update Successful, rebooting"])

    def test_program_ended(self) -> None:
        del self.acts["11-Reboot.sh"]
        self.tree.record.exit_status = -11
        self.assertEqual(self.play(*MODES["usb"].scripts[:5])[-1], "The program ended by itself, exit status -11")


class OfTours(Cause):
    def test_utility_scripts(self) -> None:
        self.tree.mode, self.tree.outcome = MODES["tools"], "toured"
        self.missing["ExportFiles.sh"] = "is not executable"
        self.codes["RemoveDetectedDisplayFiles.sh"] = "7"
        self.run_scripts("RemoveSingleFile.sh", "RemoveDetectedDisplayFiles.sh", "ChangeToPartition.sh")
        found = findings(self.tree.case(unstartable=self.missing), [])
        self.assertEqual(
            found,
            [
                "ExportFiles.sh is not executable: the program goes on as if it had done its work",
                "RemoveDetectedDisplayFiles.sh ended with 7: the program goes on as if it had done its work",
            ],
        )


class OfRejections(Cause):
    def setUp(self) -> None:
        super().setUp()
        self.tree.outcome = "rejected"

    def test_accepted(self) -> None:
        self.assertEqual(
            self.play(*MODES["usb"].scripts[:4])[0],
            "2-USB-checkupdatefiles.sh accepted the update, although manifest.txt has not the sum listed for it",
        )

    def test_wrote_all_the_same(self) -> None:
        self.acts["3-USB-UBoot.sh"] = self.image("u-boot.img", "boot0")
        self.codes["2-USB-checkupdatefiles.sh"] = "3"
        self.assertEqual(
            self.play(*MODES["usb"].scripts[:5])[:2],
            [
                "2-USB-checkupdatefiles.sh ended with 3 but left no /tmp/verifyFailed: the program goes on",
                "3-USB-UBoot.sh wrote to boot0, although the update has to be rejected",
            ],
        )

    def test_rejected(self) -> None:
        self.acts["2-USB-checkupdatefiles.sh"] = self.tree.reject
        self.codes["2-USB-checkupdatefiles.sh"] = "3"
        runs = self.tree.record.runs
        self.play(*MODES["usb"].scripts[:4])
        self.tree.record.runs = runs
        self.assertEqual(self.findings(), [])


class OfUpdatesGivenUp(Cause):
    """The stick was another one after the check: only partitions of the version to be written may change."""

    def setUp(self) -> None:
        super().setUp()
        self.tree.outcome = "failed"
        self.codes = dict.fromkeys(MODES["usb"].scripts[4:9], "1") | {"11-SetNextPartition.sh": "1"}

    def test_given_up(self) -> None:
        self.acts["4-USB-kernel.sh"] = self.image("rootfs.img", "p5", "p7")
        self.play()
        self.assertEqual(self.of_scripts(), [])

    def of_scripts(self) -> list[str]:
        return [finding for finding in self.findings() if finding[0].isdigit() and "left it so" not in finding]

    def test_wrote_to_another_partition(self) -> None:
        self.acts["4-USB-kernel.sh"] = self.image("kernel.img", "p3")
        self.assertEqual(self.play()[0], "4-USB-kernel.sh wrote to p3, although the update has to be given up")

    def test_made_it_the_active_version(self) -> None:
        self.acts["11-SetNextPartition.sh"] = self.write("mnt/recovery/download/partition_c", "7\n")
        self.assertEqual(
            self.play()[0],
            "11-SetNextPartition.sh made version 7 (2 on the screen) the active one, although the update has to be "
            "given up",
        )

    def test_manifest_of_the_version_is_lost(self) -> None:
        manifest = self.tree.root / "mnt/recovery/update_files/7manifest.txt"
        self.acts["3-USB-UBoot.sh"] = manifest.unlink
        self.play()
        self.assertEqual(self.of_scripts(), [])

    def test_user_files_of_the_version_are_lost(self) -> None:
        self.acts["7-USB-rootfs.sh"] = (self.tree.root / "mnt/userdata/7/notes").unlink
        self.assertEqual(self.play()[0], "7-USB-rootfs.sh removed /mnt/userdata/7/notes")

    def test_manifest_of_another_version_is_lost(self) -> None:
        manifest = self.tree.root / "mnt/recovery/update_files/8manifest.txt"
        self.acts["3-USB-UBoot.sh"] = manifest.unlink
        self.assertEqual(self.play()[0], "3-USB-UBoot.sh removed /mnt/recovery/update_files/8manifest.txt")

    def test_partitions_of_a_blank_board_are_made(self) -> None:
        self.tree.mode = MODES["blank"]
        for number in range(1, 9):
            (self.tree.root / f"dev/mmcblk0p{number}").unlink()
        (self.tree.root / "mnt/recovery/download/partition_c").unlink()
        self.tree.before = self.tree.holdings()

        def make() -> None:
            for number in range(1, 9):
                self.tree.write(f"dev/mmcblk0p{number}", "\0" * 50)

        self.acts["3-USB-UBoot.sh"] = make
        self.acts["5-USB-recoverykernel.sh"] = self.image("kernel.img", "p3")
        self.play(*MODES["blank"].scripts)
        self.assertEqual(
            self.of_scripts()[0], "5-USB-recoverykernel.sh wrote to p3, although the update has to be given up"
        )


if __name__ == "__main__":
    unittest.main()
