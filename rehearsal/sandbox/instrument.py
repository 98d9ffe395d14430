"""The simulated instrument: made, given its stick or download, its scripts watched."""

import os
import shutil
import subprocess
from collections.abc import Sequence
from pathlib import Path

from rehearsal.description import Description
from rehearsal.leash import Leash
from rehearsal.reader import ours
from rehearsal.sandbox.tree import Tree
from rehearsal.stage import Scene, StageError
from rehearsal.unstartable import interpreter

HERE = Path(__file__).resolve().parent
SIMULATOR = HERE.parent.parent / "simulator"
PROGRAM = "/opt/teskupdater/teskupdater"
WATCHER = "/opt/rehearsal/watch-script"
JOURNAL, GATE = "run/journal", "run/gate"  # from the watchers, and to them
OUTPUT = "run/output"  # what the scripts print, a file each
TRACE = "run/trace"  # its existence has shells print what they do
MAKES_WITHIN = 120  # seconds


class Tools:
    """The simulator's commands, run so that nothing of them outlasts the rehearsal."""

    def __init__(self, temporary: Path, leash: Leash):
        self._temporary, self._leash = temporary, leash

    def run(self, name: str, *arguments: str | Path, images: Path | None = None) -> None:
        """Those that make an update take the images of a directory in place of their own."""
        command = [str(SIMULATOR / name), *map(str, arguments)]
        given = {"GIVEN_IMAGES": str(images)} if images else {}
        try:
            done = subprocess.run(
                command,
                stdin=subprocess.DEVNULL,
                capture_output=True,
                text=True,
                errors="replace",
                env={**os.environ, "TMPDIR": str(self._temporary), **given},
                pass_fds=[self._leash.end],
                timeout=MAKES_WITHIN,
                check=False,
            )
        except (OSError, subprocess.TimeoutExpired) as error:
            raise StageError(f"{name}: {error}") from error
        if done.returncode != 0:
            raise StageError(f"{name} failed: {done.stderr.strip() or done.returncode}")


class Instrument(Tree):
    """The tree of an instrument, made when the object is."""

    def __init__(self, root: Path, scene: Scene, tools: Tools, description: Description | None = None):
        super().__init__(root, description or ours())
        options: list[str | Path] = ["--instrument", self.description.file]
        options += ["--blank"] if scene.blank else []
        options += ["--scripts", scene.scripts] if scene.scripts else []
        tools.run("make-instrument", *options, root)
        for path, text in scene.files.items():
            file = root / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
        (root / "etc/ld.so.cache").touch()  # the sandbox would make it: this machine's is shown there
        self.unwatched = self._watch(scene)

    def _watch(self, scene: Scene) -> list[str]:
        """Has scripts report their start and end; tells which cannot.

        One that is missing or cannot be started stays as it is: the program is to find it so.
        """
        unwatched = []
        scripts, aside = self.root / "etc/update", self.root / "opt/scripts"
        shutil.copytree(scripts, aside, symlinks=True)
        for name in scene.watched:
            if self._can_start(aside / name):
                (scripts / name).unlink()
                (scripts / name).symlink_to(WATCHER)
            else:
                unwatched.append(name.rpartition("/")[2])
        (self.root / OUTPUT).mkdir(parents=True)
        if scene.trace:
            (self.root / TRACE).touch()
        for pipe in (JOURNAL, GATE):
            os.mkfifo(self.root / pipe)
        return unwatched

    def printed(self, name: str) -> str:
        """What a script has printed since it was last asked for."""
        file = self.root / OUTPUT / name
        text = (self.read(f"{OUTPUT}/{name}") or b"").decode(errors="replace")
        file.unlink(missing_ok=True)
        return text

    def restore_scripts(self) -> None:
        """Puts the scripts themselves back where their watchers are, and takes the watchers' things away."""
        scripts, aside = self.root / "etc/update", self.root / "opt/scripts"
        for script in (*aside.glob("*"), *aside.glob("utility_scripts/*")):
            place = scripts / script.relative_to(aside)
            if place.is_symlink() and os.readlink(place) == WATCHER:
                place.unlink()
                shutil.copy2(script, place, follow_symlinks=False)
        for pipe in (JOURNAL, GATE):
            (self.root / pipe).unlink()
        shutil.rmtree(aside)

    def command(self, program: Path, bwrap_options: Sequence[str], options: Sequence[str]) -> list[str]:
        """What starts the program on this instrument."""
        return [
            str(SIMULATOR / "sandbox"),
            str(self.root),
            *bwrap_options,
            "--ro-bind",
            str(program),
            PROGRAM,
            "--ro-bind",
            str(HERE / "watch-script"),
            WATCHER,
            PROGRAM,
            *options,
        ]

    def _can_start(self, script: Path) -> bool:
        if not script.is_file() or not os.access(script, os.X_OK):
            return False
        with script.open("rb") as file:
            first = file.readline(256)
        words = interpreter(first)
        return self._has(words[0]) if words else first.startswith(b"\x7fELF")

    def _has(self, path: str) -> bool:
        """Whether a program exists on the instrument, whose /usr is this machine's."""
        top = Path(path).parts[1:2]
        if top and top[0] in ("usr", "bin", "lib", "lib64"):
            return os.access(path, os.X_OK)
        return os.access(self.root / path.lstrip("/"), os.X_OK)
