"""What each script did to the instrument, found by looking at it after every one."""

from collections.abc import Iterator
from dataclasses import dataclass

from rehearsal.case import Case
from rehearsal.description import on_screen, short
from rehearsal.holdings import MARKER, Holdings
from rehearsal.modes import OVERRIDE_SCRIPT, REBOOT_SCRIPTS, VERIFIED
from rehearsal.record import ScriptRun

MADE, CHANGED, REMOVED = "made", "changed", "removed"
NAMED = 4  # files told at most


@dataclass(frozen=True)
class Deed:
    """One script's run, and the instrument before and after it."""

    run: ScriptRun
    before: Holdings
    after: Holdings

    @property
    def changes(self) -> dict[str, str]:
        """What has become of each file that is not as it was, by its path without the first slash."""
        before, after = self.before.files, self.after.files
        return {
            path: REMOVED if path not in after else MADE if path not in before else CHANGED
            for path in sorted(before.keys() | after.keys())
            if before.get(path) != after.get(path)
        }

    @property
    def slots(self) -> dict[str, str]:
        """The same for partitions, by device."""
        return {path.removeprefix("dev/"): how for path, how in self.changes.items() if path.startswith("dev/")}

    @property
    def files(self) -> dict[str, str]:
        """The same for files, but for the partitions, the marker, logs, and what a restart changes."""
        home = self.before.description.versions.home.lstrip("/")
        return {
            path: how
            for path, how in self.changes.items()
            if not path.startswith("dev/")
            and path != MARKER
            and not is_log(path)
            and not (path == home and self.restarted)
        }

    @property
    def logs(self) -> list[str]:
        return [path for path in self.changes if is_log(path)]

    @property
    def restarted(self) -> bool:
        return self.run.ended is None and self.after.reboots > self.before.reboots

    @property
    def failed(self) -> bool:
        """Not so a check that has rejected the update, and an override that was not to be installed."""
        if self.run.name == OVERRIDE_SCRIPT and self.run.code in ("1", "2"):
            return False
        rejects = self.run.name in (*VERIFIED, OVERRIDE_SCRIPT) and self.after.marker is not None
        return not self.restarted and self.run.code != "0" and not (rejects and self.run.ended is not None)

    @property
    def may_restart(self) -> bool:
        return self.run.name in (*REBOOT_SCRIPTS, OVERRIDE_SCRIPT)


def is_log(path: str) -> bool:
    return path.startswith("var/log/") or path.endswith(".log")


def deeds(case: Case) -> Iterator[Deed]:
    before = case.before
    for run in case.record.runs:
        after = run.after or case.after
        yield Deed(run, before, after)
        before = after


def ended(run: ScriptRun) -> str:
    """How a script ended, in words that follow its name."""
    if run.ended is None:
        return "did not end"
    if run.code == "unstartable":
        return "cannot be started"
    return f"was killed by signal {-int(run.code)}" if int(run.code) < 0 else f"ended with {run.code}"


def told(deed: Deed) -> list[str]:
    """All that a script did, in words."""
    words = [
        f"{'wrote to' if how == CHANGED else how} {short(device)}, {deed.after.description.what_is(device)}"
        for device, how in deed.slots.items()
    ]
    if deed.after.active != deed.before.active:
        words.append(
            f"made version {on_screen(deed.after.active)} the active one"
            if deed.after.active
            else "left no version active"
        )
    if MARKER in deed.changes:
        words.append(f"removed /{MARKER}" if deed.after.marker is None else f"left {marker(deed.after)}")
    words += several(deed)
    words += [f"logged to {deed.before.known_as(path)}" for path in deed.logs]
    if deed.restarted:
        words.append("restarted the instrument")
    return words or ["changed nothing"]


def marker(holdings: Holdings) -> str:
    reason = (holdings.marker or "").splitlines()
    return f"/{MARKER}" + (f' ("{reason[-1]}")' if reason else ", empty")


def several(deed: Deed) -> list[str]:
    """What became of the files, the first ones by name."""
    words = []
    active = deed.before.description.versions.active.lstrip("/")
    for kind in (MADE, CHANGED, REMOVED):
        paths = [deed.before.known_as(path) for path, how in deed.files.items() if how == kind and path != active]
        words += [f"{kind} {path}" for path in paths[:NAMED]]
        if len(paths) > NAMED:
            words.append(f"{kind} {len(paths) - NAMED} more files")
    return words
