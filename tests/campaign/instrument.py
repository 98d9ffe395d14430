"""The instrument of a history: a tree in which every thing can be given every shape, also while the program runs."""

import os
import shutil
import subprocess
from pathlib import Path

from history import THINGS
from sequences import SCRIPTS

TOP = Path(__file__).resolve().parents[2]
SANDBOX = TOP / "simulator/sandbox"
OLD_VERSION = "V4.03.00"
TEMPORARY = {"marker": "verifyFailed", "overridemarker": "overrideFailed", "version": "runningbootloaderversion"}
NODES = ("zero", "full", "random", "urandom", "tty")  # devices that stay when the null device goes
PROGRAM, PROBE, ACTOR = "/opt/teskupdater", "/opt/libcampaignprobe.so", "/opt/campaignactor"


def remove(path: Path) -> None:
    if path.is_dir() and not path.is_symlink():
        os.chmod(path, 0o700)
        shutil.rmtree(path)
    elif path.exists() or path.is_symlink():
        path.unlink()


def write(path: Path, content: str | bytes = "", mode: int = 0o644) -> None:
    path.write_bytes(content.encode() if isinstance(content, str) else content)
    path.chmod(mode)


class Instrument:
    """One tree, used for one history after the other."""

    def __init__(self, tree: Path):
        self.tree = tree
        subprocess.run([TOP / "simulator/make-instrument", "--bare", tree], check=True)
        write(tree / "mnt/recovery/download/partition_c", "1\n")
        for folder in ("run/campaign", "media/elsewhere", "devices/shm", "sys/devices/sda"):
            (tree / folder).mkdir(parents=True)
        for stream in ("stdin", "stdout", "stderr", "fd"):
            (tree / "devices" / stream).symlink_to(os.readlink(tree / "dev" / stream))
        for program in (PROGRAM, PROBE, ACTOR):
            write(self.inside(program))

    def inside(self, path: str) -> Path:
        return self.tree / path.lstrip("/")

    def reset(self, start: dict[str, str]) -> None:
        """Makes everything as it is at the start of a history."""
        self._override = start.get("override", "absent")
        for name in ("journal", "console"):
            write(self.tree / "run/campaign" / name)
        for thing, shapes in THINGS.items():
            if thing not in ("null", "console"):  # which are chosen with the start of the program
                self.give(thing, start.get(thing, shapes[0]))
        for script in SCRIPTS:
            self.give(script, start.get(script, "runs"))

    def give(self, thing: str, shape: str) -> None:
        """Gives a thing a shape."""
        if thing.endswith(".sh"):
            self._give_script(self.tree / "etc/update" / thing, shape)
        elif thing == "partition":
            for folder in ("dev", "devices"):
                self._give_file(self.tree / folder / "mmcblk0p2", {"there": "empty"}.get(shape, shape))
        elif thing == "stick":
            self._give_directory(self.tree / "sys/class/block/sda", "../../devices/sda", shape)
        elif thing == "update":
            self._give_directory(self.tree / "media/usb0/update", "../elsewhere", shape)
            self.give("override", self._override)
        elif thing == "override":
            self._override = shape
            self._give_override(shape)
        else:
            self._give_file(self.tree / "tmp" / TEMPORARY[thing], shape)

    def version(self) -> str:
        path = self.tree / "tmp/runningbootloaderversion"
        if path.is_symlink() or not path.exists():
            return "nothing"
        return "a directory" if path.is_dir() else path.read_text()

    def command(self, build: Path, program: Path, options: tuple[str, ...], null: bool, true_speed: bool) -> list[str]:
        """What starts the program on this instrument."""
        command = [str(SANDBOX), str(self.tree)]
        if not null:
            command += ["--bind", str(self.tree / "devices"), "/dev", "--tmpfs", "/dev/shm"]
            for node in NODES:
                command += ["--dev-bind", f"/dev/{node}", f"/dev/{node}"]
        for source, place in (
            (program, PROGRAM),
            (build / "tests/campaign/libcampaignprobe.so", PROBE),
            (build / "tests/campaign/campaignactor", ACTOR),
        ):
            command += ["--ro-bind", str(source), place]
        if true_speed:
            command += ["--setenv", "CAMPAIGN_TRUE_SPEED", "1"]
        return [*command, "--setenv", "LD_PRELOAD", PROBE, PROGRAM, *options]

    def _give_directory(self, path: Path, target: str, shape: str) -> None:
        remove(path)
        if shape == "directory":
            path.mkdir()
        elif shape == "link":
            path.symlink_to(target)
        elif shape == "file":
            write(path)

    def _give_file(self, path: Path, shape: str) -> None:
        remove(path)
        if shape in ("dangling", "full"):
            path.symlink_to({"dangling": "nowhere", "full": "/dev/full"}[shape])
        elif shape == "directory":
            path.mkdir()
        elif shape != "absent":
            contents = {
                "lines": "first\nsecond\nthird\n",
                "large": "line\n" * 200000,
                "old": OLD_VERSION,
                "unwritable": OLD_VERSION,
            }
            modes = {"unreadable": 0o000, "unwritable": 0o444}
            write(path, contents.get(shape, ""), modes.get(shape, 0o644))

    def _give_override(self, shape: str) -> None:
        update = self.tree / "media/usb0/update"
        if not update.is_dir():
            return
        path = update / "OVERRIDE"
        remove(path)
        if shape == "file":
            write(path)
        elif shape != "absent":
            path.mkdir()
        if shape == "folders":
            (path / "Size7").mkdir()
        elif shape == "links":
            (path / "Size7").symlink_to("/etc/fonts/fonts.conf")
        elif shape == "hidden":
            write(path / ".Size7")
        elif shape == "filled":
            write(path / "Size7")

    def _give_script(self, path: Path, shape: str) -> None:
        remove(path)
        if shape == "runs":
            path.symlink_to(ACTOR)
        elif shape == "plain":
            write(path, "#!/bin/sh\n")
        elif shape == "directory":
            path.mkdir()
        elif shape == "dangling":
            path.symlink_to("/opt/nowhere")
        elif shape == "uninterpreted":
            write(path, "#!/no/such/interpreter\n", 0o755)
        elif shape == "garbage":
            write(path, b"\x7fELF\0\0garbage", 0o755)
