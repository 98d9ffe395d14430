"""The scripts behind the maintenance screens: what each does, and what it refuses to do."""

import os
import unittest

from instrument import USB, Instrument, command
from utility import UtilityScripts

REMOVE_ONE, REMOVE_LISTED = "RemoveSingleFile.sh", "RemoveFilesUsingBackupFileList.sh"
REMOVE_DISPLAY, CHANGE = "RemoveDetectedDisplayFiles.sh", "ChangeToPartition.sh"
LIST = "/etc/update/backup-files.txt"
PARTITION_FILE = "/mnt/recovery/download/partition_c"
KERNELS = {"1": "p4", "7": "p5", "8": "p6"}


class RemoveSingleFile(UtilityScripts):
    def test_removes_the_file_and_nothing_else(self) -> None:
        before = self.board.user_files("1")
        self.assertEqual(
            self.run_script(REMOVE_ONE, "/home/tesk/cfg/teskuihost.conf"),
            (0, "ok, /home/tesk/cfg/teskuihost.conf removed"),
        )
        del before["cfg"]["teskuihost.conf"]
        self.assertEqual(self.board.user_files("1"), before)

    def test_odd_name(self) -> None:
        for name in ("two words", "-f", "a*", "quote'", "Größe"):
            with self.subTest(name):
                other = self.board.path("/mnt/userdata/1/ab")
                file = self.board.path(f"/mnt/userdata/1/{name}")
                file.write_text("x")
                other.write_text("x")
                self.assertEqual(self.run_script(REMOVE_ONE, f"/home/tesk/{name}")[0], 0)
                self.assertFalse(file.exists())
                self.assertTrue(other.exists())

    def test_link_is_removed_and_not_what_it_leads_to(self) -> None:
        self.assertEqual(self.run_script(REMOVE_ONE, "/home/tesk/cfg/recipe")[0], 0)
        self.assertFalse(os.path.lexists(self.board.path("/mnt/userdata/1/cfg/recipe")))
        self.assertTrue(self.board.path("/mnt/userdata/1/data/recipes/night shift.txt").exists())

    def test_removal_is_synced(self) -> None:
        self.assertIn("/etc", self.synced(REMOVE_ONE, "/etc/pointercal"))

    def test_no_such_file(self) -> None:
        self.assertEqual(self.run_script(REMOVE_ONE, "/etc/nothing"), (0, "ok, there was no /etc/nothing"))
        self.assertEqual(self.run_script(REMOVE_ONE, "/etc/no/nothing")[0], 0)

    def test_refusals(self) -> None:
        one = "takes one argument, the file to remove"
        for arguments, reason in (
            ((), one),
            (("/etc/pointercal", "/etc/display-size"), one),
            (("",), " is no full path"),
            (("etc/pointercal",), "etc/pointercal is no full path"),
            (("/home/../etc/pointercal",), "/home/../etc/pointercal is no full path"),
            (("/home/tesk/cfg",), "/home/tesk/cfg is a directory"),
            (("/",), "/ is a directory"),
            (("/home/tesk",), "/home/tesk is a directory"),
        ):
            with self.subTest(arguments):
                self.assert_refused(REMOVE_ONE, *arguments, reason=reason)

    def test_file_that_cannot_be_removed(self) -> None:
        self.assertEqual(
            self.run_script(
                REMOVE_ONE,
                "/etc/pointercal",
                sandbox_options=("--ro-bind", str(self.board.path("/etc/pointercal")), "/etc/pointercal"),
            ),
            (1, "FAILED: /etc/pointercal cannot be removed"),
        )
        self.assertTrue(self.board.path("/etc/pointercal").exists())


class RemoveListedFiles(UtilityScripts):
    def test_removes_the_settings_of_the_active_version(self) -> None:
        before = self.kept()
        self.assertEqual(self.run_script(REMOVE_LISTED), (0, f"ok, the 5 files of {LIST} removed"))
        settings = before["/mnt"]["userdata"]["1"]["cfg"]
        for name in ("teskuihost.conf", "channels.conf", "service.conf", "recipe"):
            del settings[name]
        del before["/etc"]["pointercal"]
        self.assertEqual(self.kept(), before)

    def test_twice(self) -> None:
        self.run_script(REMOVE_LISTED)
        self.assertEqual(self.run_script(REMOVE_LISTED)[0], 0)

    def test_list_without_last_line_end(self) -> None:
        self.board.path(LIST).write_text("# two\n\n/etc/pointercal\n/etc/display-size")
        self.assertEqual(self.run_script(REMOVE_LISTED), (0, f"ok, the 2 files of {LIST} removed"))
        self.assertFalse(self.board.path("/etc/display-size").exists())

    def test_damaged_list_removes_nothing(self) -> None:
        for text, reason in (
            ("/etc/pointercal\npointercal\n", "pointercal is no full path"),
            ("/etc/pointercal\n/home/tesk\n", "/home/tesk is a directory"),
            ("/etc/pointercal\n/mnt\n", "/mnt is a directory"),
            ("# none\n", f"{LIST} names no file"),
            ("", f"{LIST} names no file"),
        ):
            with self.subTest(text):
                self.board.path(LIST).write_text(text)
                self.assert_refused(REMOVE_LISTED, reason=reason)

    def test_no_list(self) -> None:
        self.board.path(LIST).unlink()
        self.assert_refused(REMOVE_LISTED, reason=f"{LIST} is missing")


