"""How journal and console become a transcript."""

import tempfile
import unittest
from pathlib import Path

from record import SAID, Record


class Prints(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.record = Record(self.folder)
        for name in ("journal", "console"):
            (self.folder / name).touch()

    def printed(self, text: str) -> None:
        with (self.folder / "console").open("a", encoding="utf-8") as console:
            console.write(text)

    def test_stand_between_what_happened_before_and_after(self) -> None:
        self.printed("one\n")
        self.record.note("gui", "sync")
        self.printed("two\n")
        self.record.note("gui", "tick 1")
        self.printed("three\n")
        self.assertEqual(self.record.transcript().gui, ["print one", "sync", "print two", "tick 1", "print three"])

    def test_belong_to_the_thread_that_prints_such_lines(self) -> None:
        self.record.note("worker", "signal progressChanged\t5\tChecking Filesystem...")
        self.printed("Checking Filesystem...\ncode = 3\nREBOOTING...\n")
        transcript = self.record.transcript()
        self.assertEqual(transcript.gui, ["print Checking Filesystem..."])
        self.assertEqual(
            transcript.worker,
            ["signal progressChanged 5 'Checking Filesystem...'", "print code = 3", "print REBOOTING..."],
        )

    def test_are_the_windows_as_long_as_no_worker_has_begun(self) -> None:
        self.printed("Verifying Files...FAILED\n")
        self.record.note("worker", "pause 1")
        self.assertEqual(self.record.transcript().gui, ["print Verifying Files...FAILED"])

    def test_of_scripts_are_left_out_and_torn_lines_are_not(self) -> None:
        self.printed(f"{SAID}\n-rw-r--r-- 1 1000 1000 0 Nov 21 18:00 /dev/mmcblk0p2\ncut off")
        self.assertEqual(self.record.transcript().gui, ["print <partition>", "print cut off [no line end]"])

    def test_line_breaks_in_arguments_come_through(self) -> None:
        self.record.note("worker", "signal titleChanged\tVersion Checking:\\nFAILED")
        self.assertEqual(self.record.transcript().worker, ["signal titleChanged 'Version Checking:\\nFAILED'"])


if __name__ == "__main__":
    unittest.main()
