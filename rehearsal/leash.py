"""Sees to it that no process of a rehearsal outlives it, whatever ends it and at whatever moment.

A process that is killed while it makes another leaves one that nobody knows by its number. A leash is a
pipe that such processes inherit: who holds it can be found, and it comes to its end when nobody does.
"""

import os
import select
import shutil
import signal
import stat
import time
from collections.abc import Sequence
from pathlib import Path

LOOKS_EVERY = 0.05  # seconds
ENDS_WITHIN = 15.0  # seconds, for whatever is killed


class Leash:
    """A pipe for some processes to hold. `end` is the one for them; `tie` has to be called once they have it."""

    def __init__(self, first_signal: signal.Signals = signal.SIGKILL):
        self._reading, self.end = os.pipe()
        self._first_signal = first_signal
        self._tied = False

    def tie(self) -> None:
        """From now on only others hold it."""
        if not self._tied:
            self._tied = True
            os.close(self.end)

    def holders(self) -> list[int]:
        """The processes that hold it now, apart from this one."""
        pipe = os.fstat(self._reading).st_ino
        return [int(process.name) for process in Path("/proc").glob("[0-9]*") if self._holds(process, pipe)]

    def pull(self) -> None:
        """Ends all who hold it; comes back when nobody does any more."""
        self.tie()
        killing_at = time.monotonic() + (0.0 if self._first_signal == signal.SIGKILL else ENDS_WITHIN)
        gives_up_at = killing_at + ENDS_WITHIN
        asked = set[int]()
        while not self._free() and (now := time.monotonic()) < gives_up_at:
            for process in self.holders():
                if now >= killing_at or process not in asked:
                    self._end(process, signal.SIGKILL if now >= killing_at else self._first_signal)
                    asked.add(process)

    def close(self) -> None:
        self.tie()
        os.close(self._reading)

    def _free(self) -> bool:
        """Whether nobody holds it; nothing is ever written, so it can only come to its end."""
        return bool(select.select([self._reading], [], [], LOOKS_EVERY)[0])

    @staticmethod
    def _holds(process: Path, pipe: int) -> bool:
        if process.name == str(os.getpid()):
            return False
        try:
            for descriptor in (process / "fd").iterdir():
                try:
                    # the link's own permissions tell which end it is
                    if descriptor.stat().st_ino == pipe and descriptor.lstat().st_mode & stat.S_IWUSR:
                        return os.readlink(descriptor) == f"pipe:[{pipe}]"
                except OSError:
                    continue  # just closed
        except OSError:
            pass  # it has ended, or belongs to somebody else
        return False

    @staticmethod
    def _end(process: int, number: signal.Signals) -> None:
        try:
            os.kill(process, number)
        except ProcessLookupError:
            pass


class Keeper:
    """A process that waits for the end of this one, then pulls the leashes in their order and removes a directory.

    It does nothing if this one comes to `close`, by then having done so itself.
    """

    def __init__(self, leashes: Sequence[Leash], scratch: Path):
        parent = os.pidfd_open(os.getpid())
        self._process = os.fork()
        if self._process == 0:
            try:
                self._keep(parent, leashes, scratch)
            finally:
                os._exit(0)
        os.close(parent)

    def close(self) -> None:
        os.kill(self._process, signal.SIGKILL)
        os.waitpid(self._process, 0)

    @staticmethod
    def _keep(parent: int, leashes: Sequence[Leash], scratch: Path) -> None:
        os.setsid()  # what is done to the terminal's processes must not reach it
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        nowhere = os.open(os.devnull, os.O_RDWR)
        for stream in range(3):  # whoever reads them must see their end
            os.dup2(nowhere, stream)
        for leash in leashes:
            leash.tie()
        select.select([parent], [], [])
        for leash in leashes:
            leash.pull()
        remove(scratch)


def remove(tree: Path) -> None:
    """Removes a tree, whatever permissions a script has given its directories."""
    for directory, names, _ in os.walk(tree):
        for path in (os.path.join(directory, name) for name in names):
            if not os.path.islink(path):  # a link may lead anywhere, out of the tree too
                os.chmod(path, 0o700)
    shutil.rmtree(tree, ignore_errors=True)
