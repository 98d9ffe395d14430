"""The simulated instrument: made, given its stick or download, its scripts watched."""

import os
import shutil
import subprocess
from collections.abc import Sequence
from pathlib import Path

from rehearsal.leash import Leash
from rehearsal.sandbox.tree import Tree
from rehearsal.stage import Scene, StageError

HERE = Path(__file__).resolve().parent
SIMULATOR = HERE.parent.parent / "simulator"
PROGRAM = "/opt/teskupdater/teskupdater"
WATCHER = "/opt/rehearsal/watch-script"
JOURNAL, GATE = "run/journal", "run/gate"  # from the watchers, and to them
MAKES_WITHIN = 120  # seconds


class Tools:
    """The simulator's commands, run so that nothing of them outlasts the rehearsal."""

    def __init__(self, temporary: Path, leash: Leash):
        self._temporary, self._leash = temporary, leash

    def run(self, name: str, *arguments: str | Path) -> None:
        command = [str(SIMULATOR / name), *map(str, arguments)]
        try:
            done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace",
                                  env={**os.environ, "TMPDIR": str(self._temporary)}, pass_fds=[self._leash.end],
                                  timeout=MAKES_WITHIN, check=False)
        except (OSError, subprocess.TimeoutExpired) as error:
            raise StageError(f"{name}: {error}") from error
        if done.returncode != 0:
            raise StageError(f"{name} failed: {done.stderr.strip() or done.returncode}")


class Instrument(Tree):
    """The tree of an instrument, made when the object is."""

    def __init__(self, root: Path, scene: Scene, tools: Tools):
        super().__init__(root)
        tools.run("make-instrument", *(["--blank"] if scene.blank else []),
                  *(["--scripts", scene.scripts] if scene.scripts else []), root)
        for path, text in scene.files.items():
            file = root / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
        self.unwatched = self._watch(scene.watched)

    def _watch(self, names: Sequence[str]) -> list[str]:
        """Has scripts report their start and end; tells which cannot.

        One that is missing or cannot be started stays as it is: the program is to find it so.
        """
        unwatched = []
        scripts, aside = self.root / "etc/update", self.root / "opt/scripts"
        shutil.copytree(scripts, aside, symlinks=True)
        for name in names:
            if self._can_start(aside / name):
                (scripts / name).unlink()
                (scripts / name).symlink_to(WATCHER)
            else:
                unwatched.append(name.rpartition("/")[2])
        os.makedirs(self.root / "run", exist_ok=True)
        for pipe in (JOURNAL, GATE):
            os.mkfifo(self.root / pipe)
        return unwatched

    def command(self, program: Path, bwrap_options: Sequence[str], options: Sequence[str]) -> list[str]:
        """What starts the program on this instrument."""
        return [str(SIMULATOR / "sandbox"), str(self.root), *bwrap_options,
                "--ro-bind", str(program), PROGRAM,
                "--ro-bind", str(HERE / "watch-script"), WATCHER,
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
        return os.access(self.root / path.lstrip("/"), os.X_OK)
