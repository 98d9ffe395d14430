"""The model itself, on the cases that every reader of it knows by heart."""

import re
import unittest

from history import OPTIONS, parse
from model import expect

ALONE = "stick=directory update=directory --rebootusbupdate"
PLUGGED = "stick=directory update=directory"
BLANK = f"{PLUGGED} partition=absent"
VERSIONS = "99-USB-ubootDtbVersionCompatibilityCheck.sh"
FILES = "2-USB-checkupdatefiles.sh"
RECOVERY = "1-AUTUPD-createRecoverySystem.sh"
OVERRIDE = "00-USB-installoverrides.sh"
CHOSEN = "rest1:touch=pbuttonBackupSettings rest2:touch=USBbtn"


def progress(line: str) -> list[int]:
    found = (re.match(r"signal progressChanged (\d+)", told) for told in expect(parse(line)).worker)
    return [int(match[1]) for match in found if match]


class Progress(unittest.TestCase):
    def test_every_mode(self) -> None:
        rows = [
            (ALONE, [0, 5, 10, 30, 35, 45, 50, 60, 70, 80, 90, 95, 100]),
            (f"{PLUGGED} rest1:touch=USBbtn", [0, 5, 10, 30, 35, 45, 50, 60, 70, 80, 90, 95, 100]),
            (f"{PLUGGED} {CHOSEN}", [0, 5, 10, 30, 35, 40, 45, 50, 60, 70, 80, 90, 95, 95, 100]),
            ("--autoupdate", [0, 5, 10, 20, 30, 35, 40, 45, 50, 60, 70, 80, 90, 95, 95, 100]),
            (BLANK, [0, 5, 10, 45, 50, 60, 70, 80, 90, 95, 100]),
            (f"--autoupdate {FILES}:marker=empty", [0, 5, 10, 20, 30, 35, 95, 100]),
            (f"{ALONE} {VERSIONS}:marker=lines", [0, 5, 10, 30]),
            (f"{ALONE} {RECOVERY}:exit=1", [0, 5, 10, 100]),
            (f"--autoupdate {RECOVERY}=missing", [0, 5, 10, 100]),
        ]
        for line, values in rows:
            with self.subTest(line):
                self.assertEqual(progress(line), values)

    def test_last_screen(self) -> None:
        usb_label = "usbLabel"
        rows = [
            ("", usb_label, "No USB storage device found.\nCheck your USB device and \nRETRY."),
            ("", "USBbtn", "RETRY"),
            ("stick=link", usb_label, "'update' directory NOT found on\nUSB storage device"),
            (f"{PLUGGED} override=filled {OVERRIDE}:exit=0", "update_title", "Overrides:\nRebooting"),
            (
                f"{PLUGGED} override=filled {OVERRIDE}:marker=empty",
                usb_label,
                "See 'update/update_override.log' on\nUSB storage device for\nexplanation of failure!",
            ),
            (
                f"--autoupdate {RECOVERY}:signal=9",
                "progressMsg",
                "This will take a few minutes.\nNet Update Failed, rebooting",
            ),
        ]
        for line, name, text in rows:
            with self.subTest(line):
                self.assertEqual(expect(parse(line)).screen[name]["text"], text)

    def test_ends(self) -> None:
        rows = [
            ("partition=absent --autoupdate", "exit 1"),
            ("--autoupdate --rebootusbupdate", "running on"),
            (f"{PLUGGED} override=filled {OVERRIDE}=missing", "running on"),
            (f"{ALONE} 3-USB-UBoot.sh:kill=updater", "killed"),
            ("rest1:touch=USBbtn", "at rest"),
        ]
        for line, end in rows:
            with self.subTest(line):
                self.assertEqual(expect(parse(line)).end, end)


class Line(unittest.TestCase):
    def test_is_what_it_was_parsed_from(self) -> None:
        line = f"--autoupdate --usbupdate stick=link 3-USB-UBoot.sh=missing tick3:stick=absent {RECOVERY}#2:exit=4"
        self.assertEqual(str(parse(line)), line)
        self.assertLess(set(parse(line).options), set(OPTIONS))

    def test_refuses_what_tells_no_history(self) -> None:
        for line in ("stick", "stick=round", "tick1:dance=1", "dance=1", "exit=1", "3-USB-UBoot.sh=lost"):
            with self.subTest(line), self.assertRaises(ValueError):
                parse(line)


if __name__ == "__main__":
    unittest.main()
