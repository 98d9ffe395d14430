"""Tours through the maintenance screens with the real program, and what they find out."""

import hashlib
import unittest

from rehearsals import Rehearsal, Scripts

LOG_PAGES = ["log", "log-page-down", "log-page-down-half", "log-page-up-half", "log-page-up", "log-bottom", "log-top"]
SCREENS = {
    "versions",
    "menu",
    "log-list",
    "log-chosen",
    *LOG_PAGES,
    "reset-local-remote",
    "local-remote-reset-warning",
    "reset-touch",
    "touch-reset-warning",
    "reset-display",
    "display-reset-warning",
    "reset-system",
    "system-reset-warning",
    "export",
    "export-stick-found",
    "exported",
    "change-version",
    "change-version-chosen",
    "change-version-warning",
    "rebooting",
}
SAME = {"log-page-up-half": "log-page-down", "log-page-up": "log", "log-top": "log"}
TOOLS_SCRIPTS = [
    "RemoveSingleFile.sh",
    "RemoveSingleFile.sh",
    "RemoveDetectedDisplayFiles.sh",
    "ExportFiles.sh",
    "ChangeToPartition.sh",
]


class Tours(unittest.TestCase):
    def assert_tour(self, *options: str) -> Rehearsal:
        rehearsal = Rehearsal(self, *options)
        rehearsal.assert_promise_kept()
        return rehearsal

    def test_tools(self) -> None:
        rehearsal = self.assert_tour("--mode", "tools")
        self.assertEqual(rehearsal.scripts, TOOLS_SCRIPTS)
        self.assertLessEqual(SCREENS, set(rehearsal.states))
        self.assertEqual(rehearsal.states.count("rebooting"), 1)
        self.assert_different(rehearsal, SCREENS - set(SAME))

    def assert_different(self, rehearsal: Rehearsal, screens: set[str]) -> None:
        pictures: dict[str, str] = {}
        for file in sorted(rehearsal.folder.glob("*.png")):
            pictures.setdefault(file.stem.partition("-")[2], hashlib.sha256(file.read_bytes()).hexdigest())
        shown = [pictures[screen] for screen in sorted(screens)]
        self.assertEqual(len(set(shown)), len(shown), "each screen is another")

    def test_settings(self) -> None:
        rehearsal = self.assert_tour("--mode", "settings")
        self.assertEqual(rehearsal.scripts, ["RemoveFilesUsingBackupFileList.sh"])
        self.assertEqual(rehearsal.states[-3:], ["reset-system", "system-reset-warning", "rebooting"])
        self.assert_different(rehearsal, set(rehearsal.states))

    def test_screen_1024x600(self) -> None:
        self.assert_tour("--mode", "tools", "--screen", "1024x600")

    def test_screen_1280x800(self) -> None:
        self.assert_tour("--mode", "tools", "--screen", "1280x800")


class Sabotage(unittest.TestCase):
    """Scripts that do not do what they have to."""

    def setUp(self) -> None:
        self.scripts = Scripts(self)

    def rehearse(self, name: str, text: str, mode: str = "tools") -> Rehearsal:
        self.scripts.replace(f"utility_scripts/{name}", text)
        return Rehearsal(self, "--mode", mode, "--scripts", self.scripts.directory)

    def test_export_writes_nothing(self) -> None:
        rehearsal = self.rehearse("ExportFiles.sh", "exit 0\n")
        rehearsal.assert_found_out("export", "nothing has changed")
        rehearsal.assert_found_out("archive", "0 archives")
        self.assertIn("NOT as promised, in 2 of", rehearsal.output)

    def test_change_does_nothing(self) -> None:
        rehearsal = self.rehearse("ChangeToPartition.sh", "exit 0\n")
        rehearsal.assert_found_out("version change", "nothing has changed")
        rehearsal.assert_found_out("active partition", "1")
        rehearsal.assert_found_out("/home/tesk", "/mnt/userdata/1")

    def test_archive_lacks_a_manifest(self) -> None:
        rehearsal = self.rehearse(
            "ExportFiles.sh",
            "cd /; files=mnt/recovery/update_files; tar -czf /media/usb0/x.tgz "
            "var/log $files/1manifest.txt $files/7manifest.txt $files/update/update.log\n",
        )
        rehearsal.assert_found_out("archive", "mnt/recovery/update_files/8manifest.txt is missing")
        self.assertIn("NOT as promised, in 1 of", rehearsal.output)

    def test_change_to_another_version(self) -> None:
        rehearsal = self.rehearse("ChangeToPartition.sh", "echo 8 >/mnt/recovery/download/partition_c\n")
        rehearsal.assert_found_out("active partition", "8")

    def test_reset_removes_too_much(self) -> None:
        self.rehearse("RemoveSingleFile.sh", 'rm -f "$1" /home/tesk/cfg/channels.conf\n').assert_found_out(
            "local/remote reset", "mnt/userdata/1/cfg/channels.conf is gone"
        )

    def test_script_fails(self) -> None:
        self.rehearse("RemoveDetectedDisplayFiles.sh", "rm /home/tesk/display/*\nexit 7\n").assert_found_out(
            "scripts", "RemoveDetectedDisplayFiles.sh ended with exit code 7"
        )

    def test_script_missing(self) -> None:
        (self.scripts.directory / "utility_scripts/RemoveSingleFile.sh").unlink()
        rehearsal = Rehearsal(self, "--mode", "tools", "--scripts", self.scripts.directory)
        rehearsal.assert_found_out("touch reset", "nothing has changed")
        self.assertIn("RemoveSingleFile.sh is missing on the instrument, or cannot be started.", rehearsal.output)

    def test_settings_stay(self) -> None:
        self.rehearse("RemoveFilesUsingBackupFileList.sh", "rm /etc/pointercal\n", "settings").assert_found_out(
            "system reset", "etc/pointercal is gone"
        )


if __name__ == "__main__":
    unittest.main()
