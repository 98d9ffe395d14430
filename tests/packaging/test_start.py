"""How the start script chooses mode and settings, and what the init script starts, ends and leaves alone."""

import unittest

from startup import Startup

REQUEST = "mnt/recovery/download/update_mode"

# In the place of the program: says how it was started, then does what the test asks for.
FAKE = """#!/bin/sh
echo "started: $* platform=$QT_QPA_PLATFORM touch=$QT_QPA_GENERIC_PLUGINS fonts=$FONTCONFIG_FILE"
[ ! -e /run/crash ] || { rm /run/crash; kill -SEGV $$; }
[ ! -e /run/crash-always ] || kill -SEGV $$
[ ! -e /run/exit ] || exit 0
sleep 1000 9>&- &
wait
"""
AS_INSTALLED = "platform=linuxfb:fb=/dev/fb0 touch=evdevtouch fonts=/usr/share/teskupdater/fonts.conf"


class Start(unittest.TestCase):
    def started(self, *settings: str, request: str | None = None) -> str:
        """What the program was started with."""
        instrument = Startup(self, *settings)
        (instrument.tree / "opt/bin").mkdir()
        (instrument.tree / "opt/bin/teskupdater").write_text(FAKE)
        (instrument.tree / "opt/bin/teskupdater").chmod(0o755)
        if request is not None:
            (instrument.tree / REQUEST).write_text(request)
        instrument.open_shell()
        instrument.tell("/etc/init.d/teskupdater start")
        self.instrument = instrument
        return self.start_number(1)

    def start_number(self, number: int) -> str:
        self.instrument.wait_until(lambda: len(self.starts()) >= number, f"start number {number}")
        return self.starts()[number - 1]

    def wait_for_the_end_of_tries(self) -> None:
        self.instrument.tell("while kill -0 $(cat /run/teskupdater/keeper); do sleep 1; done 2>&-; : >/run/over")
        self.instrument.wait_until((self.instrument.tree / "run/over").exists, "the end of the tries")

    def starts(self) -> list[str]:
        return [line for line in self.instrument.console if line.startswith("started: ")]

    def test_settings_are_the_environment(self) -> None:
        self.assertEqual(self.started(), f"started:  {AS_INSTALLED}")

    def test_every_mode_becomes_an_option(self) -> None:
        for mode in ("usbupdate", "autoupdate", "rebootusbupdate", "gobackupdate", "deadusbrebuild"):
            with self.subTest(mode):
                self.assertEqual(self.started(f"TESKUPDATER_MODE={mode}"), f"started: --{mode} {AS_INSTALLED}")

    def test_unknown_mode_is_none(self) -> None:
        self.assertEqual(self.started("TESKUPDATER_MODE=sideways"), f"started:  {AS_INSTALLED}")
        self.assertIn('teskupdater-start: there is no mode "sideways"', self.instrument.console)

    def test_request_comes_before_the_settings_and_counts_once(self) -> None:
        start = self.started("TESKUPDATER_MODE=gobackupdate", request="autoupdate\n")
        self.assertEqual(start, f"started: --autoupdate {AS_INSTALLED}")
        self.assertFalse((self.instrument.tree / REQUEST).exists())
        self.instrument.tell("/etc/init.d/teskupdater restart")
        self.assertEqual(self.start_number(2), f"started: --gobackupdate {AS_INSTALLED}")

    def test_second_start_begins_no_update(self) -> None:
        self.started("TESKUPDATER_MODE=autoupdate")
        self.instrument.tell("/etc/init.d/teskupdater restart")
        self.assertEqual(self.start_number(2), f"started:  {AS_INSTALLED}")

    def test_crash_is_followed_by_a_start(self) -> None:
        self.started()
        (self.instrument.tree / "run/crash").touch()
        self.instrument.tell("kill -SEGV $(cat /run/teskupdater/pid)")
        self.start_number(3)  # the second one crashes too

    def test_gives_up_in_the_end(self) -> None:
        self.started()
        (self.instrument.tree / "run/crash-always").touch()
        self.instrument.tell("kill -SEGV $(cat /run/teskupdater/pid)")
        self.start_number(5)
        self.wait_for_the_end_of_tries()
        self.assertEqual(len(self.starts()), 5)

    def test_good_end_is_the_end(self) -> None:
        self.started()
        (self.instrument.tree / "run/exit").touch()
        self.instrument.tell("kill -SEGV $(cat /run/teskupdater/pid)")
        self.start_number(2)
        self.wait_for_the_end_of_tries()
        self.assertEqual(len(self.starts()), 2)

    def test_status(self) -> None:
        self.started()
        for command, word in (("true", "is running"), ("/etc/init.d/teskupdater stop", "is not running")):
            self.instrument.tell(f"{command}; /etc/init.d/teskupdater status >>/dev/console")
            self.instrument.wait_for_line(f"teskupdater {word}")


if __name__ == "__main__":
    unittest.main()
