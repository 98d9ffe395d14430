"""What the tests of the start-up share: an instrument with the start script, the init script and their settings."""

import os
import shutil
import subprocess
import tempfile
import time
import unittest
from collections.abc import Callable
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
SIMULATOR = REPOSITORY / "simulator"
START = REPOSITORY / "packaging/start"
PROGRAM = os.environ.get("TESKUPDATER_PROGRAM", "")
# Where an installation on this instrument puts things; /usr is the machine's own.
PLACES = {
    "@CMAKE_INSTALL_FULL_SYSCONFDIR@": "/etc",
    "@CMAKE_INSTALL_FULL_BINDIR@": "/opt/bin",
    "@TESKUPDATER_LIBDIR@": "/opt/lib/teskupdater",
}
WITHIN = 60.0  # seconds, for anything that is waited for
LOOKS_EVERY = 0.05


def tool(name: str, *arguments: str | Path) -> None:
    subprocess.run([SIMULATOR / name, *arguments], stdin=subprocess.DEVNULL, check=True)


def installed(name: str, target: Path) -> None:
    """Puts a start-up script where an installation would."""
    text = (START / name).read_text()
    for place, path in PLACES.items():
        text = text.replace(place, path)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text(text)
    target.chmod(0o755)


class Startup:
    """An instrument, and a shell on it that runs what it is told."""

    def __init__(self, test: unittest.TestCase, *settings: str) -> None:
        """The settings are shell lines that come after those of the installation."""
        self.test = test
        self.tree = Path(tempfile.mkdtemp(prefix="test-startup-")) / "instrument"
        test.addCleanup(shutil.rmtree, self.tree.parent)
        tool("make-instrument", self.tree)
        installed("teskupdater-start.in", self.tree / "opt/lib/teskupdater/start")
        installed("teskupdater.init.in", self.tree / "etc/init.d/teskupdater")
        (self.tree / "etc/default").mkdir()
        defaults = (START / "teskupdater.default").read_text()
        (self.tree / "etc/default/teskupdater").write_text("\n".join([defaults, *settings, ""]))
        (self.tree / "dev/console").touch()

    def open_shell(self, *options: str) -> None:
        shell = subprocess.Popen(
            [SIMULATOR / "sandbox", self.tree, *map(str, options), "/bin/sh"], stdin=subprocess.PIPE, text=True
        )
        self.test.addCleanup(shell.wait)
        self.test.addCleanup(shell.kill)
        assert shell.stdin
        self.test.addCleanup(shell.stdin.close)
        self._words = shell.stdin
        self.tell("ulimit -c 0")

    def tell(self, line: str) -> None:
        self._words.write(line + "\n")
        self._words.flush()

    @property
    def console(self) -> list[str]:
        return (self.tree / "dev/console").read_text(errors="replace").splitlines()

    def wait_until(self, true: Callable[[], bool], what: str) -> None:
        deadline = time.monotonic() + WITHIN
        while not true():
            if time.monotonic() > deadline:
                self.test.fail(f"{what}: not within {WITHIN:.0f} s; the console:\n" + "\n".join(self.console))
            time.sleep(LOOKS_EVERY)

    def wait_for_line(self, line: str, times: int = 1) -> None:
        self.wait_until(lambda: self.console.count(line) >= times, line)
