"""What the program promises whatever its scripts do: which it runs next, what it prints and shows of their results.

Told from the results that were seen: exit codes, and the marker that a check leaves. Each mode's course is
written down in modes.py, apart from the program's own tables.
"""

from collections.abc import Iterator
from dataclasses import dataclass, field

from rehearsal import course
from rehearsal.case import Case, Line
from rehearsal.deeds import Deed, deeds, ended
from rehearsal.modes import (
    CHECKED,
    CLEANUP_SCRIPT,
    FINISHED,
    MESSAGES,
    OVERRIDDEN,
    OVERRIDE_SCRIPT,
    PROGRESS,
    REBOOT_SCRIPTS,
    REJECTED,
    UPDATED,
    VERIFIED,
)

RECOVERY_SCRIPT = CHECKED[1]
RECOVERY_MESSAGE = MESSAGES[RECOVERY_SCRIPT][0]
REJECTION = {VERIFIED[0]: "Version Checking...FAILED", VERIFIED[1]: "Verifying Files...FAILED"}
GOES_ON, TO_REBOOT, REJECTS = "the update goes on", "to the reboot", "the update is rejected"


@dataclass
class Course:
    """What the program has to do after what has happened."""

    scripts: list[str] = field(default_factory=list)
    messages: list[str] = field(default_factory=list)  # of the steps, in their order
    prints: list[str] = field(default_factory=list)  # lines that tell what it made of a result
    results: list[tuple[str, str, str]] = field(default_factory=list)  # script, how it ended, what follows
    outcome: str = ""


def judge(case: Case) -> Iterator[Line]:
    """Only the program; if the user has asked for an end, also which the scripts have led to."""
    wanted = promised_course(case)
    yield Line("the run", course.run_text(case), "to its end")
    yield Line("order of the scripts", *compared_lists([run.name for run in case.record.runs], wanted.scripts))
    shown = [line for line in case.record.lines if line in PROGRESS]
    yield Line("steps shown", *compared_lists(shown, wanted.messages))
    lines = set(case.record.lines)
    # a step whose script cannot be started is gone before it can be pictured
    paused = {message for name in wanted.scripts for message in MESSAGES.get(name, ())}
    unseen = [line for line in shown if line in paused and f"{PROGRESS[line]} {line}" not in case.record.states]
    pictured = "a picture of each step"
    yield Line("screen", f'no picture of "{unseen[0]}"' if unseen else pictured, pictured)
    for script, how, follows in wanted.results:
        yield Line(f"{script} {how}", made_of(script, lines), follows)
    missing = [line for line in wanted.prints if line not in lines]
    yield Line(
        "prints",
        f'no "{missing[0]}"' if missing else f"{len(wanted.prints)} as they should be",
        f"{len(wanted.prints)} as they should be",
    )
    if case.asked:
        yield Line("the end", wanted.outcome or "none", case.asked)


def compared_lists(now: list[str], wanted: list[str]) -> tuple[str, str]:
    promised = f"{len(wanted)} as they should be"
    if now == wanted:
        return promised, promised
    place = next((i for i, pair in enumerate(zip(now, wanted)) if pair[0] != pair[1]), min(len(now), len(wanted)))
    found = now[place] if place < len(now) else "nothing more"
    return f"{found} in place {place + 1}", f"{wanted[place]} there" if place < len(wanted) else "nothing more there"


def made_of(script: str, lines: set[str]) -> str:
    """What the program made of a result, by what it printed."""
    if script == RECOVERY_SCRIPT:
        went_on = any(PROGRESS[RECOVERY_MESSAGE] < PROGRESS.get(line, 0) < 100 for line in lines)
        return GOES_ON if went_on else TO_REBOOT
    return REJECTS if REJECTION[script] in lines else GOES_ON


def promised_course(case: Case) -> Course:
    made = Course()
    runs = {deed.run.name: deed for deed in deeds(case)}
    if case.overrides and not after_override(case, made, runs.get(OVERRIDE_SCRIPT)):
        return made
    made.messages.append("Initializing Update...")
    for name in case.mode.scripts:
        if name not in REBOOT_SCRIPTS:
            step(case, made, name)
        deed = runs.get(name)
        if name == RECOVERY_SCRIPT:
            failed = name in case.unstartable or deed is not None and deed.run.code not in ("0", "")
            how = case.unstartable.get(name) or (ended(deed.run) if deed else "did not run")
            made.results.append((name, how, TO_REBOOT if failed else GOES_ON))
            if failed:
                return finish(case, made, "Net Update Failed, rebooting")
        elif name in VERIFIED:
            marked = (deed.after if deed else case.after).marker is not None
            how = "left the marker" if marked else "left no marker"
            made.results.append((name, how, REJECTS if marked else GOES_ON))
            if marked:
                return reject(case, made, name)
        if deed and deed.run.ended is None and name not in REBOOT_SCRIPTS:
            return made  # the program waits for it, or was ended with the instrument
    made.outcome = UPDATED
    return finish(case, made, "Net Update Successful, rebooting")


def step(case: Case, made: Course, name: str, message: str = "") -> None:
    """A script that cannot be started is announced like every other."""
    made.messages.append(message or MESSAGES[name][0])
    if name not in case.unstartable:
        made.scripts.append(name)


def reject(case: Case, made: Course, name: str) -> Course:
    made.outcome = REJECTED
    made.prints.append(REJECTION[name])
    if not case.mode.network:
        made.prints.append(FINISHED)
        return made
    step(case, made, CLEANUP_SCRIPT)
    return finish(case, made, "Net Update Failed, rebooting")


def finish(case: Case, made: Course, in_network: str) -> Course:
    message = (
        in_network
        if case.mode.network
        else "Update Successful, exiting"
        if case.mode.blank
        else "Update Successful, rebooting"
    )
    if not case.mode.blank:
        made.prints.append("REBOOTING...")
    step(case, made, case.mode.scripts[-1], message)
    return made


def after_override(case: Case, made: Course, deed: Deed | None) -> bool:
    """Whether an update follows."""
    made.prints.append("Implementing overrides...")
    if OVERRIDE_SCRIPT not in case.unstartable:
        # after an unknown result the installation is tried again
        made.scripts += [run.name for run in case.record.runs if run.name == OVERRIDE_SCRIPT]
    if deed is None or deed.run.ended is None:
        return False
    if deed.after.marker is not None:
        made.outcome = REJECTED
        made.prints += [REJECTION[VERIFIED[1]], "ostat = 98"]
        return False
    made.prints.append(f"ostat = {deed.run.code}")
    made.outcome = OVERRIDDEN if deed.run.code == "0" else ""
    return deed.run.code in ("1", "2")
