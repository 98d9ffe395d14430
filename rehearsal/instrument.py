"""The simulated instrument of a rehearsal: made, given its stick or download, its scripts watched."""

import os
import shutil
import subprocess
from pathlib import Path

import modes
import tourscreens

REHEARSAL = Path(__file__).resolve().parent
SIMULATOR = REHEARSAL.parent / "simulator"
PROGRAM = "/opt/teskupdater/teskupdater"
WATCHER = "/opt/rehearsal/watch-script"
JOURNAL, GATE = "run/journal", "run/gate"  # from the watchers, and to them
MAKES_WITHIN = 120  # seconds


class InstrumentError(Exception):
    """The instrument or its stick could not be made; the text says why."""


def run_tool(name: str, *arguments: str | Path) -> None:
    """Runs one of the simulator's commands."""
    command = [str(SIMULATOR / name), *map(str, arguments)]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace",
                              timeout=MAKES_WITHIN, check=False)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise InstrumentError(f"{name}: {error}") from error
    if done.returncode != 0:
        raise InstrumentError(f"{name} failed: {done.stderr.strip() or done.returncode}")


class Instrument:
    """The tree of an instrument; what the instrument calls "/" is `tree`."""

    def __init__(self, tree: Path, blank: bool, scripts: Path | None):
        self.tree = tree
        run_tool("make-instrument", *(["--blank"] if blank else []), *(["--scripts", scripts] if scripts else []), tree)

    def plug(self, source: Path, network: bool) -> None:
        """Gives it the stick, or the download."""
        if network:
            shutil.copy(source, self.tree / "mnt/recovery/download/update.zip")
        else:
            run_tool("plug-stick", self.tree, source)

    def leave_update_log(self) -> None:
        """Gives it the log of an update that was downloaded earlier."""
        log = self.tree / tourscreens.UPDATE_LOG
        log.parent.mkdir()
        log.write_text("".join(f"2023-05-12 09:30:00 {name}: ok\n" for name in modes.NETWORK_SCRIPTS))

    def watch_scripts(self) -> list[str]:
        """Has every script of the update report its start and end; tells which cannot.

        One that is missing or cannot be started stays as it is: the program is to find it so.
        """
        unwatched = []
        scripts, aside = self.tree / "etc/update", self.tree / "opt/scripts"
        shutil.copytree(scripts, aside, symlinks=True)
        for name in (*modes.SCRIPTS, *(f"utility_scripts/{name}" for name in tourscreens.UTILITY_SCRIPTS)):
            if self._can_start(aside / name):
                (scripts / name).unlink()
                (scripts / name).symlink_to(WATCHER)
            else:
                unwatched.append(name.rpartition("/")[2])
        os.makedirs(self.tree / "run", exist_ok=True)
        for pipe in (JOURNAL, GATE):
            os.mkfifo(self.tree / pipe)
        return unwatched

    def command(self, program: Path, options: list[str]) -> list[str]:
        """What starts the program on this instrument."""
        return [str(SIMULATOR / "sandbox"), str(self.tree),
                "--ro-bind", str(program), PROGRAM,
                "--ro-bind", str(REHEARSAL / "watch-script"), WATCHER,
                PROGRAM, *options]

    def _can_start(self, script: Path) -> bool:
        if not script.is_file() or not os.access(script, os.X_OK):
            return False
        with script.open("rb") as file:
            first = file.readline(256)
        if not first.startswith(b"#!"):
            return first.startswith(b"\x7fELF")
        words = first[2:].split()
        return bool(words) and self._has(os.fsdecode(words[0]))

    def _has(self, path: str) -> bool:
        """Whether a program exists on the instrument, whose /usr is this machine's."""
        top = Path(path).parts[1:2]
        if top and top[0] in ("usr", "bin", "lib", "lib64"):
            return os.access(path, os.X_OK)
        return os.access(self.tree / path.lstrip("/"), os.X_OK)
