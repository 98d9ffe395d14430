"""The two commands at the top of the tree, in a tree of their own in which nothing can be installed or built."""

import contextlib
import os
import pty
import shutil
import subprocess
import tempfile
import unittest
from collections.abc import Iterator
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
COMMANDS = ("check", "rehearse")
# What a command could install or build with: here each only leaves its name.
TOOLS = ("apt-get", "cmake", "ctest", "dpkg-query", "sudo")


class Tree(unittest.TestCase):
    def setUp(self) -> None:
        self.scratch = Path(tempfile.mkdtemp(prefix="test-commands-"))
        self.addCleanup(shutil.rmtree, self.scratch)
        self.top = self.scratch / "tree"
        for name in (*COMMANDS, "packaging/set-up.sh", "packaging/apt-packages.txt", "rehearsal/usage.txt"):
            (self.top / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TOP / name, self.top / name)
        (self.scratch / "tools").mkdir()
        for tool in TOOLS:
            self.write_tool(tool, f'echo "{tool} $*" >>"{self.scratch}/called"\nexit 1\n')
        self.environment = {**os.environ, "PATH": f"{self.scratch}/tools:/usr/bin:/bin"}

    def write_tool(self, name: str, text: str) -> None:
        tool = self.scratch / "tools" / name
        tool.write_text("#!/bin/sh\n" + text)
        tool.chmod(0o755)

    def start(self, *command: str | Path) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            command,
            cwd=self.scratch,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )

    def called(self) -> str:
        file = self.scratch / "called"
        return file.read_text() if file.exists() else ""


class Options(Tree):
    def assert_nothing_begun(self) -> None:
        self.assertEqual(self.called(), "")
        self.assertFalse((self.top / "build").exists())

    def test_help(self) -> None:
        for name in COMMANDS:
            for option in ("-h", "--help"):
                with self.subTest(name=name, option=option):
                    done = self.start(self.top / name, option)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
                    self.assertTrue(done.stdout.startswith(f"usage: ./{name} ["), done.stdout)
                    self.assert_nothing_begun()

    def test_help_through_a_link(self) -> None:
        for name in COMMANDS:
            with self.subTest(name):
                (self.scratch / name).symlink_to(f"tree/{name}")
                self.assertEqual(self.start(self.scratch / name, "--help").returncode, 0)

    def test_mistakes_are_refused_before_anything_is_installed(self) -> None:
        mistakes = (
            ("check", "--preset"),
            ("check", "--preset", ""),
            ("check", "--preset", "fast"),
            ("check", "--preset", "--fast"),
            ("check", "--slow"),
            ("check", "-f"),
            ("check", "fast"),
            ("check", "--fast", ""),
            ("rehearse", "--mod"),
            ("rehearse", "--mode"),
            ("rehearse", "--mode="),
            ("rehearse", "--mode", "usbx"),
            ("rehearse", "--mode=mode"),
            ("rehearse", "--mode", "."),
            ("rehearse", "--touch", "--stick"),
            ("rehearse", "usb"),
            ("rehearse", ""),
            ("rehearse", "--"),
            ("rehearse", "-m"),
            ("rehearse", "--[a-z]*"),
            ("rehearse", "--program", "/bin/true"),
            ("rehearse", "--mode", "usb", "good"),
        )
        for name, *arguments in mistakes:
            with self.subTest(name=name, arguments=arguments):
                done = self.start(self.top / name, *arguments)
                self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
                self.assertIn(f"./{name}", done.stderr)
                self.assert_nothing_begun()

    def test_what_is_no_mistake_begins_with_the_packages(self) -> None:
        right = (
            ("check",),
            ("check", "--fast"),
            ("check", "--preset", "asan"),
            ("check", "--coverage"),
            ("check", "--preset", "dev", "--fast"),
            ("rehearse",),
            ("rehearse", "--mode", "tools", "--touch"),
            ("rehearse", "--mode=blank"),
            ("rehearse", "--stick", "--odd", "--patience", "-3"),
            ("rehearse", "--screen=800x480"),
        )
        for name, *arguments in right:
            with self.subTest(name=name, arguments=arguments):
                (self.scratch / "called").unlink(missing_ok=True)
                self.assertEqual(self.start(self.top / name, *arguments).returncode, 1)
                self.assertTrue(self.called().startswith("dpkg-query "), self.called())

    def test_link_finds_the_packages(self) -> None:
        for name in COMMANDS:
            with self.subTest(name):
                (self.scratch / "called").unlink(missing_ok=True)
                (self.scratch / name).symlink_to(f"tree/{name}")
                self.start(self.scratch / name)
                self.assertIn(" bubblewrap\n", self.called())


def pieces_of(terminal: int) -> Iterator[str]:
    """What was written to a terminal whose other end is closed."""
    with contextlib.suppress(OSError):  # its end
        while piece := os.read(terminal, 4096):
            yield piece.decode()


class Building(Tree):
    def build(self) -> list[str]:
        return ["/bin/sh", "-euc", f'top={self.top}; . "$top/packaging/set-up.sh"; build release; echo built']

    def test_says_so(self) -> None:
        self.write_tool("cmake", "echo '[1/2] one'\n")
        done = self.start(*self.build())
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "Building...\nbuilt\n", ""))

    def test_shows_on_a_terminal_how_far_it_is(self) -> None:
        self.write_tool("cmake", "echo -- Configuring; echo '[1/2] one'; echo '[2/2] two [of two]'\n")
        ours, theirs = pty.openpty()
        subprocess.run(
            self.build(), env=self.environment, stdin=subprocess.DEVNULL, stdout=theirs, stderr=theirs, check=True
        )
        os.close(theirs)
        shown = "".join(pieces_of(ours))
        os.close(ours)
        self.assertEqual(shown.split("\r")[:3], ["Building...", "Building... [1/2]", "Building... [2/2]"])
        self.assertTrue(shown.endswith("Building... [2/2]\r\nbuilt\r\n"), shown)

    def test_failure_is_told(self) -> None:
        for failing in ("-S", "--build"):
            with self.subTest(failing):
                self.write_tool("cmake", f'echo "cmake $1"\n[ "$1" != {failing} ]\n')
                done = self.start(*self.build())
                self.assertEqual((done.returncode, done.stdout), (1, "Building...\n"))
                self.assertIn(f"cmake {failing}\n", done.stderr)
                self.assertIn("the build of 'release' failed\n", done.stderr)


if __name__ == "__main__":
    unittest.main()