class RemoveDisplayFiles(UtilityScripts):
    def test_removes_what_was_detected(self) -> None:
        before = self.kept()
        self.assertEqual(self.run_script(REMOVE_DISPLAY), (0, "ok, 2 detected display files removed"))
        before["/mnt"]["userdata"]["1"]["display"] = {}
        self.assertEqual(self.kept(), before)

    def test_nothing_detected(self) -> None:
        self.run_script(REMOVE_DISPLAY)
        self.assertEqual(self.run_script(REMOVE_DISPLAY), (0, "ok, 0 detected display files removed"))


class ChangeToPartition(UtilityScripts):
    def test_switches_and_changes_nothing_else(self) -> None:
        for target in ("7", "8", "1", "1"):
            with self.subTest(target):
                before, old = self.kept(), self.board.active.strip()
                self.assertEqual(self.run_script(CHANGE, target), (0, f"ok, partition {target} is active after {old}"))
                self.assertEqual(self.board.active, f"{target}\n")
                after = self.kept()
                for kept in (before, after):
                    del kept["/mnt"]["recovery"]["download"]["partition_c"]
                self.assertEqual(after, before)

    def test_refuses_what_is_no_version_partition(self) -> None:
        one = "takes one argument, the version partition"
        for arguments, reason in (
            ((), one),
            (("7", "8"), one),
            (("2",), "2 is no version partition"),
            (("",), " is no version partition"),
            (("77",), "77 is no version partition"),
            (("7 ",), "7  is no version partition"),
        ):
            with self.subTest(arguments):
                self.assert_refused(CHANGE, *arguments, reason=reason)

    def test_refuses_an_empty_slot(self) -> None:
        for empty, active in (("1", "7"), ("7", "1"), ("8", "1")):
            with self.subTest(empty):
                self.board = self.instrument("--empty", empty, "--active", active)
                manifest = f"/mnt/recovery/update_files/{empty}manifest.txt"
                reason = f"partition {empty} holds no version ({manifest} is missing), partition {active} stays active"
                self.assert_refused(CHANGE, empty, reason=reason)

    def test_refuses_half_a_version(self) -> None:
        for part in ("/dev/mmcblk0p5", "/dev/mmcblk0p7", "/mnt/userdata/7"):
            with self.subTest(part):
                self.board = self.instrument()
                self.board.path(part).rename(self.board.path(f"{part}-away"))
                self.assert_refused(
                    CHANGE, "7", reason=f"partition 7 holds no version ({part} is missing), " "partition 1 stays active"
                )

    def test_damaged_partition_file_is_mended(self) -> None:
        self.board.path(PARTITION_FILE).write_text("garbage")
        self.assertEqual(self.run_script(CHANGE, "8")[0], 0)
        self.assertEqual(self.board.active, "8\n")

    def test_in_one_step(self) -> None:
        """Whoever has the old file open still reads the old version: it was replaced, not written to."""
        with self.board.path(PARTITION_FILE).open() as old:
            self.run_script(CHANGE, "7")
            self.assertEqual(old.read(), "1\n")

    def test_switch_is_synced(self) -> None:
        new, file_and_name = f"{PARTITION_FILE}.new", f"{PARTITION_FILE} /mnt/recovery/download"
        self.assertEqual(self.synced(CHANGE, "7")[:2], [new, file_and_name])

    def test_full_storage_leaves_the_old_version_active(self) -> None:
        self.board.path(PARTITION_FILE + ".new").mkdir()
        code, result = self.run_script(CHANGE, "7")
        self.assertEqual((code, result), (1, f"FAILED: {PARTITION_FILE} cannot be written"))
        self.assertEqual(self.board.active, "1\n")


class Made(unittest.TestCase):
    """What make-instrument gives the maintenance screens to show."""

    def test_log_list(self) -> None:
        board = Instrument(self)
        entries = [line.split(",") for line in board.path("/mnt/recovery/logFiles.txt").read_text().splitlines()]
        self.assertTrue(all(len(entry) == 3 for entry in entries), entries)
        lengths = {
            name: len(path.read_text().splitlines())
            for file, directory, name in entries
            if (path := board.path(f"{directory}/{file}")).exists()
        }
        self.assertIn("Crash Reports", {entry[2] for entry in entries} - set(lengths))
        self.assertEqual({name for name, length in lengths.items() if length > 100}, {"System Log", "Application Log"})
        for name in ("messages", "application.log"):
            lines = board.path(f"/var/log/{name}").read_text().splitlines()
            self.assertEqual(len(set(lines)), len(lines))

    def test_empty_slot(self) -> None:
        for empty in "78":
            board, full = Instrument(self, "--empty", empty), Instrument(self)
            self.assertEqual(board.slot_sizes(), full.slot_sizes())
            for slot in (f"p{empty}", KERNELS[empty]):
                self.assertEqual(board.path(f"/dev/mmcblk0{slot}").read_bytes().strip(b"\0"), b"")
            self.assertFalse(board.path(f"/mnt/recovery/update_files/{empty}manifest.txt").exists())
            self.assertFalse(board.path(f"/mnt/userdata/{empty}").exists())
            for other in set("178") - {empty}:
                self.assertEqual(board.version(other), full.version(other))

    def test_empty_slot_is_updated(self) -> None:
        board = Instrument(self, "--empty", "7")
        update = board.plug()
        board.run_well(*USB)
        board.assert_installed(update, "7")

    def test_which_slot_can_be_empty(self) -> None:
        for options in (("--empty", "1"), ("--empty", "2"), ("--empty", "17"), ("--empty", "7", "--active", "7")):
            self.assertEqual(command("make-instrument", *options, "/nowhere/instrument").returncode, 2, options)


if __name__ == "__main__":
    unittest.main()
