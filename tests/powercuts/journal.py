"""What scripts do to the files of an instrument, system call by system call, as strace sees it."""

import re
import subprocess
import tempfile
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import BinaryIO

from tests.simulator.instrument import SIMULATOR

# All calls that change a file or have it written; and which script begins.
CALLS = (
    "open openat openat2 creat write writev pwrite64 pwritev pwritev2 ftruncate truncate fallocate rename renameat "
    "renameat2 unlink unlinkat rmdir mkdir mkdirat mknod mknodat symlink symlinkat link linkat chmod fchmod fchmodat "
    "lseek fsync fdatasync sync syncfs sync_file_range msync io_uring_enter execve "
    "chdir fchdir clone clone3 fork vfork"
).split()
# Refused, so that programs write what they would have had copied: what is written can be seen.
REFUSED = "copy_file_range,sendfile,splice,vmsplice,ioctl,setxattr,lsetxattr,fsetxattr"
LONGEST = 1 << 22  # bytes of a write that are recorded
SCRIPT = re.compile(r"/etc/update/(?:utility_scripts/)?([^/]+\.sh)")

CALL = re.compile(rb"(\d+) +(\w+)\((.*)\) += (-?\d+|\?)(?:<([^>]*)>)?")
UNFINISHED = re.compile(rb"(\d+) +(\w+\(.*) <unfinished \.\.\.>")
RESUMED = re.compile(rb"(\d+) +<\.\.\. \w+ resumed>(.*)")
BIRTH = re.compile(rb"(\d+) +(?:<\.\.\. )?(?:clone|clone3|fork|vfork)\b.*\) += (\d+)")
PIPE = re.compile(rb"\d+ +\w+\(\d+<\\x70\\x69\\x70\\x65")  # most of all lines, and no matter to files
ARGUMENT = re.compile(rb'(?:AT_FDCWD|-?\d+)<([^>]*)>|"([^"]*)"(\.\.\.)?|([^,\s"][^,"]*)')


@dataclass(frozen=True)
class Call:
    """One that has changed something, or has had it written; all paths are full."""

    name: str  # create, write, truncate, rename, remove, mkdir, symlink, link, mode, flush
    path: str = ""  # of a flush empty if it is of everything
    other: str = ""  # a rename's or link's new path, or where a symbolic link points to
    number: int = 0  # a write's offset, a truncation's size, a mode
    data: bytes = b""
    script: str = ""


class JournalError(Exception):
    """A call that nobody here knows the effect of."""


def record(tree: Path, scripts: Sequence[str], options: Sequence[str] = ()) -> tuple[list[Call], list[int]]:
    """Runs scripts, each with its arguments, one after the other; returns their calls and exit codes."""
    loop = 'umask 022; for script in "$@"; do /etc/update/$script >/dev/null 2>&1; echo "code $?"; done'
    with tempfile.TemporaryDirectory() as folder:
        tracer = ["strace", "-f", "-y", "-xx", "-s", str(LONGEST), "--seccomp-bpf", "-o", "/opt/journal/calls"]
        tracer += ["-e", f"trace={','.join(CALLS)},{REFUSED}", "-e", f"inject={REFUSED}:error=ENOSYS"]
        command: list[str | Path] = [SIMULATOR / "sandbox", tree, "--bind", folder, "/opt/journal", *options, *tracer]
        command += ["sh", "-c", loop, "sh", *scripts]
        output = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True).stdout
        with open(Path(folder, "calls"), "rb") as lines:
            calls = list(Reader().read(lines))
    return calls, [int(code) for code in re.findall(r"^code (\d+)$", output, re.MULTILINE)]


def unhex(text: bytes) -> bytes:
    return bytes.fromhex(text.replace(b"\\x", b"").decode())


