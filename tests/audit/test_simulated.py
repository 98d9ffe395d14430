"""With the simulated instruments and sticks nothing is wrong, as far as nothing is meant to be."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
AUDIT = Path(os.environ["TESKUPDATER_AUDIT"])


def run(*command: str | Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120)


class Simulated(unittest.TestCase):
    def setUp(self) -> None:
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = Path(place.name)

    def audit_instrument(self, *options: str) -> subprocess.CompletedProcess[str]:
        """Makes an instrument and looks at it as the program sees it, with this machine's programs."""
        instrument = self.place / "instrument"
        run(TOP / "simulator/make-instrument", *options, instrument).check_returncode()
        return run(TOP / "simulator/sandbox", instrument, "--ro-bind", AUDIT, "/opt/audit", "/opt/audit", "/")

    def audit_stick(self, *options: str) -> subprocess.CompletedProcess[str]:
        stick = self.place / "stick"
        run(TOP / "simulator/make-stick", *options, stick).check_returncode()
        return run(AUDIT, "--stick", stick)

    def test_flashed_instrument_has_no_faults(self) -> None:
        result = self.audit_instrument()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        # nothing has crashed, and no update was downloaded yet: grey entries, which are meant
        self.assertEqual(
            [line.split(" does")[0] for line in result.stdout.splitlines()],
            [
                "note: /mnt/recovery/logFiles.txt:5: /var/log/crash.log",
                "note: /mnt/recovery/logFiles.txt:6: /mnt/recovery/update_files/update/update.log",
                "no faults, 2 notes",
            ],
        )

    def test_other_active_version_and_empty_one_have_no_faults(self) -> None:
        result = self.audit_instrument("--active", "7", "--empty", "8")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(result.stdout.endswith("no faults, 3 notes\n"), result.stdout)

    def test_blank_board_lacks_what_a_first_update_brings(self) -> None:
        result = self.audit_instrument("--blank")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(
            [line.split(":")[0] for line in result.stdout.splitlines()],
            [
                "/mnt/recovery/logFiles.txt",
                "note",
                "note",
                "note",
                "/mnt/recovery/download/partition_c",
                "2 faults, 3 notes",
            ],
        )

    def test_instrument_without_keys_is_said_to_be(self) -> None:
        result = self.audit_instrument("--keyless")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("note: /etc/update/keys: does not exist: no signature is verified: ", result.stdout)
        self.assertTrue(result.stdout.endswith("no faults, 3 notes\n"), result.stdout)

    def test_owners_count_where_root_owns_the_tree(self) -> None:
        """As a plain user nobody can give a file away, so one is borrowed that is somebody else's."""
        instrument, script = self.place / "instrument", "/etc/update/11-Reboot.sh"
        run(TOP / "simulator/make-instrument", instrument).check_returncode()
        options: list[str | Path] = ["--uid", "0", "--ro-bind", AUDIT, "/opt/audit"]
        command = [TOP / "simulator/sandbox", instrument, *options, "/opt/audit", "/"]
        self.assertTrue(run(*command).stdout.endswith("no faults, 2 notes\n"))
        if os.geteuid() == 0:
            os.chown(f"{instrument}{script}", 1234, 1234)
        else:
            command[-2:-2] = ["--ro-bind", "/usr/bin/true", script]
        self.assertIn(f"{script}: belongs to another user than root: ", run(*command).stdout)

    def test_tree_alone_lacks_the_machines_programs(self) -> None:
        instrument = self.place / "instrument"
        run(TOP / "simulator/make-instrument", instrument).check_returncode()
        result = run(AUDIT, instrument)
        self.assertEqual(result.returncode, 1)
        self.assertIn("/etc/update/0-checkpartitions.sh: needs /bin/sh, which does not exist: ", result.stdout)

    def test_sticks_have_no_faults(self) -> None:
        for options in ((), ("--override", "size"), ("--bad", "badsum")):
            with self.subTest(options=options):
                result = self.audit_stick(*options)
                self.assertEqual((result.returncode, result.stdout), (0, "no faults\n"))
                subprocess.run(["rm", "-r", self.place / "stick"], check=True)

    def test_stick_with_empty_overrides(self) -> None:
        result = self.audit_stick("--override", "empty")
        self.assertEqual(result.returncode, 1)
        self.assertTrue(result.stdout.startswith("update/OVERRIDE: is empty: "), result.stdout)


if __name__ == "__main__":
    unittest.main()
