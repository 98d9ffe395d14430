"""An nbdkit plugin: a storage whose writes are lost with the power until it is told to flush them.

Parameters: file, the storage itself; seed, of what is lost. When the power goes, which is when the board's connection
ends, each write since the last flush is kept, lost, or torn: of the last kind only some sectors arrive. Whoever
opens the export SEED:FILE has that happen to FILE, a copy of the storage, while the board goes on.
"""

import io
import random
import sys
from typing import Any

import nbdkit  # type: ignore[import]  # its server brings it

API_VERSION = 2
SECTOR = 512
FATES = ("kept", "lost", "torn")


class Storage:
    """The file, and the writes since the last flush in their order."""

    def __init__(self) -> None:
        self.file: Any = None
        self.fate = random.Random(0)
        self.waiting: list[tuple[int, bytes]] = []

    def read(self, offset: int, length: int) -> bytes:
        self.file.seek(offset)
        content = bytearray(self.file.read(length))
        for start, written in self.waiting:
            first, end = max(start, offset), min(start + len(written), offset + length)
            if first < end:
                content[first - offset : end - offset] = written[first - start : end - start]
        return bytes(content)

    def store(self, offset: int, content: bytes) -> None:
        store(self.file, offset, content)

    def flush(self) -> None:
        for offset, content in self.waiting:
            self.store(offset, content)
        self.waiting.clear()

    def lose_power(self, file: Any, fate: random.Random) -> str:
        """Leaves in a file what a power cut would; tells how many writes were kept, lost and torn."""
        counts = dict.fromkeys(FATES, 0)
        for offset, content in self.waiting:
            happens = fate.choice(FATES)
            counts[happens] += 1
            if happens == "kept":
                store(file, offset, content)
            elif happens == "torn":
                for at in range(0, len(content), SECTOR):
                    if fate.random() < 0.5:
                        store(file, offset + at, content[at : at + SECTOR])
        return ", ".join(f"{count} {what}" for what, count in counts.items())


def store(file: Any, offset: int, content: bytes) -> None:
    file.seek(offset)
    file.write(content)


storage = Storage()


def config(key: str, value: str) -> None:
    if key == "file":
        storage.file = io.FileIO(value, "r+")
    elif key == "seed":
        storage.fate = random.Random(int(value))
    else:
        raise RuntimeError(f"there is no parameter {key}")


def thread_model() -> int:
    return int(nbdkit.THREAD_MODEL_SERIALIZE_ALL_REQUESTS)


def open(readonly: bool) -> str:  # nbdkit finds its functions by name
    """Gives the name of the export as the handle; the board's has none."""
    name = str(nbdkit.export_name())
    seed, _, copy = name.partition(":")
    if copy:
        with io.FileIO(copy, "r+") as file:
            say(storage.lose_power(file, random.Random(int(seed))))
    return name


def can_flush(_: str) -> bool:
    return True


def can_fua(_: str) -> int:
    return int(nbdkit.FUA_NATIVE)


def get_size(_: str) -> int:
    return int(storage.file.seek(0, 2))


def pread(_: str, buffer: bytearray, offset: int, flags: int) -> None:
    buffer[:] = storage.read(offset, len(buffer))


def pwrite(_: str, buffer: bytearray, offset: int, flags: int) -> None:
    if flags & nbdkit.FLAG_FUA:
        storage.flush()  # what was written before to the same place must not come after it
        storage.store(offset, bytes(buffer))
    else:
        storage.waiting.append((offset, bytes(buffer)))


def flush(_: str, flags: int) -> None:
    storage.flush()


def close(name: str) -> None:
    if not name:
        say(storage.lose_power(storage.file, storage.fate))
        storage.waiting.clear()


def say(counts: str) -> None:
    print(counts, file=sys.stderr, flush=True)  # the server takes the output away