class Reader:
    """Takes strace's lines apart. A file is written from where its last opening for writing, seek or write ended;
    that this is so, whoever plays the journal back sees by what it comes to."""

    def __init__(self) -> None:
        self.script = ""
        self.parents: dict[bytes, bytes] = {}  # processes
        self.directories: dict[bytes, str] = {}  # in which each works, "/" where none is said
        self.positions: dict[str, int] = {}  # -1 at the end

    def read(self, lines: BinaryIO) -> Iterator[Call]:
        """A child may be seen before the call that has made it ends, so the lines are gone through twice."""
        for line in lines:
            if (match := BIRTH.match(line)) and not match[2].startswith(b"-"):
                self.parents[match[2]] = match[1]
        lines.seek(0)
        yield from self.calls(lines)

    def directory(self, process: bytes) -> str:
        if process not in self.directories:
            self.directories[process] = self.directory(self.parents[process]) if process in self.parents else "/"
        return self.directories[process]

    def calls(self, lines: BinaryIO) -> Iterator[Call]:
        begun: dict[bytes, bytes] = {}
        for line in lines:
            if PIPE.match(line):
                continue
            if match := UNFINISHED.match(line):
                begun[match[1]] = match[2]
                continue
            if match := RESUMED.match(line):
                if match[1] not in begun:
                    continue
                line = match[1] + b" " + begun.pop(match[1]) + match[2]
            if (match := CALL.match(line)) and not match[4].startswith((b"-", b"?")):
                yield from self.call(match[1], match[2].decode(), match[3], int(match[4]), match[5])

    def call(self, process: bytes, name: str, text: bytes, result: int, opened: bytes | None) -> Iterator[Call]:
        here = self.directory(process)
        if name in ("clone", "clone3", "fork", "vfork"):
            return
        arguments = [self.argument(match) for match in ARGUMENT.finditer(text)]
        if name == "execve":
            if match := SCRIPT.fullmatch(arguments[0].decode()):
                self.script = match[1]
            return
        if name in ("chdir", "fchdir"):
            self.directories[process] = full(here, arguments[0].decode())
            return
        if name in ("open", "openat", "openat2", "creat"):
            how = text.replace(b", 0", b", O_WRONLY|O_CREAT|O_TRUNC, 0") if name == "creat" else text
            effects = self.opened(unhex(opened or b"").decode(), how)
        else:
            effects = self.effect(name, arguments, result, here)
        for call in effects:
            if call.path and not call.path.startswith("/"):
                continue  # a pipe
            yield Call(call.name, call.path, call.other, call.number, call.data, self.script)

    @staticmethod
    def argument(match: re.Match[bytes]) -> bytes:
        if match[3]:
            raise JournalError("a write is longer than what is recorded of it")
        return unhex(match[1]) if match[1] is not None else unhex(match[2]) if match[2] is not None else match[4]

    def opened(self, path: str, text: bytes) -> Iterator[Call]:
        if b"O_WRONLY" not in text and b"O_RDWR" not in text:
            return
        self.positions[path] = -1 if b"O_APPEND" in text else 0
        if b"O_CREAT" in text:
            mode = text.rpartition(b", ")[2]
            yield Call("create", path, number=int(mode, 8) & ~0o022)
        if b"O_TRUNC" in text:
            yield Call("truncate", path)

    def effect(self, name: str, arguments: list[bytes], result: int, here: str) -> Iterator[Call]:
        paths = [argument.decode(errors="replace") for argument in arguments]
        if name == "write":
            at = self.positions.get(paths[0], 0)
            if at >= 0:
                self.positions[paths[0]] = at + result
            yield Call("write", paths[0], number=at, data=arguments[1][:result])
        elif name == "lseek":
            if paths[0] in self.positions and self.positions[paths[0]] >= 0 and paths[2] != "SEEK_CUR":
                self.positions[paths[0]] = result
        elif name == "ftruncate":
            yield Call("truncate", paths[0], number=int(paths[1]))
        elif name in ("renameat", "renameat2"):
            yield Call("rename", full(paths[0], paths[1]), full(paths[2], paths[3]))
        elif name == "rename":
            yield Call("rename", full(here, paths[0]), full(here, paths[1]))
        elif name == "unlinkat":
            yield Call("remove", full(paths[0], paths[1]))
        elif name in ("unlink", "rmdir"):
            yield Call("remove", full(here, paths[0]))
        elif name == "mkdirat":
            yield Call("mkdir", full(paths[0], paths[1]), number=int(paths[2], 8) & ~0o022)
        elif name == "mkdir":
            yield Call("mkdir", full(here, paths[0]), number=int(paths[1], 8) & ~0o022)
        elif name == "symlinkat":
            yield Call("symlink", full(paths[1], paths[2]), paths[0])
        elif name == "fchmod":
            yield Call("mode", paths[0], number=int(paths[1], 8) & 0o7777)
        elif name == "fchmodat":
            yield Call("mode", full(paths[0], paths[1]), number=int(paths[2], 8) & 0o7777)
        elif name == "chmod":
            yield Call("mode", full(here, paths[0]), number=int(paths[1], 8) & 0o7777)
        elif name in ("fsync", "fdatasync"):
            yield Call("flush", paths[0])
        elif name in ("sync", "syncfs"):
            yield Call("flush")
        else:
            raise JournalError(f"{name}({', '.join(paths)})")


def full(directory: str, path: str) -> str:
    """A path without "." and "..", as no script of ours names one through a link."""
    parts: list[str] = []
    for part in (path if path.startswith("/") else f"{directory}/{path}").split("/"):
        if part == "..":
            parts = parts[:-1]
        elif part not in ("", "."):
            parts.append(part)
    return "/" + "/".join(parts)
