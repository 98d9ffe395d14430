"""What a verdict is about: one rehearsal, and one line of what came of it."""

import datetime
from dataclasses import dataclass, field

from rehearsal.description import Description
from rehearsal.holdings import Holdings
from rehearsal.modes import FAILED, REJECTED, UPDATED, Mode
from rehearsal.record import Record
from rehearsal.source import Source


def comes_back(mode: Mode, outcome: str) -> bool:
    """Whether it ends in a reboot. A rejection does not where the user stands before the instrument with his stick."""
    return outcome != REJECTED or mode.network or mode.blank


@dataclass(frozen=True)
class Line:
    """One thing, described twice in the same words: as it is, and as it should be."""

    what: str
    now: str
    promised: str
    paths: tuple[str, ...] = ()  # of the instrument, that it is about

    @property
    def ok(self) -> bool:
        return self.now == self.promised


@dataclass(frozen=True)
class Case:
    """What was rehearsed, what had to come of it, and what did."""

    mode: Mode
    outcome: str  # empty: whatever the scripts make of it, only the program is judged
    source: Source
    before: Holdings
    after: Holdings
    record: Record
    started: datetime.datetime  # in UTC
    asked: str = ""  # the end that the user expects where the outcome is empty
    unstartable: dict[str, str] = field(default_factory=dict)  # scripts that the program cannot start, and why

    @property
    def described(self) -> bool:
        """Whether there is a description to judge the instrument by."""
        return bool(self.outcome)

    @property
    def description(self) -> Description:
        return self.before.description

    @property
    def flaw(self) -> str:
        """Why this instrument has to reject the update; empty if it has no reason to."""
        return self.source.flaw(self.before.keys, any_bootloader=self.mode.blank)

    @property
    def target(self) -> str | None:
        """The version partition that has to be written, if any."""
        return self.description.after(self.before.active) if self.outcome == UPDATED else None

    @property
    def given_up(self) -> str | None:
        """The version partition that was being written when the update turned out not to be what was checked."""
        return self.description.after(self.before.active) if self.outcome == FAILED else None

    @property
    def overrides(self) -> bool:
        """Whether the program finds overrides, which it handles before anything else."""
        return not self.mode.network and bool(self.source.overrides())

    @property
    def reboots(self) -> bool:
        return comes_back(self.mode, self.outcome)

    @property
    def log(self) -> str:
        """The log that has to tell what happened, without the first slash; empty if the description names none."""
        logs = self.description.logs
        if self.mode.tour:
            return logs.maintenance.lstrip("/")
        if self.mode.network:
            return logs.download.lstrip("/")
        if not self.source.takes_a_log:
            return logs.fallback.lstrip("/")
        return (logs.override if self.overrides and self.outcome != UPDATED else logs.update).lstrip("/")
