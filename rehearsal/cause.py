"""What went wrong, in one sentence each, in the order in which it happened, with the script that did it."""

from collections.abc import Iterator

from rehearsal import course
from rehearsal.case import Case, Line
from rehearsal.deeds import MADE, REMOVED, Deed, deeds, ended, marker
from rehearsal.description import on_screen, short
from rehearsal.holdings import MARKER
from rehearsal.modes import (
    FAILED,
    MESSAGES,
    OVERRIDDEN,
    OVERRIDE_SCRIPT,
    REBOOT_SCRIPTS,
    REJECTED,
    UPDATED,
    VERIFIED,
    WRITTEN,
)
from rehearsal.promise import RECOVERY_SCRIPT

IMAGE_SCRIPTS = WRITTEN[:-1]  # each writes an image
AS_IF_DONE = "the program goes on as if it had done its work"
FOLLOWS = {
    RECOVERY_SCRIPT: "the program took the way to the reboot",
    VERIFIED[0]: "the program goes on as if it had accepted the update",
    VERIFIED[1]: "the program goes on as if it had accepted the update",
    OVERRIDE_SCRIPT: "the program starts it again every second",
    **dict.fromkeys(REBOOT_SCRIPTS, "the program stays, with its last screen"),
}


def findings(case: Case, lines: list[Line]) -> list[str]:
    """The first is what went wrong first. What no script has done comes last."""
    found = list(dict.fromkeys((*of_scripts(case, lines), *of_the_run(case))))
    return found or [sentence for line in lines if not line.ok for sentence in (of_line(case, line),)][:1]


def of_scripts(case: Case, lines: list[Line]) -> Iterator[str]:
    if case.mode.tour:
        yield from (f"{name} {why}: {AS_IF_DONE}" for name, why in missed(case).items())
        for deed in deeds(case):
            yield from of_ending(case, deed, lines)
        return
    waiting = missed(case)
    order = list(MESSAGES)
    for deed in deeds(case):
        reached = order.index(deed.run.name) if deed.run.name in order else -1
        for name in [name for name in waiting if name not in order or order.index(name) < reached]:
            yield from of_unstartable(case, name, waiting.pop(name))
        for look in (of_slots, of_files, of_marker, of_switch, of_ending, of_idleness):
            yield from look(case, deed, lines)
    for name, why in waiting.items():
        yield from of_unstartable(case, name, why)


def missed(case: Case) -> dict[str, str]:
    """The scripts that cannot be started although the instrument has to have them."""
    return {name: why for name, why in case.unstartable.items() if case.description.has(name) or case.mode.tour}


def of_unstartable(case: Case, name: str, why: str) -> Iterator[str]:
    told = case.record.lines
    if any(message in told for message in MESSAGES.get(name, ["Implementing overrides..."])):
        yield f"{name} {why}: {FOLLOWS.get(name, 'the program goes on as if it had run')}"


def of_slots(case: Case, deed: Deed, _: list[Line]) -> Iterator[str]:
    """Partitions that were not this script's to write."""
    if not case.described:
        return
    told, name = case.description, deed.run.name
    wanted = told.slots_of(case.target or "") if case.target else {}
    for device, how in deed.slots.items():
        of, path = told.version_of(device), f"dev/{device}"
        if how == REMOVED:
            yield f"{name} removed /{path}"
        elif case.given_up and (of == case.given_up or (case.mode.blank and how == MADE)):
            continue  # what a new partition holds in the end, the verdict tells
        elif case.outcome != UPDATED:
            yield f"{name} wrote to {short(device)}, although the update {has_to_be(case)}"
        elif of and of == deed.before.active and of != case.target:
            yield f"{name} wrote to {short(device)}, which is the active version's"
        elif of and device not in wanted:
            yield f"{name} wrote to {short(device)}, which is of version {on_screen(of)}, not of the one to update"
        elif device not in wanted and not case.mode.blank:
            yield f"{name} wrote to {short(device)}, to which no file of an update goes"
        size = told.partitions[device].size if device in told.partitions else 0
        kept = deed.after.files.get(path) == case.after.files.get(path)  # what can be read now is what it wrote
        if kept and (now := len(case.after.read(path, size + 1))) > size:
            yield f"{name} wrote more than {now - 1} bytes to {short(device)}, which has no more"


def has_to_be(case: Case) -> str:
    return f"has to be {'given up' if case.outcome == FAILED else case.outcome}"


def of_files(case: Case, deed: Deed, _: list[Line]) -> Iterator[str]:
    """Files that have to survive, or are another version's."""
    if not case.described:
        return
    told = case.description
    for how in ("removed", "changed", "made"):
        paths = [path for path, was in deed.files.items() if was == how and keeps(case, path)]
        if paths:
            more = f" and {len(paths) - 1} more" if len(paths) > 1 else ""
            yield f"{deed.run.name} {how} {deed.before.known_as(paths[0])}{more}"
    if told.versions.active and not deed.after.active and deed.before.active:
        yield f"{deed.run.name} left {told.versions.active} naming no version"


