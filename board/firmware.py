"""The board's firmware: root file systems with the program's armhf package, built once for all rehearsals."""

import fcntl
import hashlib
import os
import shutil
import subprocess
import time
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path

from board.images import add_to_squashfs, run
from rehearsal.stage import StageError

HERE = Path(__file__).resolve().parent
TOP = HERE.parent
BUILD = TOP / "build" / "board"
PACKAGES = TOP / "build" / "packages" / "armhf"
TRIPLET = "arm-linux-gnueabihf"
SYSROOT = TOP / "build" / "sysroot" / "armhf"
KEPT_FOR = 24 * 3600.0  # seconds
WITHIN = 1800  # seconds, for a step of the build on a busy machine
VERSION_FILE = "firmware-version"
FONTS = "/usr/share/teskupdater/fonts.conf"

PROGRAM_SOURCES = (
    "CMakeLists.txt",
    "app",
    "common",
    "logs",
    "tools",
    "update",
    "versions",
    "docs/man",
    "packaging/build-package",
    "packaging/debian",
    "packaging/host-qt-tools.cmake",
    "packaging/install.cmake",
    "packaging/start",
    "packaging/toolchain.cmake",
)
BASE_SOURCES = ("board/make-base", "board/modules.txt", "board/root-packages.txt", "packaging/archive.sh")
BOARD_SOURCES = ("bench/bare.cpp", "board/bootloader", "board/make-initrd", "board/native", "board/root")


def digest(paths: Sequence[Path]) -> str:
    """Of files and whole directories: names, permissions, contents, targets of links."""
    total = hashlib.sha256()
    for top in paths:
        for file in [top] if top.is_file() else sorted(top.rglob("*")):
            if file.is_symlink():
                total.update(f"{file.relative_to(top)} -> {os.readlink(file)}\0".encode())
            elif file.is_file():
                total.update(f"{file.relative_to(top)} {file.stat().st_mode:o}\0".encode() + file.read_bytes())
    return total.hexdigest()[:16]


