"""The shell files of the whole repository: free of what shellcheck finds, and short."""

import pathlib
import re
import subprocess
import unittest

from instrument import REPOSITORY, SCRIPTS

SOURCED = ("instrument.sh", "signature.sh")


def repository_files() -> list[pathlib.Path]:
    listing = subprocess.run(
        ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=REPOSITORY,
        capture_output=True,
        check=True,
    )
    paths = (REPOSITORY / name for name in listing.stdout.decode().split("\0") if name)
    return [path for path in paths if path.is_file()]


def is_shell(path: pathlib.Path) -> bool:
    with path.open("rb") as file:
        first = file.readline()
    return path.suffix == ".sh" or re.match(rb"#!\s*(/usr)?/bin/(env )?(ba|da)?sh\b", first) is not None


class ShellStyle(unittest.TestCase):
    def test_shellcheck(self) -> None:
        files = [path for path in repository_files() if is_shell(path)]
        self.assertGreaterEqual(set(files), {SCRIPTS / "instrument.sh", REPOSITORY / "simulator/sandbox"})
        result = subprocess.run(["shellcheck", *files], cwd=REPOSITORY, capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_scripts_are_short(self) -> None:
        lengths = {path.name: len(path.read_text().splitlines()) for path in SCRIPTS.rglob("*.sh")}
        for name in SOURCED:
            del lengths[name]
        self.assertGreaterEqual(len(lengths), 19)
        self.assertEqual({name: length for name, length in lengths.items() if length >= 60}, {})

    def test_scripts_stop_at_the_first_error(self) -> None:
        for path in SCRIPTS.rglob("*.sh"):
            if path.name not in SOURCED:
                self.assertIn("\nset -eu\n", path.read_text(), path.name)


if __name__ == "__main__":
    unittest.main()
