"""docs/integrating.md, followed to the letter: its commands are run in their order, and say what it says."""

import re
import shlex
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from rehearsals import ENDS_WITHIN, REPOSITORY, command, environment

PAGE = REPOSITORY / "docs/integrating.md"


class Page(unittest.TestCase):
    maxDiff = None

    def setUp(self) -> None:
        self.top = Path(tempfile.mkdtemp(prefix="test-integrating-"))
        self.addCleanup(shutil.rmtree, self.top)
        # the same command, but for installing and building
        (self.top / "rehearse").write_text(f'#!/bin/sh\nexec {shlex.join(command())} --folder {self.top}/$$ "$@"\n')
        (self.top / "rehearse").chmod(0o755)

    def test_followed(self) -> None:
        blocks = re.findall(r"^```(\w+)\n(.*?)^```$", PAGE.read_text(), re.MULTILINE | re.DOTALL)
        self.assertEqual([kind for kind, _ in blocks], ["sh"] * 4 + ["text"] + ["sh", "text"] * 2)
        said = ""
        for kind, text in blocks:
            if kind == "text":
                for line in text.splitlines():
                    self.assertIn(line, said)
                continue
            done = subprocess.run(
                ["sh", "-e"],
                input=text,
                cwd=self.top,
                capture_output=True,
                text=True,
                env={**environment(), "TMPDIR": str(self.top)},
                timeout=ENDS_WITHIN,
                check=False,
            )
            said = done.stdout + done.stderr
            self.assertEqual(done.returncode, 0, said)

    def test_what_it_names_is_there(self) -> None:
        for name in re.findall(r"\]\(([^)]+)\)", PAGE.read_text()):
            self.assertTrue((PAGE.parent / name).exists(), name)
        usage = (REPOSITORY / "rehearsal/usage.txt").read_text()
        for option in set(re.findall(r"--[a-z]+", PAGE.read_text())) - {"--help"}:
            self.assertIn(f"\n{option} ", usage)


if __name__ == "__main__":
    unittest.main()
