"""What is said of a rehearsal at its end: the cause in the first sentence, then what followed, then point by point."""

from collections.abc import Sequence
from dataclasses import dataclass

from rehearsal import promise, tourverdict, verdict
from rehearsal.case import Case, Line
from rehearsal.cause import findings, missed
from rehearsal.deeds import deeds, ended, told
from rehearsal.modes import FAILED, OVERRIDDEN, REJECTED, TOURED, UPDATED
from rehearsal.report import Report
from rehearsal.tour import Visit

ENDS = {
    UPDATED: "the update is installed",
    REJECTED: "the update is rejected",
    OVERRIDDEN: "the override is installed, and nothing else",
    FAILED: "the update is given up, and the version that was active is still",
    TOURED: "every screen was seen and did what it has to do",
}
LAST_LINES = 10  # of what a script printed that has failed


@dataclass(frozen=True)
class Judgement:
    good: bool
    head: str  # one sentence
    followed: list[str]  # further ones, in the order in which it happened
    lines: list[Line]


def judge(case: Case, visits: list[Visit], further: Sequence[Line] = ()) -> Judgement:
    """The further lines are a stage's own: what came up after the reboot."""
    if not case.described:
        lines = list(tourverdict.program(case, visits) if case.mode.tour else promise.judge(case))
    else:
        lines = list(tourverdict.judge(case, visits) if case.mode.tour else verdict.judge(case))
    lines += further
    good, found = all(line.ok for line in lines), findings(case, lines)
    if not good:
        return Judgement(False, f"{found[0]}.", found[1:], lines)
    head = (
        f"As promised: {ENDS[case.outcome]}{reason(case)}."
        if case.described
        else "The program did as it promises whatever the scripts do."
    )
    return Judgement(True, head, found, lines)


def reason(case: Case) -> str:
    """The last line of the marker, which says why an update is rejected."""
    lines = (case.after.marker or "").splitlines() if case.outcome == REJECTED else []
    return f', "{lines[-1]}"' if lines else ""


def say(judgement: Judgement, case: Case, report: Report) -> None:
    if case.after.text(case.log):
        report.say(f"\n{case.log.rpartition('/')[2]} of the instrument:")
        for line in case.after.text(case.log).splitlines():
            report.say(f"  | {line}")
    say_deeds(case, report)
    report.say(f"\nVerdict: {judgement.head}")
    if judgement.followed:
        report.say("Of note:" if judgement.good else "What followed:")
        for sentence in judgement.followed:
            report.say(f"  - {sentence}")
    report.say("Point by point, what is now:")
    report.table(judgement.lines)
    wrong = sum(not line.ok for line in judgement.lines)
    report.say(f"\n{f'NOT as promised, in {wrong} of {len(judgement.lines)} points.' if wrong else 'As promised.'}")


def say_deeds(case: Case, report: Report) -> None:
    report.say("\nWhat each script did:")
    for deed in deeds(case):
        report.say(f"  {deed.run.name} {ended(deed.run) if not deed.restarted else 'restarted'}")
        for words in told(deed):
            report.say(f"      {words}")
        if deed.failed:
            say_printed(deed.run.printed, report)
    for name, why in missed(case).items():
        report.say(f"  {name} {why}")


def say_printed(printed: str, report: Report) -> None:
    """The last lines of what a script has printed."""
    lines = printed.splitlines()
    report.say(f"      the last of {len(lines)} lines that it printed:" if lines else "      it printed nothing")
    for line in lines[-LAST_LINES:]:
        report.say(f"      | {line}")
