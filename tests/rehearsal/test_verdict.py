"""The verdict on trees made by hand: a good one, and each fault that it must find and name."""

import dataclasses
import shutil
import unittest
from collections.abc import Callable

from handmade import LOG, MANIFEST, USB_SCRIPTS, Tree
from rehearsal import verdict
from rehearsal.modes import FAILED, MODES
from rehearsal.record import Record, ScriptRun


class Updated(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.update()

    def assert_only_fault(self, what: str, now: str) -> None:
        self.assertEqual(self.tree.faults(), {what: now})

    def test_kept(self) -> None:
        self.assertEqual(self.tree.faults(), {})

    def test_nothing_done(self) -> None:
        untouched = Tree(self)
        untouched.record = Record()
        faults = untouched.faults()
        for what in (
            "scripts",
            "last word",
            "update.log",
            "reboots",
            "boot0 U-Boot",
            "p7 root file system of 7",
            "active partition",
            "manifest of 7",
            "user files of 7",
            "/home/tesk",
        ):
            self.assertIn(what, faults)

    def test_slots(self) -> None:
        for slot, what, image in (
            ("boot0", "boot0 U-Boot", "u-boot.img"),
            ("boot1", "boot1 U-Boot, second copy", "u-boot.img"),
            ("p3", "p3 recovery kernel", "recovery-kernel.img"),
            ("p2", "p2 recovery file system", "recoveryfs.img"),
            ("p5", "p5 kernel of 7", "kernel.img"),
            ("p7", "p7 root file system of 7", "rootfs.img"),
        ):
            path = f"dev/mmcblk0{slot}"
            good = (self.tree.root / path).read_text()
            old = f"old firmware in {slot}" + "\0" * 50
            # old content, one byte wrong, the payload cut short, gone, and what is no storage
            changes: tuple[tuple[str, Callable[[], object]], ...] = (
                ("as before", lambda: self.tree.write(path, old)),
                (f"differs from {image} at byte 6", lambda: self.tree.write(path, good[:6] + "X" + good[7:])),
                (f"differs from {image} at byte 5", lambda: self.tree.write(path, good[:5])),
                ("missing", (self.tree.root / path).unlink),
            )
            for now, make in changes:
                with self.subTest(slot=slot, now=now):
                    make()
                    self.assert_only_fault(what, now)
            self.tree.write(path, good)

    def test_slot_is_link(self) -> None:
        slot = self.tree.root / "dev/mmcblk0p7"
        slot.rename(slot.with_name("elsewhere"))
        slot.symlink_to("elsewhere")
        self.assert_only_fault("p7 root file system of 7", "no partition any more")

    def test_slots_of_other_versions(self) -> None:
        for slot, what in (
            ("p1", "p1 root file system of 1"),
            ("p4", "p4 kernel of 1"),
            ("p8", "p8 root file system of 8"),
            ("p6", "p6 kernel of 8"),
        ):
            with self.subTest(slot=slot):
                path = self.tree.root / f"dev/mmcblk0{slot}"
                good = path.read_text()
                path.write_text("new rootfs.img")
                self.assert_only_fault(what, "changed")
                path.write_text(good)

    def test_active_partition(self) -> None:
        for text, now in (("8\n", "8"), ("1\n", "1"), ("", "none")):
            with self.subTest(text=text):
                self.tree.write("mnt/recovery/download/partition_c", text)
                self.assertEqual(self.tree.faults()["active partition"], now)

    def test_manifest(self) -> None:
        path = "mnt/recovery/update_files/7manifest.txt"
        good = (self.tree.root / path).read_text()
        date = good.partition("install_date_time=")[2].strip()
        for text, now in (
            (MANIFEST, "9.9 build 77 of 20250101 for V4.05.00, without a date"),
            (good.replace("9.9", "9.8"), "9.8 build 77 of 20250101 for V4.05.00, now"),
            (good.replace("V4.05.00", ""), "9.9 build 77 of 20250101 for , now"),
            (good.replace(date, "20200101 00:00:00"), "9.9 build 77 of 20250101 for V4.05.00, 20200101 00:00:00"),
            (good.replace(date, date[:8]), f"9.9 build 77 of 20250101 for V4.05.00, {date[:8]}"),
            ("", "missing"),
        ):
            with self.subTest(text=text):
                self.tree.write(path, text)
                self.assert_only_fault("manifest of 7", now)

    def test_manifests_of_others(self) -> None:
        self.tree.write("mnt/recovery/update_files/1manifest.txt", "core_version=2\n")
        (self.tree.root / "mnt/recovery/update_files/8manifest.txt").unlink()
        self.assertEqual(self.tree.faults(), {"manifest of 1": "changed", "manifest of 8": "lost"})

    def test_user_files(self) -> None:
        tree = self.tree
        (tree.root / "mnt/userdata/1/notes").unlink()
        tree.write("mnt/userdata/8/notes", "other notes")
        tree.write("mnt/userdata/7/notes", "notes of 7")
        self.assertEqual(
            tree.faults(),
            {
                "user files of 1": "notes is lost",
                "user files of 8": "notes differs",
                "user files of 7": "notes does not belong there",
            },
        )

    def test_numbers_of_versions(self) -> None:
        """Documents and console say 7 where the screen says 2; the verdict says both."""
        lines = {line.what: line.now for line in verdict.judge(self.tree.case())}
        self.assertEqual(lines["active partition"], "7 (2 on the screen)")
        for what in (
            "manifest of 8 (3 on the screen)",
            "user files of 1 (1 on the screen)",
            "p5    kernel of 7 (2 on the screen)",
        ):
            self.assertIn(what, lines)

    def test_larger_than_its_slot(self) -> None:
        """On the instrument the end of such an image is lost."""
        size = self.tree.before.description.partitions["mmcblk0p7"].size
        for more, faults in (
            (0, {}),
            (1, {"p7 root file system of 7": f"rootfs.img does not fit: {size + 1} bytes, {size} in the partition"}),
        ):
            with self.subTest(more=more):
                self.tree.write("../stick/update/rootfs.img", "x" * (size + more))
                self.tree.write("dev/mmcblk0p7", "x" * (size + more))
                self.assertEqual(self.tree.faults(), faults)

    def test_written_beyond_its_slot(self) -> None:
        size = self.tree.before.description.partitions["mmcblk0p7"].size
        self.tree.write("dev/mmcblk0p7", "new rootfs.img" + "\0" * (size - 14))
        self.assertEqual(self.tree.faults(), {})
        self.tree.write("dev/mmcblk0p7", "new rootfs.img" + "\0" * (size - 13))
        self.assert_only_fault("p7 root file system of 7", f"more than its {size} bytes")

    def test_user_file_permissions(self) -> None:
        (self.tree.root / "mnt/userdata/7/cfg/teskuihost.conf").chmod(0o600)
        self.assert_only_fault("user files of 7", "cfg/teskuihost.conf differs")

    def test_kept_user_files(self) -> None:
        tree = self.tree
        tree.mode = dataclasses.replace(tree.mode, keeps_user_files=True)
        self.assertEqual(tree.faults(), {"user files of 7": "notes is lost; cfg/teskuihost.conf differs"})
        shutil.copytree(tree.root / "mnt/userdata/1", tree.root / "mnt/userdata/7", dirs_exist_ok=True)
        self.assertEqual(tree.faults(), {})

    def test_reboots(self) -> None:
        for text, now in (("", "none"), ("one\ntwo\n", "2")):
            with self.subTest(now=now):
                self.tree.write("run/rebooted", text)
                self.assert_only_fault("reboots", now)

    def test_settings(self) -> None:
        self.tree.link_home("1")
        self.tree.write("etc/pointercal", "")
        (self.tree.root / "etc/display-size").unlink()
        self.assertEqual(
            self.tree.faults(),
            {"/home/tesk": "/mnt/userdata/1", "/etc/pointercal": "changed", "/etc/display-size": "lost"},
        )

    def test_log(self) -> None:
        log = self.tree.root / LOG
        log.write_text(log.read_text().replace("11-SetNextPartition.sh", "x11-SetNextPartition.sh"))
        self.assert_only_fault("update.log", "no line of 11-SetNextPartition.sh")

    def test_scripts(self) -> None:
        runs = self.tree.record.runs
        changes: tuple[tuple[Callable[[], list[ScriptRun]], str], ...] = (
            (lambda: runs[:3] + runs[4:], "2-USB-checkupdatefiles.sh did not run"),
            (lambda: runs + [ScriptRun("9-UbootVariables.sh", 0, 1, "0")], "9-UbootVariables.sh was not to run"),
            (lambda: runs[:1] + runs, "0-checkpartitions.sh ran 2 times"),
            (
                lambda: [runs[1], runs[0], *runs[2:]],
                f"the order was {', '.join((USB_SCRIPTS[1], USB_SCRIPTS[0], *USB_SCRIPTS[2:]))}",
            ),
            (
                lambda: [*runs[:5], ScriptRun("4-USB-kernel.sh", 0, 1, "2"), *runs[6:]],
                "4-USB-kernel.sh ended with exit code 2",
            ),
            (
                lambda: [*runs[:5], ScriptRun("4-USB-kernel.sh", 0, 1, "-9"), *runs[6:]],
                "4-USB-kernel.sh was killed by signal 9",
            ),
            (
                lambda: [*runs[:5], ScriptRun("4-USB-kernel.sh", 0, 1, "unstartable"), *runs[6:]],
                "4-USB-kernel.sh cannot be started",
            ),
            (lambda: [*runs[:5], ScriptRun("4-USB-kernel.sh", 0), *runs[6:]], "4-USB-kernel.sh did not end"),
        )
        for change, now in changes:
            with self.subTest(now=now):
                self.tree.record.runs = change()
                self.assert_only_fault("scripts", now)

    def test_broken_off(self) -> None:
        self.tree.record.fault = "nothing happened for 60 s"
        self.assert_only_fault("the run", "nothing happened for 60 s")

    def test_program_died(self) -> None:
        self.tree.record.exit_status = 139
        self.tree.write("run/rebooted", "")
        self.assertEqual(
            self.tree.faults(), {"the run": "the program ended by itself, exit status 139", "reboots": "none"}
        )

    def test_last_word(self) -> None:
        self.tree.record.lines += ["FINISHED"]
        self.assert_only_fault("last word", "FINISHED")


class Rejected(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.reject()

    def test_kept(self) -> None:
        self.assertEqual(self.tree.faults(), {})

    def test_rejected_by_the_version_check(self) -> None:
        self.tree.record.lines[0] = "Version Checking...FAILED"
        del self.tree.record.runs[3]
        self.assertEqual(self.tree.faults(), {})

    def test_accepted(self) -> None:
        self.tree.update()
        faults = self.tree.faults()
        for what in ("reboots", "p7 root file system of 7", "active partition", "manifest of 7", "everything else"):
            self.assertIn(what, faults)

    def test_something_changed(self) -> None:
        self.tree.write("mnt/recovery/backup/userfiles.tgz", "backup")
        self.assertEqual(self.tree.faults(), {"everything else": "mnt/recovery/backup/userfiles.tgz changed"})

    def test_rebooted(self) -> None:
        self.tree.write("run/rebooted", "somebody\n")
        self.assertEqual(self.tree.faults(), {"reboots": "one"})

    def test_no_rejection(self) -> None:
        self.tree.record.lines = ["FINISHED"]
        self.assertEqual(self.tree.faults(), {"last word": "no rejection"})

    def test_no_reason(self) -> None:
        self.tree.write("tmp/verifyFailed", "")
        self.assertEqual(self.tree.faults(), {"reason of the rejection": "none in the marker"})
        self.tree.write("tmp/verifyFailed", "out of paper\n")
        self.assertEqual(self.tree.faults(), {"reason of the rejection": "not in the log: out of paper"})


class Overridden(unittest.TestCase):
    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.override()

    def test_kept(self) -> None:
        self.assertEqual(self.tree.faults(), {})

    def test_not_installed(self) -> None:
        self.tree.write("etc/display-size", "7 inches")
        self.assertEqual(self.tree.faults(), {"/etc/display-size": "as before"})

    def test_exit_code(self) -> None:
        self.tree.record.runs[0].code = "1"
        self.assertEqual(self.tree.faults(), {"scripts": "00-USB-installoverrides.sh ended with exit code 1"})

    def test_updated_as_well(self) -> None:
        self.tree.write("dev/mmcblk0p8", "new rootfs.img")
        self.assertEqual(
            self.tree.faults(), {"p8 root file system of 8": "changed", "everything else": "dev/mmcblk0p8 changed"}
        )


class GivenUp(unittest.TestCase):
    """The update was not what had been checked: the version that was to be written is lost, and nothing else."""

    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.give_up()

    def test_kept(self) -> None:
        self.assertEqual(self.tree.faults(), {})

    def test_version_is_still_offered(self) -> None:
        self.tree.write("mnt/recovery/update_files/7manifest.txt", "core_version=7\n")
        self.assertEqual(self.tree.faults(), {"manifest of 7": "as before"})

    def test_other_partitions(self) -> None:
        for slot in ("boot0", "p2", "p3", "p4", "p1", "p6", "p8"):
            tree = Tree(self)
            tree.give_up()
            tree.write(f"dev/mmcblk0{slot}", "somebody else's")
            self.assertEqual(list(tree.faults().values()), ["changed", f"dev/mmcblk0{slot} changed"])

    def test_installed_all_the_same(self) -> None:
        self.tree.write("mnt/recovery/download/partition_c", "7\n")
        self.assertEqual(self.tree.faults()["active partition"], "7")

    def test_switch_that_claims_to_have_switched(self) -> None:
        self.tree.record.runs[10].code = "0"
        self.assertEqual(self.tree.faults(), {"scripts": "11-SetNextPartition.sh ended with exit code 0"})


class RebuildGivenUp(unittest.TestCase):
    """The partitions of a blank board are made all the same, and empty but for what images pass through."""

    def setUp(self) -> None:
        self.tree = Tree(self)
        for path in ("mnt/recovery/download/partition_c", *(f"dev/mmcblk0p{number}" for number in range(1, 9))):
            (self.tree.root / path).unlink()
        for version in ("1", "7", "8"):
            (self.tree.root / f"mnt/recovery/update_files/{version}manifest.txt").unlink()
        self.tree.before = self.tree.holdings()
        self.tree.mode, self.tree.outcome = MODES["blank"], FAILED
        for number in range(1, 9):
            self.tree.write(f"dev/mmcblk0p{number}", "\0" * 50)
        for slot in ("p1", "p4"):
            self.tree.write(f"dev/mmcblk0{slot}", "somebody else's")
        names = MODES["blank"].scripts
        runs = [ScriptRun(name, 0.0, 1.0, "1" if name.startswith(("3-", "11-Set")) else "0") for name in names]
        self.tree.record = Record(["Update Successful, exiting"], runs)
        self.tree.write("run/rebooted", names[-1])
        self.tree.write(LOG, "".join(f"{name}: FAILED\n" for name in names))

    def test_kept(self) -> None:
        self.assertEqual(self.tree.faults(), {})

    def test_new_partition_that_is_not_empty(self) -> None:
        self.tree.write("dev/mmcblk0p3", "somebody else's")
        self.assertEqual(self.tree.faults(), {"p3 recovery kernel": "not empty"})

    def test_bootloader_written(self) -> None:
        self.tree.write("dev/mmcblk0boot0", "somebody else's")
        self.assertEqual(self.tree.faults()["boot0 U-Boot"], "changed")


if __name__ == "__main__":
    unittest.main()
