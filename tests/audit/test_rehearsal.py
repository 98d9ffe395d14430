"""A rehearsal can say beforehand which of the scripts and files it is given cannot do their work."""

import argparse
import os
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP))

from rehearsal.audit import AuditError, faults, lines  # noqa: E402  the path comes first
from rehearsal.reader import read  # noqa: E402
from rehearsal.source import Source  # noqa: E402

AUDIT = Path(os.environ["TESKUPDATER_AUDIT"])


class RehearsalsAudit(unittest.TestCase):
    def setUp(self) -> None:
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = Path(place.name)

    def test_our_own_have_no_faults(self) -> None:
        stick = self.place / "stick"
        (stick / "update").mkdir(parents=True)
        self.assertEqual(faults(AUDIT, self.place, stick=stick), [])

    def test_faults_of_scripts_and_stick_are_told(self) -> None:
        scripts, stick = self.place / "scripts", self.place / "stick"
        shutil.copytree(TOP / "simulator/scripts", scripts)
        (scripts / "7-USB-rootfs.sh").chmod(0o644)
        stick.mkdir()
        first, second = faults(AUDIT, self.place, scripts, stick)
        self.assertTrue(first.startswith('/etc/update/7-USB-rootfs.sh: is not executable: "Update RootFS" at 80 % '))
        self.assertTrue(second.startswith("update: does not exist: "), second)

    def test_scripts_that_are_not_there(self) -> None:
        with self.assertRaises(AuditError):
            faults(AUDIT, self.place, self.place / "nothing")

    def report(self, audit: Path, stick: str, scripts: Path | None = None, description: str = "") -> list[str]:
        """What a rehearsal says beforehand; without a description of its own the instrument is ours."""
        given = self.place / "given.toml" if description else None
        if given:
            given.write_text(description)
        told = read(given or TOP / "simulator/instrument.toml")
        program = audit.parent / "teskupdater"
        arguments = argparse.Namespace(mode="usb", stick=stick, scripts=scripts, instrument=given, program=program)
        return list(lines(arguments, Source(self.place / "stick", told), told, self.place))

    def own_scripts(self) -> Path:
        scripts = self.place / "scripts"
        shutil.copytree(TOP / "simulator/scripts", scripts)
        (scripts / "7-USB-rootfs.sh").chmod(0o644)
        (scripts / "5-USB-recoverykernel.sh").unlink()
        (self.place / "stick/update").mkdir(parents=True)
        return scripts

    def test_report(self) -> None:
        head, *found = self.report(AUDIT, "own", self.own_scripts())
        self.assertEqual(head, "What teskupdater-audit found beforehand:")
        self.assertEqual(
            [line.split(": ")[:2] for line in found],
            [
                ["  - /etc/update/5-USB-recoverykernel.sh", "does not exist"],
                ["  - /etc/update/7-USB-rootfs.sh", "is not executable"],
            ],
        )

    def test_report_misses_no_script_that_is_not_to_be_there(self) -> None:
        scripts = self.own_scripts()
        text = 'scripts = ["7-USB-rootfs.sh"]\n' + (TOP / "simulator/instrument.toml").read_text()
        _, *found = self.report(AUDIT, "own", scripts, text)
        self.assertEqual(len(found), 1, found)
        self.assertIn("7-USB-rootfs.sh", found[0])

    def test_report_of_our_own(self) -> None:
        """What is known to have no faults is not looked at."""
        self.assertEqual(self.report(self.place / "teskupdater-audit", "good"), [])

    def test_report_without_the_audit(self) -> None:
        nowhere = self.place.resolve() / "teskupdater-audit"
        self.assertEqual(self.report(nowhere, "own"), [f"It was not looked at beforehand: there is no {nowhere}."])

    def test_report_of_an_audit_that_fails(self) -> None:
        (self.place / "stick/update").mkdir(parents=True)
        broken = self.place / "teskupdater-audit"
        for text, why in (("echo out of order >&2; exit 2", "out of order"), ("echo nonsense", "Expecting value")):
            broken.write_text(f"#!/bin/sh\n{text}\n")
            broken.chmod(0o755)
            shutil.rmtree(self.place / "audited", ignore_errors=True)
            (line,) = self.report(broken, "own")
            self.assertTrue(line.startswith(f"It could not be looked at beforehand: {why}"), line)


if __name__ == "__main__":
    unittest.main()
