"""The script that exports the diagnostic data: what its archive holds, and when there is none."""

import hashlib
import os
import pathlib
import subprocess
import tarfile
import unittest
from collections.abc import Iterable

from instrument import SIMULATOR, command
from utility import UtilityScripts

EXPORT = "ExportFiles.sh"


class ExportFiles(UtilityScripts):
    def setUp(self) -> None:
        super().setUp()
        self.board.plug()
        update_log = self.board.path("/mnt/recovery/update_files/update/update.log")
        update_log.parent.mkdir()
        update_log.write_text("2023-05-12 09:30:00 0-checkpartitions.sh: ok\n")

    def archives(self) -> list[pathlib.Path]:
        return sorted(self.board.path("/media/usb0").glob("*.tgz*"))

    def exported(self) -> dict[str, str]:
        (archive,) = self.archives()
        with tarfile.open(archive, "r:gz") as tar:
            return {
                member.name: hashlib.sha256(file.read()).hexdigest()
                for member in tar
                if member.isfile() and (file := tar.extractfile(member))
            }

    def on_the_instrument(self, names: Iterable[str]) -> dict[str, str]:
        return {name: hashlib.sha256(self.board.path(f"/{name}").read_bytes()).hexdigest() for name in names}

    def test_holds_logs_manifests_and_update_log(self) -> None:
        names = [f"var/log/{name}" for name in ("messages", "application.log", "network.log", "maintenance.log")]
        names += [f"mnt/recovery/update_files/{version}manifest.txt" for version in "178"]
        names += [
            "mnt/recovery/update_files/update/update.log",
            "mnt/recovery/logFiles.txt",
            "mnt/recovery/download/partition_c",
        ]
        wanted = self.on_the_instrument(names)
        code, result = self.run_script(EXPORT)
        self.assertEqual(code, 0)
        self.assertRegex(result, r"\Aok, diagnostics-\d{8}-\d{6}\.tgz\Z")
        self.assertEqual(self.exported(), wanted)
        self.assertEqual(result, f"ok, {self.archives()[0].name}")

    def test_changes_nothing_else(self) -> None:
        before = self.kept()
        self.run_script(EXPORT)
        self.archives()[0].unlink()
        self.assertEqual(self.kept(), before)

    def test_earlier_exports_stay(self) -> None:
        for count in (1, 2, 3):
            self.assertEqual(self.run_script(EXPORT)[0], 0)
            self.assertEqual(len(self.archives()), count)

    def test_without_update_log_and_one_version(self) -> None:
        self.board.path("/mnt/recovery/update_files/update/update.log").unlink()
        self.board.path("/mnt/recovery/update_files/8manifest.txt").unlink()
        self.assertEqual(self.run_script(EXPORT)[0], 0)
        self.assertIn("mnt/recovery/update_files/7manifest.txt", self.exported())

    def test_unreadable_log(self) -> None:
        self.board.path("/var/log/network.log").chmod(0)
        self.assertEqual(
            self.run_script(EXPORT),
            (1, f"FAILED: not everything can be read, {self.archives()[0].name} holds the rest"),
        )
        self.assertIn("var/log/messages", self.exported())
        self.assertNotIn("var/log/network.log", self.exported())

    def test_links_of_a_stick(self) -> None:
        """Whoever knows the clock knows the name, and can have it lead anywhere."""
        self.board.path("/opt/date").write_text("#!/bin/sh\ncase $1 in *S) echo 20260101-000000 ;; esac\n")
        self.board.path("/opt/date").chmod(0o755)
        stick, name = self.board.path("/media/usb0"), "diagnostics-20260101-000000"
        for link in (f"{name}.tgz", f"{name}-2.tgz.new"):
            (stick / link).symlink_to("/etc/pointercal")
        (stick / f"{name}-3.tgz").symlink_to("/etc/nothing")
        before = self.kept()
        self.start(EXPORT, sandbox_options=("--setenv", "PATH", "/opt:/usr/bin:/bin"))
        (stick / f"{name}-4.tgz").unlink()
        self.assertEqual(self.kept(), before)

    def test_pulled_stick(self) -> None:
        self.assertEqual(command("unplug-stick", self.board.root).returncode, 0)
        self.assert_refused(EXPORT, reason="there is no stick")

    def test_full_stick(self) -> None:
        """Nothing is left that looks like an archive."""
        self.board.path("/var/log/noise").write_bytes(os.urandom(200000))
        look = "/etc/update/utility_scripts/ExportFiles.sh; echo $? >/run/code; ls -A /media/usb0 >/run/left"
        subprocess.run(
            [SIMULATOR / "sandbox", self.board.root, "--size", "65536", "--tmpfs", "/media/usb0", "sh", "-c", look],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            check=True,
        )
        self.assertEqual(self.board.path("/run/code").read_text(), "1\n")
        self.assertEqual(self.board.path("/run/left").read_text(), "")
        self.assertRegex(self.logged()[-1][1], r"\AFAILED: /media/usb0/diagnostics-\S+\.tgz cannot be written\Z")

    def test_read_only_stick(self) -> None:
        stick = str(self.board.path("/media/usb0"))
        code, result = self.run_script(EXPORT, sandbox_options=("--ro-bind", stick, "/media/usb0"))
        self.assertEqual(code, 1, result)
        self.assertEqual(self.archives(), [])

    def test_is_on_the_stick_when_it_has_its_name(self) -> None:
        """With FAT the name alone would be that of an empty file."""
        before, after, *_ = self.synced(EXPORT)
        self.assertRegex(before, r"\A/media/usb0/diagnostics-\S+\.tgz\.new\Z")
        self.assertEqual(after, f"{before.removesuffix('.new')} /media/usb0")


if __name__ == "__main__":
    unittest.main()
