"""Starts of the board and of the program on it, up to the first picture."""

import select
import time

from board.stage import BoardStage
from rehearsal.stage import Complained, Said, StageError, Started

PHASES = ("kernel, to the bootloader's word", "user space, to the program's start", "program, to its first picture")
LOOKS_EVERY = 0.1  # seconds: each look costs the emulator some milliseconds
STARTS_WITHIN = 600.0  # seconds, on a busy machine
BARE, REPEAT = "board.program=/usr/lib/board/bare", "board.program=/usr/lib/board/repeat"
READY, PEAK = "repeat: ready", "repeat: peak "
PROGRAM = "/usr/bin/teskupdater"

# What might shorten the start, beside the settings of the package, which come first.
VARIANTS = {
    "as the package starts it": PROGRAM,
    "a bare Qt window": "/usr/lib/board/bare",
    "without a cache of the fonts": f"FONTCONFIG_FILE=/run/uncached.conf {PROGRAM}",
    "with the system's list of fonts": f"-u FONTCONFIG_FILE {PROGRAM}",
    "without input methods": f"QT_IM_MODULE=none {PROGRAM}",
    "without the touch screen": f"-u QT_QPA_GENERIC_PLUGINS {PROGRAM}",
    "all symbols bound at the start": f"LD_BIND_NOW=1 {PROGRAM}",
}


def is_painted(stage: BoardStage) -> bool:
    """Whether less than half of the screen is black: what has been there before may leave a few lines."""
    picture = stage.picture()
    return picture.convert("L").histogram()[0] * 2 < picture.width * picture.height


def from_power_on(stage: BoardStage, parameters: str = "") -> tuple[float, ...]:
    """How long each phase takes."""
    stage.power_on(parameters)
    at: list[float] = []
    gives_up_at = time.monotonic() + STARTS_WITHIN
    while time.monotonic() < gives_up_at:
        for event in stage.take():
            match event:
                case Complained(line) if line.startswith("bootloader: version"):
                    at.append(stage.worked())
                case Started():
                    at.append(stage.worked())
        if len(at) == 2 and is_painted(stage):
            at.append(stage.worked())
            stage.cut_power()
            return tuple(end - begin for begin, end in zip([0.0, *at], at))
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    raise StageError("there was no picture")


class Repeater:
    """A board that has started no updater, and starts it again and again."""

    def __init__(self, stage: BoardStage):
        self._stage = stage
        stage.power_on(REPEAT)
        self._heard(READY)

    def start(self, command: str) -> tuple[float, float]:
        """Seconds to the first picture, and the peak memory in megabytes a little later."""
        stage = self._stage
        gives_up_at = time.monotonic() + STARTS_WITHIN
        while is_painted(stage):
            select.select(stage.descriptors(), [], [], LOOKS_EVERY)
        begin = stage.worked()
        stage.type(f"{command}\n")
        while not is_painted(stage):
            if time.monotonic() > gives_up_at:
                raise StageError(f"{command} paints nothing")
            select.select(stage.descriptors(), [], [], LOOKS_EVERY)
        seconds = stage.worked() - begin
        stage.type("\n")
        peak = float(self._heard(PEAK).split()[0]) / 1024
        self._heard(READY)
        return seconds, peak

    def _heard(self, beginning: str) -> str:
        """Waits for a line of the board's; gives what follows its beginning."""
        gives_up_at = time.monotonic() + STARTS_WITHIN
        while time.monotonic() < gives_up_at:
            for event in self._stage.take():
                match event:
                    case Said(line) if line.startswith(beginning):
                        return line.removeprefix(beginning)
            select.select(self._stage.descriptors(), [], [], LOOKS_EVERY)
        raise StageError(f'the board does not say "{beginning}"')
