"""Plays a storage with a volatile cache for a board, with nbdkit and volatile_storage.py."""

import socket
import struct
import subprocess
import time
from pathlib import Path

from rehearsal.stage import StageError

HERE = Path(__file__).resolve().parent
LISTENS_WITHIN = 30.0  # seconds
ANSWERS_WITHIN = 120.0
GREETING = 18  # bytes: two words and the server's flags
FIXED_NEWSTYLE = 1
OPEN_EXPORT = 1
OPENED = 134  # bytes: size, flags and what is left empty


class CacheServer:
    """Serves a storage for as long as a board is connected."""

    def __init__(self, storage: Path, place: Path, seed: int):
        self._place, self._log = place, place.with_suffix(".log")
        place.unlink(missing_ok=True)
        with self._log.open("wb") as log:
            self._process = subprocess.Popen(
                [
                    "nbdkit",
                    "--foreground",
                    "--exit-with-parent",
                    "--unix",
                    str(place),
                    "python",
                    str(HERE / "volatile_storage.py"),
                    f"file={storage}",
                    f"seed={seed}",
                ],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
            )
        deadline = time.monotonic() + LISTENS_WITHIN
        while not place.exists():
            if self._process.poll() is not None or time.monotonic() > deadline:
                raise StageError(f"nbdkit does not listen: {self._log.read_text()}")
            time.sleep(0.05)

    def cut(self, copy: Path, seed: int) -> str:
        """Makes of a copy of the storage what a power cut would leave now, while the board stands still; tells what
        became of the writes that were not flushed."""
        begin = len(self._log.read_text())
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(ANSWERS_WITHIN)
            connection.connect(str(self._place))
            receive(connection, GREETING)
            name = f"{seed}:{copy}".encode()
            header = b"IHAVEOPT" + struct.pack(">II", OPEN_EXPORT, len(name))
            connection.sendall(struct.pack(">I", FIXED_NEWSTYLE) + header + name)
            receive(connection, OPENED)  # comes when that is done
        return self._log.read_text()[begin:].strip()

    def close(self) -> None:
        """Ends it; the board has no power any more."""
        self._process.terminate()
        self._process.wait()


def receive(connection: socket.socket, length: int) -> None:
    while length:
        data = connection.recv(length)
        if not data:
            raise StageError("nbdkit has hung up")
        length -= len(data)
