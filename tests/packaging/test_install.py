"""Where an installation puts what, and that the files it brings name each other's true places."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

BUILD = os.environ.get("TESKUPDATER_BUILD", "")
PLACES = {
    "etc/default/teskupdater": 0o644,
    "etc/init.d/teskupdater": 0o755,
    "usr/bin/teskupdater": 0o755,
    "usr/lib/systemd/system/teskupdater.service": 0o644,
    "usr/lib/teskupdater/start": 0o755,
    "usr/share/man/man1/teskupdater.1": 0o644,
    "usr/share/teskupdater/fonts.conf": 0o644,
}
AUDIT = {"usr/bin/teskupdater-audit": 0o755, "usr/share/man/man1/teskupdater-audit.1": 0o644}


class Install(unittest.TestCase):
    root: Path

    @classmethod
    def setUpClass(cls) -> None:
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.root = Path(scratch.name)
        subprocess.run(
            ["cmake", "--install", BUILD],
            env={**os.environ, "DESTDIR": scratch.name},
            check=True,
            stdout=subprocess.DEVNULL,
        )

    def text(self, path: str) -> str:
        return (self.root / path).read_text()

    def test_files_and_permissions(self) -> None:
        found = {
            str(file.relative_to(self.root)): file.stat().st_mode & 0o777
            for file in self.root.rglob("*")
            if file.is_file()
        }
        self.assertEqual({path: mode for path, mode in found.items() if path not in AUDIT}, PLACES)

    def test_no_place_was_left_open(self) -> None:
        for path in PLACES:
            if path != "usr/bin/teskupdater":
                self.assertNotRegex(self.text(path), r"@\w+@", path)

    def test_files_name_each_other(self) -> None:
        unit = self.text("usr/lib/systemd/system/teskupdater.service")
        self.assertIn("\nExecStart=/usr/lib/teskupdater/start\n", unit)
        self.assertIn("\nstart=/usr/lib/teskupdater/start\n", self.text("etc/init.d/teskupdater"))
        self.assertIn("\nsettings=/etc/default/teskupdater\n", self.text("usr/lib/teskupdater/start"))
        self.assertIn("\nprogram=/usr/bin/teskupdater\n", self.text("usr/lib/teskupdater/start"))
        self.assertIn("FONTCONFIG_FILE=/usr/share/teskupdater/fonts.conf", self.text("etc/default/teskupdater"))

    def test_manual_page_is_clean(self) -> None:
        page = self.root / "usr/share/man/man1/teskupdater.1"
        done = subprocess.run(
            ["man", "--warnings", "--local-file", page],
            capture_output=True,
            text=True,
            check=False,
            env={**os.environ, "MANPAGER": "cat", "LC_ALL": "C.UTF-8"},
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        for option in ("--autoupdate", "--usbupdate", "--rebootusbupdate", "--gobackupdate", "--deadusbrebuild"):
            self.assertIn(option, done.stdout)


if __name__ == "__main__":
    unittest.main()
