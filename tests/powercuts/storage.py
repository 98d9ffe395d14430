"""Files as a storage holds them while some of what was written has not reached it yet.

A file or directory is an inode. What changes one is a change, and stays pending until that inode is flushed:
fsync() of a file makes sure of its content, size and mode, and nothing else; of a directory of its entries, and
not of what they lead to; sync() of everything. That is less than what any one file system promises."""

import os
import stat
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, replace
from pathlib import Path

from journal import Call

BLOCK = 1 << 16
ROOT = 0
# What outlives the power, apart from logs and sticks. In /dev, a file stands for a partition.
LASTING = ("/mnt", "/etc", "/home", "/dev")
MACHINES = ("/etc/ld.so.cache", "/etc/alternatives", "/etc/fonts")  # the sandbox puts this machine's there

Content = tuple[bytes, ...]  # of a file, in blocks, the last one as long as it is
Entries = tuple[tuple[str, int], ...]  # of a directory: names and inodes, sorted


@dataclass(frozen=True)
class Inode:
    kind: str  # file, directory, link
    mode: int
    content: Content = ()
    entries: Entries = ()
    target: str = ""  # of a symbolic link


@dataclass(frozen=True)
class Change:
    """To one inode; a write of data if offset is not negative."""

    inode: int
    is_data: bool
    offset: int = -1
    data: bytes = b""
    size: int = -1
    mode: int = -1
    entries: tuple[tuple[str, int], ...] = ()  # names and what they lead to from now on, -1 for nothing


def lasts(path: str) -> bool:
    top = "/" + path.split("/")[1]
    if path.endswith((".log", ".log.new")) or top not in LASTING or path in MACHINES:
        return False
    return top != "/dev" or path == "/dev" or path.startswith("/dev/mmcblk0")


def blocks(data: bytes) -> Content:
    return tuple(data[at : at + BLOCK] for at in range(0, len(data), BLOCK))


def resized(content: Content, size: int) -> Content:
    length = sum(map(len, content))
    if size == length:
        return content
    if size > length:
        return blocks(b"".join(content) + bytes(size - length))
    whole, rest = divmod(size, BLOCK)
    return content[:whole] + ((content[whole][:rest],) if rest else ())


def written(content: Content, offset: int, data: bytes) -> Content:
    length = sum(map(len, content))
    if offset < 0:
        offset = length
    if offset + len(data) > length:
        content = resized(content, offset + len(data))
    first, last = offset // BLOCK, (offset + len(data) + BLOCK - 1) // BLOCK
    part = bytearray(b"".join(content[first:last]))
    begin = offset - first * BLOCK
    part[begin : begin + len(data)] = data
    return content[:first] + blocks(bytes(part)) + content[last:]


def changed(inode: Inode, change: Change) -> Inode:
    if change.mode >= 0:
        return replace(inode, mode=change.mode)
    if change.entries:
        entries = dict(inode.entries) | dict(change.entries)
        return replace(inode, entries=tuple(sorted((name, to) for name, to in entries.items() if to >= 0)))
    if change.size >= 0:
        return replace(inode, content=resized(inode.content, change.size))
    return replace(inode, content=written(inode.content, change.offset, change.data))


