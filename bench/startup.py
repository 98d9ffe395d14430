"""From the start of the program to its first picture, and its peak memory, beside a bare window's."""

import os
import statistics
import sys

from common import BARE, UPDATER, Results, Run, interleaved, ratio, spread
from screen import Screen

SUBJECTS = {
    "updater": UPDATER,
    "bare window": BARE,
    "bare window, no OpenGL": [*BARE, "no-opengl"],
}
# What the recorder saw, put into the order in which it happens; "build" is what lies between.
PHASES = {
    "link": "linking and loading",
    "application": "application object: platform plugin, fonts' list",
    "build": "window: command line, form, texts",
    "probe": "shell that writes the bootloader version",
    "sync": "sync()",
    "show": "native window, style, fonts, layout",
    "paint": "first picture",
}


def on_screen(screen: Screen, subject: str) -> dict[str, float]:
    """As a person sees it: an X client that waits for the picture."""
    run = Run(SUBJECTS[subject])
    painted = screen.await_picture()
    run.await_idle()
    result = {"ms": (painted - run.started) * 1e3, "MB": run.peak_memory()}
    run.kill()
    screen.await_blank()
    return result


def recorded(subject: str) -> dict[str, float]:
    """As the program does it: the end of the first flush of a window's content, and what led there."""
    reader, writer = os.pipe()
    run = Run(SUBJECTS[subject], record=writer)
    os.close(writer)
    times: dict[str, tuple[float, float]] = {}
    with os.fdopen(reader) as lines:
        for line in lines:
            name, begin, end = line.split()
            times[name] = (float(begin), float(end))
            if name == "paint":
                break
        run.await_idle()
        memory = run.peak_memory()
        run.kill()
    return {"ms": (times["paint"][1] - run.started) * 1e3, "MB": memory} | phases(run.started, times)


def phases(started: float, times: dict[str, tuple[float, float]]) -> dict[str, float]:
    nothing = (0.0, 0.0)
    spans = {
        "link": (started, times["main"][0]),
        "application": times["application"],
        "probe": (times.get("processStart", nothing)[0], times.get("processWait", nothing)[1]),
        "sync": times.get("flushFiles", nothing),
        "show": times["show"],
        "paint": (times["show"][1], times["paint"][1]),
    }
    result = {name: (end - begin) * 1e3 for name, (begin, end) in spans.items()}
    result["build"] = (times["paint"][1] - started) * 1e3 - sum(result.values())
    return result


def report(title: str, results: Results) -> None:
    print(f"\n{title}")
    print(f"{'':24}{'ms':>22}{'updater / it':>20}{'peak MB':>10}{'updater / it':>14}")
    updater = results["updater"]
    for subject, values in results.items():
        line = f"{subject:24}{spread(values['ms']):>22}"
        memory = statistics.median(values["MB"])
        if subject == "updater":
            print(f"{line}{'':20}{memory:>10.1f}")
        else:
            print(
                f"{line}{ratio(updater['ms'], values['ms']):>20}{memory:>10.1f}"
                f"{statistics.median(updater['MB']) / memory:>14.2f}"
            )


def report_phases(results: Results) -> None:
    print(f"  {'where it goes, ms':50}" + "".join(f"{subject:>24}" for subject in results))
    for phase, text in PHASES.items():
        print(f"  {text:50}" + "".join(f"{spread(values[phase], 2):>24}" for values in results.values()))


def main() -> None:
    rounds = int(sys.argv[1])
    subjects = list(SUBJECTS)
    os.environ["QT_QPA_PLATFORM"] = "xcb"
    screen = Screen(os.environ["DISPLAY"])
    report(
        "xcb, until the picture is on the screen",
        interleaved(rounds, subjects, lambda subject: on_screen(screen, subject)),
    )
    for platform in "xcb", "offscreen":
        os.environ["QT_QPA_PLATFORM"] = platform
        results = interleaved(rounds, subjects, recorded)
        report(f"{platform}, until the program has handed its picture over", results)
        report_phases(results)


main()
