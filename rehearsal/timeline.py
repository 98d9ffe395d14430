"""Touches, scripts and progress on one time line: where everything lies in a drawing of it."""

from collections.abc import Sequence
from dataclasses import dataclass, field

from rehearsal.deeds import Deed, ended
from rehearsal.modes import PROGRESS
from rehearsal.report import Event

# In the drawing's own units.
WIDTH, LEFT, RIGHT = 900, 285, 30
HEAD, ROW, STEPS_HEIGHT, FOOT = 6, 18, 90, 26
MOST_TOUCH_ROWS = 6
SMALLEST = 2.0  # width of a script that was shorter than can be seen
TICKS = (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1800, 3600)  # seconds between two marks
MOST_TICKS = 12


@dataclass(frozen=True)
class Bar:
    x: float
    y: float
    width: float
    label: str
    title: str
    failed: bool


@dataclass(frozen=True)
class Mark:
    x: float
    label: str
    y: float = 0


@dataclass
class Timeline:
    height: float = 0
    foot: float = 0  # where the times stand
    steps_top: float = 0
    steps_bottom: float = 0
    width: int = WIDTH
    left: int = LEFT
    row: int = ROW
    bars: list[Bar] = field(default_factory=list)
    touch_rows: bool = True  # one for each touch, else all are in one
    touches: list[Mark] = field(default_factory=list)
    ticks: list[Mark] = field(default_factory=list)
    path: str = ""  # of the progress, as SVG draws it


def draw(events: Sequence[Event], deeds: Sequence[Deed]) -> Timeline:
    end = max((event.at for event in events), default=0.0)
    end = max(end, *(deed.run.ended or deed.run.started for deed in deeds), 1.0) if deeds else max(end, 1.0)

    def x(at: float) -> float:
        return round(LEFT + at / end * (WIDTH - LEFT - RIGHT), 1)

    line = Timeline()
    touches = [event for event in events if event.kind == "touch"]
    line.touch_rows = len(touches) <= MOST_TOUCH_ROWS
    for row, event in enumerate(touches):
        name = event.text.rpartition(" at ")[0] or event.text
        line.touches.append(Mark(x(event.at), name, HEAD + (row if line.touch_rows else 0) * ROW + ROW / 2))
    first = len(touches) if line.touch_rows else 1
    for row, deed in enumerate(deeds, first):
        run = deed.run
        until = run.ended if run.ended is not None else end
        how = f"{ended(run)} after {until - run.started:.2f} s" if not deed.restarted else "restarted the instrument"
        line.bars.append(
            Bar(
                x(run.started),
                HEAD + row * ROW,
                max(SMALLEST, round(x(until) - x(run.started), 1)),
                run.name,
                f"{run.name} {how}",
                deed.failed,
            )
        )
    steps = [
        (x(event.at), PROGRESS[event.text.removeprefix("| ")])
        for event in events
        if event.kind == "console" and event.text.removeprefix("| ") in PROGRESS
    ]
    line.steps_top = HEAD + (first + len(deeds)) * ROW + 14
    line.steps_bottom = line.steps_top + (STEPS_HEIGHT if steps else 0)
    line.foot = line.steps_bottom + 18
    line.height = line.steps_bottom + FOOT
    line.ticks = [Mark(x(at), f"{at:g} s") for at in ticks(end)]
    line.path = progress(line, steps, x(end))
    return line


def ticks(end: float) -> list[float]:
    apart = next((apart for apart in TICKS if end / apart <= MOST_TICKS), TICKS[-1])
    return [round(number * apart, 1) for number in range(int(end / apart) + 1)]


def progress(line: Timeline, steps: Sequence[tuple[float, int]], end: float) -> str:
    """A staircase from one value to the next."""
    if not steps:
        return ""

    def y(percent: int) -> float:
        return round(line.steps_bottom - percent / 100 * STEPS_HEIGHT, 1)

    path = f"M{steps[0][0]},{y(steps[0][1])}"
    for x, percent in steps[1:]:
        path += f"H{x}V{y(percent)}"
    return f"{path}H{end}"