class Storage:
    """All inodes, as they are for whoever reads them now, and what of it is pending."""

    def __init__(self, tree: Path) -> None:
        self.inodes: dict[int, Inode] = {}
        self.flushed: dict[int, Inode] = {}  # as they are on the storage at the least; a new one holds nothing
        self.pending: list[Change] = []
        self.flushes = 0
        self._known: dict[tuple[int, int], tuple[int, Inode, Change]] = {}  # by place and the next change kept
        self._read(tree, "/", ROOT)
        self.flushed = dict(self.inodes)

    def _read(self, tree: Path, path: str, number: int) -> None:
        real = Path(f"{tree}{path}")
        mode = real.lstat().st_mode
        if stat.S_ISLNK(mode):
            inode = Inode("link", 0, target=os.readlink(real))
        elif stat.S_ISREG(mode):
            inode = Inode("file", stat.S_IMODE(mode), content=blocks(real.read_bytes()))
        else:
            entries = []
            self.inodes[number] = Inode("directory", 0)
            for name in sorted(os.listdir(real)):
                below = f"{path.rstrip('/')}/{name}"
                if lasts(below):
                    entries.append((name, self._new(Inode("file", 0))))
                    self._read(tree, below, entries[-1][1])
            inode = Inode("directory", stat.S_IMODE(mode), entries=tuple(entries))
        self.inodes[number] = inode

    def _new(self, inode: Inode) -> int:
        number = len(self.inodes) + 1
        self.inodes[number] = self.flushed[number] = inode
        return number

    def _entries(self, number: int) -> dict[str, int]:
        return dict(self.inodes[number].entries)

    def find(self, path: str, follow: bool = True) -> int | None:
        """The inode of a path, links in it followed; a link at its end only if told to."""
        number, rest, depth = ROOT, [part for part in path.split("/") if part], 0
        trail = [ROOT]
        while rest:
            part = rest.pop(0)
            if part == "..":
                trail = trail[:-1] or [ROOT]
                number = trail[-1]
                continue
            found = self._entries(number).get(part)
            if found is None:
                return None
            inode = self.inodes[found]
            if inode.kind == "link" and (rest or follow) and depth < 40:
                depth += 1
                target = inode.target
                rest = [one for one in target.split("/") if one not in ("", ".")] + rest
                if target.startswith("/"):
                    trail = [ROOT]
                number = trail[-1]
                continue
            trail.append(found)
            number = found
        return number

    def play(self, call: Call) -> bool:
        """Takes a call in; whether it is about anything that lasts."""
        if call.name == "flush":
            return self._flush(call.path)
        if not lasts(call.path):
            if call.name == "rename" and lasts(call.other):
                raise ValueError(f"{call.path} comes from what does not last")
            return False
        for change in self._changes(call):
            self.inodes[change.inode] = changed(self.inodes[change.inode], change)
            self.pending.append(change)
        return True

    def _flush(self, path: str) -> bool:
        number = self.find(path) if path else None
        if path and (number is None or not lasts(path)):
            return False
        for change in self.pending:
            if not path or change.inode == number:
                self.flushed[change.inode] = changed(self.flushed[change.inode], change)
        self.pending = [change for change in self.pending if path and change.inode != number]
        self.flushes += 1
        self._known.clear()
        return True

    def _place(self, path: str) -> tuple[int, str]:
        directory, _, name = path.rpartition("/")
        number = self.find(directory)
        if number is None:
            raise ValueError(f"there is no {directory}")
        return number, name

    def _changes(self, call: Call) -> Iterator[Change]:
        if call.name in ("create", "mkdir", "symlink"):
            if self.find(call.path, follow=call.name == "create") is None:
                directory, name = self._place(call.path)
                kind = {"create": "file", "mkdir": "directory"}.get(call.name, "link")
                number = self._new(Inode(kind, call.number, target=call.other))
                yield Change(directory, False, entries=((name, number),))
        elif call.name == "remove":
            directory, name = self._place(call.path)
            yield Change(directory, False, entries=((name, -1),))
        elif call.name == "rename":
            yield self._renaming(call)
        else:
            yield from self._changes_of_inode(call)

    def _changes_of_inode(self, call: Call) -> Iterator[Change]:
        number = self.find(call.path)
        if number is None:
            raise ValueError(f"{call.name} of {call.path}, which is not there")
        inode = self.inodes[number]
        length = sum(map(len, inode.content))
        if call.name == "write":
            yield Change(number, True, offset=length if call.number < 0 else call.number, data=call.data)
        elif call.name == "truncate":
            if length != call.number:
                yield Change(number, True, size=call.number)
        elif call.name == "mode":
            if inode.mode != call.number:
                yield Change(number, False, mode=call.number)
        else:
            raise ValueError(f"{call.name} of {call.path}")

    def _renaming(self, call: Call) -> Change:
        """One change, since both names are always in one directory."""
        (directory, old), (there, new) = self._place(call.path), self._place(call.other)
        number = self.find(call.path, follow=False)
        if directory != there or number is None:
            raise ValueError(f"{call.path} cannot become {call.other}")
        return Change(directory, False, entries=((old, -1), (new, number)))

    def after(self, kept: Iterable[Change]) -> dict[int, Inode]:
        """What is on the storage if of the pending changes only these have reached it, in their order. The same
        changes of an inode come to the same object until something is flushed."""
        of_inode: dict[int, list[Change]] = {}
        for change in kept:
            of_inode.setdefault(change.inode, []).append(change)
        return {number: self._after(number, changes) for number, changes in of_inode.items()}

    def _after(self, number: int, changes: list[Change]) -> Inode:
        inode, place = self.flushed[number], -number  # a place is what has been kept of an inode up to here
        for change in changes:
            step = (place, id(change))
            if step not in self._known:
                # the change, so that nothing else gets its id
                self._known[step] = (len(self._known) + 1, changed(inode, change), change)
            place, inode, _ = self._known[step]
        return inode

    def tree(self, other: dict[int, Inode]) -> "Tree":
        """What is found from the top on, where some inodes are as said and the others as flushed."""
        found: Tree = {}
        self._walk("", ROOT, other, found)
        return found

    def _walk(self, path: str, number: int, other: dict[int, Inode], found: "Tree") -> None:
        inode = other.get(number) or self.flushed[number]
        if inode.kind != "directory":
            found[path] = inode
            return
        if path:
            found[path] = Inode("directory", inode.mode)
        for name, to in inode.entries:
            self._walk(f"{path}/{name}", to, other, found)


Tree = dict[str, Inode]  # by full path; of a directory without its entries
