"""What the tests of the utility scripts share: running one, and all that it must leave alone."""

import subprocess
import unittest
from collections.abc import Sequence

from instrument import SIMULATOR, Fingerprint, Instrument, fingerprint, script_and_result

LOG = "/var/log/maintenance.log"


class UtilityScripts(unittest.TestCase):
    def setUp(self) -> None:
        self.board = self.instrument()

    def instrument(self, *options: str) -> Instrument:
        """One on which something has run already: the sandbox adds what it mounts on."""
        board = Instrument(self, *options)
        subprocess.run([SIMULATOR / "sandbox", board.root, "true"], check=True)
        return board

    def run_killed(self, name: str, *arguments: str) -> None:
        """Runs a script whose commands are cut off at some point."""
        self.start(name, *arguments, sandbox_options=("--setenv", "PATH", "/run/power:/usr/bin:/bin"))

    def start(
        self, name: str, *arguments: str, sandbox_options: Sequence[str] = ()
    ) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [
                SIMULATOR / "sandbox",
                self.board.root,
                *sandbox_options,
                f"/etc/update/utility_scripts/{name}",
                *arguments,
            ],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )

    def run_script(self, name: str, *arguments: str, sandbox_options: Sequence[str] = ()) -> tuple[int, str]:
        """The exit code of a script, and what it says about it in the log."""
        done = self.start(name, *arguments, sandbox_options=sandbox_options)
        script, result = self.logged()[-1]
        self.assertEqual(script, name, done.stderr)
        return done.returncode, result

    def logged(self) -> list[tuple[str, str]]:
        lines = self.board.path(LOG).read_text().splitlines()
        return [script_and_result(line) for line in lines]

    def kept(self) -> dict[str, Fingerprint]:
        """All that must not change by itself: everything that lasts but the logs."""
        tops = ("/dev", "/etc", "/home", "/media", "/mnt")
        return {top: fingerprint(self.board.path(top)) for top in tops}

    def assert_refused(self, name: str, *arguments: str, reason: str) -> None:
        before = self.kept()
        code, result = self.run_script(name, *arguments)
        self.assertEqual((code, result), (1, f"FAILED: {reason}"))
        self.assertEqual(self.kept(), before)

    def synced(self, name: str, *arguments: str) -> list[str]:
        """The paths that a script syncs: what it has done lies on the storage when it ends."""
        tool = self.board.path("/opt/sync")
        tool.write_text('#!/bin/sh\nprintf \'%s\\n\' "$*" >>/run/synced\nexec /usr/bin/sync "$@"\n')
        tool.chmod(0o755)
        self.board.path("/opt/bin").mkdir(exist_ok=True)
        tool.rename(self.board.path("/opt/bin/sync"))
        self.run_script(name, *arguments, sandbox_options=("--setenv", "PATH", "/opt/bin:/usr/bin:/bin"))
        return self.board.path("/run/synced").read_text().splitlines()