@contextmanager
def only_one(name: str) -> Iterator[None]:
    """Several rehearsals may begin at once; only one of them builds."""
    BUILD.mkdir(parents=True, exist_ok=True)
    with (BUILD / f"{name}.lock").open("w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def build_step(say: Callable[[str], None], what: str, command: Sequence[str | Path]) -> None:
    """A step that takes minutes; what it says is in a log."""
    say(f"Building {what}, which takes a while the first time.")
    log = BUILD / "build.log"
    with log.open("ab") as output:
        try:
            done = subprocess.run(
                [str(word) for word in command],
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=output,
                timeout=WITHIN,
                check=False,
            )
        except (OSError, subprocess.TimeoutExpired) as error:
            raise StageError(f"{what}: {error}") from error
    if done.returncode != 0:
        raise StageError(f"{what} cannot be built, see {log}")


class Firmware:
    """What the board is built from; making the object builds what is missing."""

    def __init__(self, say: Callable[[str], None]):
        with only_one("build"):
            self._base = self._made("base", [TOP / name for name in BASE_SOURCES], self._make_base, say)
            self._package = self._build_package(say)
            board = self._made(
                "board", [TOP / name for name in BOARD_SOURCES] + [self._base / "kernel"], self._make_board, say
            )
        self.kernel, self.initrd = self._base / "kernel", board / "initrd"
        self._native = board
        self._identity = digest([self._package, board, *(TOP / name for name in BOARD_SOURCES)])

    def root_image(self, version: str, scripts: Path, aside: Path, blank: Path | None = None) -> Path:
        """The root file system of a version with these as /etc/update and /opt/scripts, and for a boot medium
        with what a blank board begins with; the file is shared."""
        contents = [scripts, aside, *([blank] if blank else [])]
        folder = BUILD / "roots" / f"{self._identity}-{digest(contents)}"
        image = folder / f"{version}.img"
        with only_one("roots"):
            self._forget_old_roots()
            if not (folder / "root.img").exists():
                folder.mkdir(parents=True, exist_ok=True)
                self._make_root(folder, scripts, aside, blank)
            os.utime(folder)
            if not image.exists():
                shutil.copy(folder / "root.img", folder / "new.img")
                more = folder / "more"
                more.mkdir(exist_ok=True)
                (more / VERSION_FILE).write_text(f"{version}\n")
                add_to_squashfs(folder / "new.img", more)
                (folder / "new.img").rename(image)
        return image

    @staticmethod
    def _forget_old_roots() -> None:
        """Those that nobody has asked for in a while, since each is hundreds of megabytes."""
        for folder in (BUILD / "roots").glob("*"):
            if time.time() - folder.stat().st_mtime > KEPT_FOR:
                shutil.rmtree(folder)

    def _make_root(self, folder: Path, scripts: Path, aside: Path, blank: Path | None) -> None:
        tree = folder / "tree"
        shutil.rmtree(tree, ignore_errors=True)
        run(["cp", "-a", "--link", f"{self._base}/root", tree])
        run(["cp", "-R", "--remove-destination", "--preserve=mode", f"{HERE}/root/.", tree])
        run(["dpkg-deb", "--extract", self._package, tree])
        shutil.rmtree(tree / "etc/update")
        shutil.copytree(scripts, tree / "etc/update", symlinks=True)
        shutil.copytree(aside, tree / "opt/scripts", symlinks=True)
        if blank:
            shutil.copytree(blank, tree / "usr/share/blank", symlinks=True)
        for directory in ("mnt/new", "opt/rehearsal", "var/cache/fontconfig"):
            (tree / directory).mkdir()
        shutil.copy(self._native / "watchscript", tree / "opt/rehearsal/watch-script")
        for name in ("bare", "touchscreen"):
            shutil.copy(self._native / name, tree / "usr/lib/board" / name)
        # on the board nobody could write the fonts' cache, and each start would make it anew
        emulator: list[str | Path] = ["qemu-arm-static", "-L", tree, "-E", f"FONTCONFIG_FILE={FONTS}"]
        run([*emulator, tree / "usr/bin/fc-cache", "--sysroot", tree])
        (folder / "new.img").unlink(missing_ok=True)
        add_to_squashfs(folder / "new.img", tree)
        (folder / "new.img").rename(folder / "root.img")
        shutil.rmtree(tree)

    @staticmethod
    def _made(
        name: str,
        sources: Sequence[Path],
        make: Callable[[Path, Callable[[str], None]], None],
        say: Callable[[str], None],
    ) -> Path:
        """A directory that is made anew when what it is made from has changed."""
        directory, stamp = BUILD / name, BUILD / f"{name}.stamp"
        wanted = digest(sources)
        if not directory.is_dir() or not stamp.exists() or stamp.read_text() != wanted:
            make(directory, say)
            stamp.write_text(wanted)
        return directory

    @staticmethod
    def _make_base(directory: Path, say: Callable[[str], None]) -> None:
        build_step(say, "the board's root file system", [HERE / "make-base", directory])

    def _make_board(self, directory: Path, say: Callable[[str], None]) -> None:
        directory.mkdir(exist_ok=True)
        build_step(say, "the board's bootloader", [HERE / "make-initrd", self._base, directory / "initrd"])
        for name in ("touchscreen", "watchscript"):
            source = HERE / "native" / f"{name}.c"
            warnings = ["-Wall", "-Wextra", "-Wconversion", "-Werror"]
            options = ["-std=gnu11", "-O2", "-static", "-s", *warnings]
            build_step(say, f"the board's {name}", [f"{TRIPLET}-gcc", *options, "-o", directory / name, source])
        qt = SYSROOT / "usr/include" / TRIPLET / "qt5"
        libraries = [f"-lQt5{name}" for name in ("Widgets", "Gui", "Core")]
        options = ["-std=c++17", "-O2", "-s", "-fPIC", f"--sysroot={SYSROOT}", f"-I{qt}", f"-I{qt}/QtWidgets"]
        bare: list[str | Path] = [
            f"{TRIPLET}-g++",
            *options,
            "-o",
            directory / "bare",
            TOP / "bench/bare.cpp",
            *libraries,
        ]
        build_step(say, "a bare Qt window", bare)

    @staticmethod
    def _build_package(say: Callable[[str], None]) -> Path:
        stamp = BUILD / "package.stamp"
        wanted = digest([TOP / name for name in PROGRAM_SOURCES])
        if not stamp.exists() or stamp.read_text() != wanted or not any(PACKAGES.glob("teskupdater_*.deb")):
            build_step(say, "the program's package for armhf", [TOP / "packaging" / "build-package", "armhf"])
            stamp.write_text(wanted)
        return next(PACKAGES.glob("teskupdater_*.deb"))
