"""An nbdkit plugin: a storage whose writes are lost with the power until it is told to flush them.

Parameters: file, the storage itself; seed, of what is lost. When the connection ends, which is the power
cut, each write since the last flush is kept, lost, or torn: of the last kind only some sectors arrive.
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
        self.file.seek(offset)
        self.file.write(content)

    def flush(self) -> None:
        for offset, content in self.waiting:
            self.store(offset, content)
        self.waiting.clear()

    def lose_power(self) -> dict[str, int]:
        """How many writes were kept, lost and torn."""
        counts = dict.fromkeys(FATES, 0)
        for offset, content in self.waiting:
            happens = self.fate.choice(FATES)
            counts[happens] += 1
            if happens == "kept":
                self.store(offset, content)
            elif happens == "torn":
                for at in range(0, len(content), SECTOR):
                    if self.fate.random() < 0.5:
                        self.store(offset + at, content[at : at + SECTOR])
        self.waiting.clear()
        return counts


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


def open(readonly: bool) -> int:  # nbdkit finds its functions by name
    return 1


def can_flush(_: int) -> bool:
    return True


def can_fua(_: int) -> int:
    return int(nbdkit.FUA_NATIVE)


def get_size(_: int) -> int:
    return int(storage.file.seek(0, 2))


def pread(_: int, buffer: bytearray, offset: int, flags: int) -> None:
    buffer[:] = storage.read(offset, len(buffer))


def pwrite(_: int, buffer: bytearray, offset: int, flags: int) -> None:
    if flags & nbdkit.FLAG_FUA:
        storage.flush()  # what was written before to the same place must not come after it
        storage.store(offset, bytes(buffer))
    else:
        storage.waiting.append((offset, bytes(buffer)))


def flush(_: int, flags: int) -> None:
    storage.flush()


def close(_: int) -> None:
    counts = ", ".join(f"{count} {what}" for what, count in storage.lose_power().items())
    print(counts, file=sys.stderr, flush=True)  # the server takes the output away
