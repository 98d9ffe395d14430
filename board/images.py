"""File systems in files, made and read without mounting anything."""

import os
import subprocess
from collections.abc import Sequence
from pathlib import Path

from rehearsal.stage import StageError

WITHIN = 300  # seconds, for any of the tools
MEGABYTE = 1024**2
ENVIRONMENT = {"LC_ALL": "C", "PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "MTOOLS_SKIP_CHECK": "1"}


def run(command: Sequence[str | Path], allowed: Sequence[int] = (0,), stdin: str = "") -> str:
    """Runs a tool to its end; gives what it printed."""
    words = [str(word) for word in command]
    try:
        done = subprocess.run(
            words,
            input=stdin,
            capture_output=True,
            text=True,
            errors="replace",
            timeout=WITHIN,
            check=False,
            env=ENVIRONMENT,
        )
    except (OSError, subprocess.TimeoutExpired) as error:
        raise StageError(f"{words[0]}: {error}") from error
    if done.returncode not in allowed:
        raise StageError(f"{words[0]} failed: {(done.stderr or done.stdout).strip() or done.returncode}")
    return done.stdout


def make_ext4(image: Path, tree: Path, size: int, offset: int = 0) -> None:
    """Makes a file system with the files of a tree, at some place of a file."""
    run(
        [
            "mke2fs",
            "-q",
            "-F",
            "-t",
            "ext4",
            "-m",
            "0",
            "-d",
            tree,
            "-E",
            f"root_owner=0:0,nodiscard,offset={offset}",
            image,
            f"{size // 1024}k",
        ]
    )


def make_fat(image: Path, tree: Path, size: int) -> None:
    """Makes a stick's file system, without a partition table."""
    for entry in tree.rglob("*"):
        if entry.is_symlink() or not (entry.is_file() or entry.is_dir()):
            raise StageError(f"{entry.name} is neither file nor directory: a stick with FAT cannot hold it")
    with image.open("wb") as file:
        file.truncate(size)
    run(["mkfs.vfat", "-F", "32", "-n", "STICK", image])
    entries = sorted(tree.iterdir())
    if entries:
        run(["mcopy", "-i", image, "-s", "-p", "-m", "-Q", *entries, "::"])


def read_fat(image: Path, tree: Path) -> None:
    """Copies what a stick holds into a directory."""
    tree.mkdir(parents=True, exist_ok=True)
    if run(["mdir", "-b", "-i", image, "::"], allowed=(0, 1)).strip():
        run(["mcopy", "-i", image, "-s", "-p", "-m", "-n", "::*", tree])


def read_ext4(image: Path, tree: Path, scratch: Path, start: int, size: int) -> None:
    """Copies a file system's files into a directory, as whoever mounts it next will find them: with what
    is still in its journal. The image itself is not touched, nor may it be whole."""
    copy = scratch / "partition.ext4"
    copy_sparse(image, copy, start, size)
    run(["e2fsck", "-f", "-y", copy], allowed=(0, 1, 2))
    tree.mkdir(parents=True, exist_ok=True)
    run(["debugfs", "-R", f"rdump / {tree}", copy])
    copy.unlink()
    if (tree / "lost+found").is_dir():
        (tree / "lost+found").rmdir()


def add_to_squashfs(image: Path, tree: Path) -> None:
    """Makes a compressed file system that is only read, with the files of a tree, or adds them to one."""
    compression = ["-comp", "zstd", "-Xcompression-level", "6"]
    run(["mksquashfs", tree, image, "-quiet", "-no-progress", "-all-root", "-no-recovery", "-no-xattrs", *compression])


def read_squashfs(image: Path, offset: int, path: str, target: Path) -> None:
    """Copies a directory of such a file system, at some place of a file, into a tree by the same path; nothing if it
    cannot be read."""
    command = ["unsquashfs", "-quiet", "-no-progress", "-force", "-no-xattrs"]
    run([*command, "-offset", str(offset), "-dest", target, image, path], allowed=(0, 1, 2))


def write_file(image: Path, offset: int, path: str, source: Path) -> None:
    """Puts a file into a file system that is not in use, by its path without the first slash."""
    run(["debugfs", "-w", "-f", "-", f"{image}?offset={offset}"], stdin=f"rm {path}\nwrite {source} {path}\n")


def write_text(image: Path, offset: int, path: str, text: str, scratch: Path) -> None:
    source = scratch / "text"
    source.write_text(text)
    write_file(image, offset, path, source)
    source.unlink()


def copy_sparse(source: Path, target: Path, start: int = 0, size: int | None = None) -> None:
    """Copies a piece of a file, leaving holes where it has holes."""
    with source.open("rb") as reading, target.open("wb") as writing:
        end = start + (size if size is not None else source.stat().st_size - start)
        writing.truncate(end - start)
        at = start
        while at < end:
            try:
                data = os.lseek(reading.fileno(), at, os.SEEK_DATA)
            except OSError:  # nothing but a hole up to the end
                return
            at = min(os.lseek(reading.fileno(), data, os.SEEK_HOLE), end)
            while data < at:
                reading.seek(data)
                piece = reading.read(min(MEGABYTE, at - data))
                if not piece:
                    return
                writing.seek(data - start)
                writing.write(piece)
                data += len(piece)
