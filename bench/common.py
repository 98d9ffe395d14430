"""What the measures share: starting a program, reading its peak memory, medians with their spread."""

import os
import signal
import statistics
import time
from collections.abc import Callable

UPDATER = ["/opt/build/teskupdater"]
BARE = ["/opt/build/bench/bare"]


Results = dict[str, dict[str, list[float]]]
"""Of each subject, each figure in every round."""


class Run:
    """A program from its start until it is killed. Its console goes to a descriptor or nowhere; given a
    descriptor for it, the recorder is preloaded."""

    def __init__(self, command: list[str], console: int | None = None, record: int | None = None):
        nowhere = os.open("/dev/null", os.O_RDWR)
        environment = dict(os.environ)
        wiring = [(os.POSIX_SPAWN_DUP2, nowhere if console is None else console, 1)]
        wiring.append((os.POSIX_SPAWN_DUP2, nowhere, 2))
        if record is not None:
            wiring.append((os.POSIX_SPAWN_DUP2, record, 3))
            environment["LD_PRELOAD"] = "/opt/build/bench/recorder.so"
        # both programs meet the same disk: what others have written is not this start's to flush
        os.sync()
        self.started = time.monotonic()
        self.pid = os.posix_spawn(command[0], command, environment, file_actions=wiring)
        os.close(nowhere)

    def peak_memory(self) -> float:
        """In MB, shared libraries included."""
        with open(f"/proc/{self.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) / 1024 for line in status if line.startswith("VmHWM"))

    def await_idle(self) -> None:
        """Until it has used no processor time for a fifth of a second."""
        before = None
        while before != (used := self._processor_time()):
            before = used
            time.sleep(0.2)

    def kill(self) -> None:
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)

    def _processor_time(self) -> list[str]:
        with open(f"/proc/{self.pid}/stat", encoding="ascii") as stat:
            return stat.read().rsplit(")", 1)[1].split()[11:13]


def interleaved(rounds: int, subjects: list[str], measure: Callable[[str], dict[str, float]]) -> Results:
    """Measures every subject once a round, in turns forwards and backwards; the first round warms up."""
    results: Results = {subject: {} for subject in subjects}
    for number in range(rounds + 1):
        for subject in subjects[:: -1 if number % 2 else 1]:
            for name, value in measure(subject).items():
                if number > 0:
                    results[subject].setdefault(name, []).append(value)
    return results


def spread(values: list[float], digits: int = 1) -> str:
    """The median, and the quartiles around it."""
    low, middle, high = statistics.quantiles(values, n=4)
    return f"{middle:.{digits}f} [{low:.{digits}f} {high:.{digits}f}]"


def ratio(values: list[float], others: list[float]) -> str:
    """The median of the rounds' own ratios, and its quartiles."""
    return spread([value / other for value, other in zip(values, others, strict=True)], 2)
