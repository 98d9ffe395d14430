"""README.md: its links lead somewhere, its options are the program's, its commands do what it says."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
README = (TOP / "README.md").read_text()
STARTS_WITHIN = "20"  # seconds; for 13 of them it looks for a stick


def block(heading: str) -> list[str]:
    """The commands below a heading."""
    below = README.partition(f"\n## {heading}\n")[2].partition("\n## ")[0]
    return [line.strip() for line in below.splitlines() if line.startswith("    ")]


def copy_of_the_tree(test: unittest.TestCase) -> Path:
    """What a clone would hold, with what is not committed yet."""
    copy = Path(tempfile.mkdtemp(prefix="test-readme-"))
    test.addCleanup(shutil.rmtree, copy)
    listing = subprocess.run(
        ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=TOP,
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    for name in filter(None, listing.split("\0")):
        if (TOP / name).exists():
            (copy / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TOP / name, copy / name)
    return copy


class Words(unittest.TestCase):
    def test_links_lead_somewhere(self) -> None:
        links = re.findall(r"\]\(([^)#]+)", README)
        self.assertGreater(len(links), 10)
        self.assertEqual([link for link in links if "://" not in link and not (TOP / link).exists()], [])

    def test_every_folder_is_there(self) -> None:
        folders = {path.name for path in TOP.iterdir() if path.is_dir() and not path.name.startswith((".", "build"))}
        named = set(re.findall(r"^\| \[(\w+)/\]", README, re.MULTILINE))
        self.assertEqual(named, folders - {"rehearsals"})

    def test_options_are_those_of_the_program(self) -> None:
        environment = {name: value for name, value in os.environ.items() if name != "DISPLAY"}
        shown = subprocess.run(
            [os.environ["TESKUPDATER_PROGRAM"], "--help"], env=environment, capture_output=True, text=True, check=True
        ).stdout
        options = set(re.findall(r"^ .*?(--[a-z]+)(?= )", shown, re.MULTILINE)) - {"--help"}
        table = README.partition("\n| option |")[2].partition("\n\n")[0]
        self.assertGreaterEqual(len(options), 6)
        self.assertEqual(set(re.findall(r"^\| .*?`(--[a-z]+)` \|", table, re.MULTILINE)), options)

    def test_modes_are_those_of_the_rehearsal(self) -> None:
        modes = (TOP / "rehearsal/usage.txt").read_text().partition("\nmode ")[2]
        for mode in re.findall(r"--mode (\w+)", README):
            self.assertRegex(modes, rf"(?m)^{mode}  ")


class Commands(unittest.TestCase):
    def test_the_program_alone(self) -> None:
        copy = copy_of_the_tree(self)
        instrument = copy / "instrument"
        *lines, start = [line.replace("/tmp/instrument", str(instrument)) for line in block("The program alone")]
        self.assertEqual(len(lines), 3)
        script = "\n".join(lines)
        done = subprocess.run(
            ["sh", "-euc", script],
            cwd=copy,
            capture_output=True,
            text=True,
            check=False,
            env={name: value for name, value in os.environ.items() if name != "DISPLAY"},
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("--deadusbrebuild", done.stdout)
        self.assertEqual(sorted(path.name for path in (copy / "build").iterdir()), ["program"])

        # what ends it is what keeps it from waiting for ever: nobody touches it
        started = subprocess.run(
            ["timeout", STARTS_WITHIN, "sh", "-euc", start], cwd=copy, capture_output=True, text=True, check=False
        )
        self.assertEqual(
            started.stdout,
            "\nCurrent bootloader version = V4.05.00\n\n" "FAIL - USB storage device does not exist\n",
            started.stderr,
        )
        self.assertEqual((instrument / "tmp/runningbootloaderversion").read_text(), "V4.05.00")


if __name__ == "__main__":
    unittest.main()
