"""All Python of the repository has types that fit, nothing that flake8 finds, and black's form."""

import os
import re
import subprocess
import unittest
from collections import defaultdict
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
PYTHON = re.compile(rb"#!\s*(/usr)?/bin/(env )?python3?\b")


def python_files() -> list[Path]:
    """Those that are there to stay: by their name, or by their first line."""
    listing = subprocess.run(
        ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=TOP,
        capture_output=True,
        check=True,
    )
    files = [TOP / name for name in listing.stdout.decode().split("\0") if name]
    return [
        file for file in files if file.is_file() and (file.suffix == ".py" or (not file.suffix and is_script(file)))
    ]


def is_script(file: Path) -> bool:
    with file.open("rb") as opened:
        return PYTHON.match(opened.readline()) is not None


def room(file: Path) -> Path:
    """The directory from which a file's imports start: its own, or the one that holds its package."""
    folder = file.parent
    while (folder / "__init__.py").exists():
        folder = folder.parent
    return folder


class Python(unittest.TestCase):
    def setUp(self) -> None:
        self.files = python_files()
        self.assertGreaterEqual(set(self.files), {Path(__file__), TOP / "rehearsal/sandbox/watch-script"})

    def assert_clean(self, *command: str | Path, **variables: str) -> None:
        environment = {**os.environ, **variables}
        done = subprocess.run(command, cwd=TOP, env=environment, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_black(self) -> None:
        self.assert_clean("black", "--check", "--quiet", "--diff", *self.files)

    def test_flake8(self) -> None:
        self.assert_clean("flake8", *self.files)

    def test_mypy(self) -> None:
        """Each directory by itself, as its modules find each other; each script by itself, too."""
        groups: dict[tuple[Path, Path | None], list[Path]] = defaultdict(list)
        for file in self.files:
            groups[room(file), None if file.suffix else file].append(file)
        cache = os.environ.get("MYPY_CACHE", "/dev/null")
        for (folder, _), files in groups.items():
            with self.subTest(folder=folder.relative_to(TOP)):
                self.assert_clean(
                    "mypy",
                    "--python-executable",
                    "/usr/bin/python3",
                    "--cache-dir",
                    cache,
                    *files,
                    MYPYPATH=f"{TOP}:{folder}",
                )


if __name__ == "__main__":
    unittest.main()
