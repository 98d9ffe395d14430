"""A crash of the program during an update: the script at work goes on, and no update begins over it."""

import os
import unittest

from startup import PROGRAM, Startup, tool

PROGRAM_IS_UP = "Current bootloader version = V4.05.00"
UPDATE_BEGINS = "Initializing Update..."
READY = "BOARD Previously Flashed - Partition 2 already exists"
WAITS = "teskupdater-start: waiting for what an earlier start has left running"

# In the place of the script that writes the kernel: halfway it waits to be told to go on.
HALFWAY = """#!/bin/sh
: >/run/at-work
read -r go </run/go-on
/etc/update/kernel.sh
: >/run/kernel-written
"""


class Crash(unittest.TestCase):
    def setUp(self) -> None:
        self.instrument = Startup(
            self,
            "TESKUPDATER_MODE=rebootusbupdate",
            "QT_QPA_PLATFORM=offscreen",
            "unset QT_QPA_GENERIC_PLUGINS FONTCONFIG_FILE",
        )
        tree = self.instrument.tree
        tool("make-stick", tree.parent / "stick")
        tool("plug-stick", tree, tree.parent / "stick")
        update = tree / "etc/update"
        (update / "4-USB-kernel.sh").rename(update / "kernel.sh")
        (update / "4-USB-kernel.sh").write_text(HALFWAY)
        (update / "4-USB-kernel.sh").chmod(0o755)
        os.mkfifo(tree / "run/go-on")
        self.instrument.open_shell("--ro-bind", PROGRAM, "/opt/bin/teskupdater")

    def crash_at_work(self) -> None:
        instrument = self.instrument
        instrument.tell("/etc/init.d/teskupdater start")
        instrument.wait_until((instrument.tree / "run/at-work").exists, "the script at work")
        instrument.tell("kill -SEGV $(cat /run/teskupdater/pid)")
        instrument.wait_for_line(WAITS)

    def test_next_start_waits_for_the_script(self) -> None:
        instrument = self.instrument
        self.crash_at_work()
        # the wait is in the file before the lock is asked for a second time, so nothing may come after it
        self.assertEqual(instrument.console.count(PROGRAM_IS_UP), 1)
        self.assertEqual(instrument.console[-1], WAITS)
        self.assertFalse((instrument.tree / "run/kernel-written").exists())

        instrument.tell("echo go >/run/go-on")
        instrument.wait_for_line(PROGRAM_IS_UP, 2)
        self.assertTrue((instrument.tree / "run/kernel-written").exists())

    def test_no_update_begins_by_itself(self) -> None:
        instrument = self.instrument
        self.crash_at_work()
        instrument.tell("echo go >/run/go-on")
        instrument.wait_for_line(READY)  # only the interactive mode says this
        self.assertEqual(instrument.console.count(UPDATE_BEGINS), 1)
        self.assertIn("teskupdater-start: not the first start: no rebootusbupdate by itself", instrument.console)


if __name__ == "__main__":
    unittest.main()
