"""What a verdict is about: one rehearsal, and one line of what came of it."""

import datetime
from dataclasses import dataclass

from rehearsal.holdings import RECOVERY, Holdings
from rehearsal.modes import FAILED, REJECTED, UPDATED, Mode
from rehearsal.record import Record
from rehearsal.source import Source

NEXT_VERSION = {"": "1", "1": "7", "7": "8", "8": "1"}
NETWORK_LOG = f"{RECOVERY}/update_files/update/update.log"


def reboots(mode: Mode, outcome: str) -> bool:
    """A rejection is the end where the user stands before the instrument with his stick."""
    return outcome != REJECTED or mode.network or mode.blank


@dataclass(frozen=True)
class Line:
    """One thing, described twice in the same words: as it is, and as it should be."""
    what: str
    now: str
    promised: str

    @property
    def ok(self) -> bool:
        return self.now == self.promised


@dataclass(frozen=True)
class Case:
    """What was rehearsed, what had to come of it, and what did."""
    mode: Mode
    outcome: str
    source: Source
    before: Holdings
    after: Holdings
    record: Record
    started: datetime.datetime  # in UTC

    @property
    def target(self) -> str | None:
        """The version partition that has to be written, if any."""
        return NEXT_VERSION.get(self.before.active) if self.outcome == UPDATED else None

    @property
    def given_up(self) -> str | None:
        """The version partition that was being written when the update turned out not to be what was checked."""
        return NEXT_VERSION.get(self.before.active) if self.outcome == FAILED else None

    @property
    def overrides(self) -> bool:
        """Whether the program finds overrides, which it handles before anything else."""
        return not self.mode.network and bool(self.source.overrides())

    @property
    def reboots(self) -> bool:
        return reboots(self.mode, self.outcome)

    @property
    def log(self) -> str:
        """The log that has to tell what happened."""
        if self.mode.tour:
            return "var/log/maintenance.log"
        if self.mode.network:
            return NETWORK_LOG
        if not self.source.takes_a_log:
            return NETWORK_LOG
        only_overrides = self.overrides and self.outcome != UPDATED
        return f"media/usb0/update/{'update_override' if only_overrides else 'update'}.log"
