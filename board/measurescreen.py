"""What a person waits for before the board's screen."""

import select
import time
from collections.abc import Callable

from board.measurestart import LOOKS_EVERY
from board.stage import BoardStage
from rehearsal.follow import READY
from rehearsal.likeness import share_of_tiles
from rehearsal.modes import PROGRESS
from rehearsal.stage import Ended, Event, Rebooted, Said, ScriptStarts, StageError
from rehearsal.tourscreens import MIDDLES

RUN_WITHIN = 1200.0  # seconds, on a busy machine
SHOWN_WITHIN = 600.0
RESTS_FOR = 5.0  # seconds
CHANGED = 0.01  # share of tiles; a cursor that blinks has less
LOG_LIST = ("main: Support Tools", "menu: View Logs", "logs: first row")


def longest_stillness(stage: BoardStage) -> tuple[float, str]:
    """Of an update: the longest time in which the screen stays as it is, and the step that it shows meanwhile."""
    shown, since, step, shows = None, 0.0, "", ""
    longest = (0.0, "")
    gives_up_at = time.monotonic() + RUN_WITHIN
    while time.monotonic() < gives_up_at:
        for event in stage.take():
            match event:
                case Said(line) if line in PROGRESS:
                    step = line
                case ScriptStarts():
                    stage.let_go()
                case Rebooted() | Ended():
                    return longest
        now = stage.picture()
        if step and shown != now:
            if since:
                longest = max(longest, (stage.worked() - since, shows))
            shown, since, shows = now, stage.worked(), step
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    raise StageError("the update does not end")


def open_log(stage: BoardStage) -> tuple[float, float]:
    """From the touch of "View File" to the first page of the first log, and from "Bottom" to its last line."""
    wait(stage, lambda event: isinstance(event, Said) and event.line == READY)
    at_rest(stage)
    for button in LOG_LIST:
        touch(stage, button)
    return touch(stage, "logs: View"), touch(stage, "log: Bottom")


def wait(stage: BoardStage, wanted: Callable[[Event], bool]) -> None:
    gives_up_at = time.monotonic() + SHOWN_WITHIN
    while time.monotonic() < gives_up_at:
        if any(wanted(event) for event in stage.take()):
            return
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    raise StageError("the program is not ready")


def touch(stage: BoardStage, button: str) -> float:
    """Seconds from the touch to the last change of the screen that it makes."""
    before = stage.picture()
    begin = stage.worked()
    stage.touch(*MIDDLES[button][0])
    gives_up_at = time.monotonic() + SHOWN_WITHIN
    while share_of_tiles(before, stage.picture()) <= CHANGED:
        if time.monotonic() > gives_up_at:
            raise StageError(f"nothing follows the touch of {button}")
        stage.take()
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    return at_rest(stage) - begin


def at_rest(stage: BoardStage) -> float:
    """When the screen changed last, once it has not changed for a while."""
    shown, changed, rests_until = stage.picture(), stage.worked(), time.monotonic() + RESTS_FOR
    while time.monotonic() < rests_until:
        stage.take()
        now = stage.picture()
        if share_of_tiles(shown, now) > CHANGED:
            shown, changed, rests_until = now, stage.worked(), time.monotonic() + RESTS_FOR
        select.select(stage.descriptors(), [], [], LOOKS_EVERY)
    return changed
