"""What the verdict says about the course of events: the scripts, the last word, the log, the reboot."""

import re
from collections import Counter
from collections.abc import Collection, Iterator

from rehearsal.case import Case, Line
from rehearsal.modes import (
    CHECKED,
    CLEANUP_SCRIPT,
    FAILED,
    FINISHED,
    OVERRIDDEN,
    OVERRIDE_SCRIPT,
    PROGRESS,
    REBOOTED,
    SWITCHED,
    UNZIPPED,
    UPDATED,
    VERIFIED,
    WRITTEN,
)
from rehearsal.record import ScriptRun

# What the program prints when a check has found the marker of a rejection, and after which script.
REJECTIONS = {"Version Checking...FAILED": VERIFIED[0], "Verifying Files...FAILED": VERIFIED[1]}
NAMED = 3  # differences told at most


def judge(case: Case) -> Iterator[Line]:
    expected = expected_scripts(case)
    yield Line("the run", run_text(case), "to its end")
    yield Line("scripts", scripts_text(expected, case.record.runs), all_ran(expected))
    yield Line("last word", last_word(case, wanted := promised_last_word(case)), wanted)
    logs = case.log and case.description.logs.every_script
    if logs:
        yield Line(case.log.rpartition("/")[2], log_text(case, expected), "a line of each script", (case.log,))
    if not case.reboots:
        place = "in the marker and in the log" if logs else "in the marker"
        yield Line("reason of the rejection", reason_text(case, place), place)
    reboots = {0: "none", 1: "one"}.get(case.after.reboots, str(case.after.reboots))
    yield Line("reboots", reboots, "one" if case.reboots else "none")


def expected_scripts(case: Case) -> dict[str, set[str] | None]:
    """The scripts that have to run, in order, with the exit codes they may end with; None is any."""
    scripts: dict[str, set[str] | None] = dict.fromkeys(filter(case.description.has, case.mode.scripts), {"0"})
    if case.outcome == UPDATED:
        # 1 the display is set like that already, 2 more than one override: the user then updates
        return {OVERRIDE_SCRIPT: {"1", "2"}, **scripts} if case.overrides else scripts
    if case.outcome == FAILED:  # the program goes on whatever becomes of an image
        return {**scripts, **dict.fromkeys(WRITTEN), **dict.fromkeys(SWITCHED, {"1"})}
    if case.overrides:
        return {OVERRIDE_SCRIPT: {"0"} if case.outcome == OVERRIDDEN else None}
    if case.mode.blank:
        return {CHECKED[0]: {"0"}, CHECKED[1]: None, case.mode.scripts[-1]: {"0"}}
    rejecting = next((REJECTIONS[line] for line in case.record.lines if line in REJECTIONS), VERIFIED[1])
    names = [name for name in case.mode.scripts[: case.mode.scripts.index(rejecting) + 1] if case.description.has(name)]
    expected = {name: None if name in VERIFIED + UNZIPPED else {"0"} for name in names}
    after = filter(case.description.has, (CLEANUP_SCRIPT, *REBOOTED)) if case.mode.network else ()
    return {**expected, **dict.fromkeys(after, {"0"})}


def all_ran(expected: Collection[str]) -> str:
    return f"{len(expected)} in their order, ended as they should"


def scripts_text(expected: dict[str, set[str] | None], runs: list[ScriptRun]) -> str:
    ran = [run.name for run in runs]
    times = Counter(ran)
    faults = [f"{name} did not run" for name in expected if name not in times]
    faults += [f"{name} was not to run" for name in times if name not in expected]
    faults += [f"{name} ran {count} times" for name, count in times.items() if count > 1]
    if not faults and ran != list(expected):
        faults.append(f"the order was {', '.join(ran)}")
    faults += [fault for run in runs if (fault := run_fault(run, expected.get(run.name)))]
    return shortened(faults) or all_ran(expected)


def run_fault(run: ScriptRun, allowed: set[str] | None) -> str:
    if run.ended is None:
        # the reboot takes its script with it
        return "" if run.name.endswith("Reboot.sh") or run.name == OVERRIDE_SCRIPT else f"{run.name} did not end"
    if run.code == "unstartable":
        return f"{run.name} cannot be started"
    if int(run.code) < 0:
        return f"{run.name} was killed by signal {-int(run.code)}"
    return "" if allowed is None or run.code in allowed else f"{run.name} ended with exit code {run.code}"


def shortened(faults: list[str]) -> str:
    return "; ".join(faults[:NAMED]) + (f"; and {len(faults) - NAMED} more" if len(faults) > NAMED else "")


def run_text(case: Case) -> str:
    if case.record.fault:
        return case.record.fault
    if case.record.exit_status is not None and not case.after.reboots:
        return f"the program ended by itself, exit status {case.record.exit_status}"
    return "to its end"


def promised_last_word(case: Case) -> str:
    if case.outcome == OVERRIDDEN:
        return "ostat = 0"
    if case.outcome in (UPDATED, FAILED) or case.mode.blank:
        return (
            "Net Update Successful, rebooting"
            if case.mode.network
            else "Update Successful, exiting"
            if case.mode.blank
            else "Update Successful, rebooting"
        )
    return "Net Update Failed, rebooting" if case.mode.network else FINISHED


def last_word(case: Case, promised: str) -> str:
    """The promised line if it was the last of its kind."""
    kind = [
        line for line in case.record.lines if line in (promised, FINISHED, *REJECTIONS) or PROGRESS.get(line, 0) == 100
    ]
    if promised == FINISHED and not any(line in REJECTIONS for line in kind):
        return "no rejection"
    if promised == "ostat = 0" and promised in kind:
        return promised
    return kind[-1] if kind else "none"


def log_text(case: Case, expected: Collection[str]) -> str:
    text = case.after.text(case.log)
    # the overrides have a log of their own, beside the update's
    names = list(case.mode.scripts if case.outcome == UPDATED else expected)
    if case.source.instead:  # the lines from before are on the first stick
        names = names[names.index(WRITTEN[0]) :]
    silent = [name for name in names if not re.search(rf"(?m)(?<![\w-]){re.escape(name)}", text)]
    return f"no line of {shortened(silent)}" if silent else "a line of each script"


def reason_text(case: Case, promised: str) -> str:
    if not case.after.marker:
        return "none in the marker"
    reason = case.after.marker.splitlines()[-1]
    missing = "log" in promised and reason not in case.after.text(case.log)
    return f"not in the log: {reason}" if missing else promised
