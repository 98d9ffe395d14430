"""The X server that a rehearsal's screen is: a window if there is a display, else nothing but memory."""

import os
import select
import subprocess
import time
from pathlib import Path

from rehearsal.leash import Leash
from rehearsal.stage import StageError

STARTS_WITHIN = 30.0  # seconds
COMMON_OPTIONS = ["-nolisten", "tcp", "-dpi", "96", "-noreset"]


class XServer:
    """A running X server with a display number of its own, on a leash. It ends with close()."""

    def __init__(self, size: str, window: bool, log: Path, leash: Leash):
        self._log = log
        name = "Xephyr" if window else "Xvfb"
        options = (["-screen", f"{size}x24", "-title", "Rehearsal", "-no-host-grab"] if window
                   else ["-screen", "0", f"{size}x24"])
        reading, writing = os.pipe()
        try:
            with log.open("wb") as output:
                # apart from the terminal: Ctrl-C must not take the screen away before the instrument
                self._process = subprocess.Popen(
                    [name, "-displayfd", str(writing), *options, *COMMON_OPTIONS],
                    stdin=subprocess.DEVNULL, stdout=output, stderr=output, pass_fds=[writing, leash.end],
                    start_new_session=True)
            os.close(writing)
            self.display = f":{self._read_number(reading, name)}"
        finally:
            os.close(reading)

    def close(self) -> None:
        self._process.terminate()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()

    def _read_number(self, pipe: int, name: str) -> int:
        text, deadline = b"", time.monotonic() + STARTS_WITHIN
        while not text.endswith(b"\n"):
            ready, _, _ = select.select([pipe], [], [], max(0.0, deadline - time.monotonic()))
            piece = os.read(pipe, 16) if ready else b""
            if not piece:  # too late, or the server has ended
                self.close()
                lines = self._log.read_text(errors="replace").strip().splitlines()
                raise StageError(f"{name} did not start: {lines[-1] if lines else 'it said nothing'}")
            text += piece
        return int(text)