def keeps(case: Case, path: str) -> bool:
    """Whether an update must not touch a file."""
    told = case.description
    if case.outcome == OVERRIDDEN and path == told.update.overrides.lstrip("/"):
        return False
    survivors = [case.before.real(file) for file in told.survives.files]
    others = [version for version in told.versions.ring if version != case.target]
    survivors += [
        told.path_of(template, version)
        for version in others
        for template in (told.versions.user_files, told.versions.manifest)
        if template and (template != told.versions.manifest or version != case.given_up)
    ]
    return any(path == one or path.startswith(f"{one}/") for one in survivors)


def of_marker(case: Case, deed: Deed, _: list[Line]) -> Iterator[str]:
    name, left = deed.run.name, deed.after.marker is not None
    if name in VERIFIED:
        if left and case.outcome in (UPDATED, "") and MARKER in deed.changes:
            yield f"{name} left {marker(deed.after)}: the program rejects the update"
        elif not left and case.outcome == REJECTED and deed.run.code == "0" and name == VERIFIED[1]:
            flaw = case.flaw or "it has to be rejected"
            yield f"{name} accepted the update, although {flaw}"
    elif left and deed.before.marker is None and name != OVERRIDE_SCRIPT and case.outcome == UPDATED:
        yield f"{name} left {marker(deed.after)}: the next check rejects the update"


def of_switch(case: Case, deed: Deed, lines: list[Line]) -> Iterator[str]:
    """Another version made active than the one to update, or one that is not whole."""
    active, name = deed.after.active, deed.run.name
    if not case.described or active in ("", deed.before.active):
        return
    if active != case.target:
        wanted = f"not {on_screen(case.target)}" if case.target else f"although the update {has_to_be(case)}"
        yield f"{name} made version {on_screen(active)} the active one, {wanted}"
        return
    for device, image in case.description.slots_of(active).items():
        path = f"dev/{device}"
        wrong = any(path in line.paths and not line.ok for line in lines)
        if wrong and deed.after.files.get(path) == case.after.files.get(path):
            yield (
                f"{name} made version {on_screen(active)} the active one, although {short(device)} does not hold "
                f"{image}"
            )
            return


def of_ending(case: Case, deed: Deed, _: list[Line]) -> Iterator[str]:
    run, name = deed.run, deed.run.name
    if run.ended is None:
        if deed.restarted and not deed.may_restart and not case.mode.tour:
            yield f"{name} restarted the instrument in the middle of the update"
        elif not deed.restarted:
            patience = case.record.fault.partition(",")[0]
            yield f"{name} did not end ({patience or 'it was broken off'}): the program waits for it without a limit"
        return
    if name in REBOOT_SCRIPTS and not case.after.reboots:
        yield f"{name} {ended(run)} and did not restart the instrument: {FOLLOWS[name]}"
        return
    if run.code == "0" or name in REBOOT_SCRIPTS or not wrong_code(case, deed):
        return
    if name in VERIFIED:
        if deed.after.marker is None:
            yield f"{name} {ended(run)} but left no /{MARKER}: the program goes on"
    else:
        yield f"{name} {ended(run)}: {FOLLOWS.get(name, AS_IF_DONE)}"


def wrong_code(case: Case, deed: Deed) -> bool:
    if deed.run.name == OVERRIDE_SCRIPT:
        return deed.after.marker is None and deed.run.code not in ("0", "1", "2")
    if not case.described or case.mode.tour:
        return True
    allowed = course.expected_scripts(case).get(deed.run.name, {"0"})
    # a check that was to reject may end as it likes, but only if it did reject
    return allowed is not None and deed.run.code not in allowed or deed.run.name in VERIFIED


def of_idleness(case: Case, deed: Deed, lines: list[Line]) -> Iterator[str]:
    """Scripts that were to write an image and changed nothing, if at the end one is in none of its partitions."""
    if case.outcome != UPDATED or deed.run.name not in IMAGE_SCRIPTS or deed.run.code != "0":
        return
    missed = {path for line in lines if not line.ok for path in line.paths if path.startswith("dev/")}
    # since this script: an earlier one may have let its own image pass through the partition
    missed = {path for path in missed if case.after.files.get(path) == deed.before.files.get(path)}
    idle = [
        one.run.name
        for one in deeds(case)
        if one.run.name in IMAGE_SCRIPTS and one.run.code == "0" and not one.slots and not one.files
    ]
    if missed and deed.run.name in idle:
        yield f"{' and '.join(idle)} ended with 0, but changed nothing on the instrument"


def of_the_run(case: Case) -> Iterator[str]:
    fault, status = case.record.fault, case.record.exit_status
    if fault and not fault.startswith("nothing happened"):
        yield f"The rehearsal was broken off: {fault}"
    elif fault.endswith("no script was running"):
        yield f"The program stood still: {fault}"
    elif status is not None and not case.after.reboots and not fault:
        yield f"The program ended by itself, exit status {status}"


def of_line(case: Case, line: Line) -> str:
    """The script that last touched what a line is about."""
    words = f"{line.what}: {line.now}, promised: {line.promised}"
    by = [deed.run.name for deed in deeds(case) if any(path in deed.changes for path in line.paths)]
    return f"{by[-1]} left it so: {words}" if by else f"No script has done it: {words}" if line.paths else words
