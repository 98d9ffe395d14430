"""Looks at what is to be rehearsed before it is: what the program would pass over in silence."""

import argparse
import json
import subprocess
from collections.abc import Iterator
from pathlib import Path

from rehearsal.description import Description
from rehearsal.modes import MODES
from rehearsal.source import Source

TOP = Path(__file__).resolve().parent.parent
SECONDS = 60.0


class AuditError(Exception):
    """There could not be looked; the text says why."""


def run(*command: str | Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=SECONDS)


def lines(arguments: argparse.Namespace, source: Source, description: Description, scratch: Path) -> Iterator[str]:
    """What the report says of the user's own scripts, stick and instrument before they are rehearsed."""
    mode = MODES[arguments.mode]
    if not (arguments.scripts or arguments.instrument or arguments.stick not in dict(mode.sources)):
        return  # ours have no faults but those that they are made for
    audit = arguments.program.resolve().parent / "teskupdater-audit"
    if not audit.is_file():
        yield f"It was not looked at beforehand: there is no {audit}."
        return
    try:
        stick = None if mode.network else source.path
        found = faults(audit, scratch, arguments.scripts, stick, description.file)
    except (AuditError, OSError, ValueError, subprocess.TimeoutExpired) as error:
        yield f"It could not be looked at beforehand: {error}."
        return
    found = [fault for fault in found if concerns(fault, description)]
    if found:
        yield "What teskupdater-audit found beforehand:"
    for fault in found:
        yield f"  - {fault}"


def concerns(fault: str, description: Description) -> bool:
    """A script that the instrument is not meant to have is not missed."""
    path = fault.partition(": ")[0]
    return not path.startswith("/etc/update/") or description.has(path.rpartition("/")[2])


def faults(
    audit: Path,
    scratch: Path,
    scripts: Path | None = None,
    stick: Path | None = None,
    description: Path | None = None,
) -> list[str]:
    """The faults that `audit`, the command, finds on a fresh instrument with these scripts and this stick:
    "path: what is wrong: what the user would see". Scratch is where the instrument may be made."""
    instrument = scratch / "audited"
    chosen: list[str | Path] = ["--scripts", scripts] if scripts else []
    chosen += ["--instrument", description] if description else []
    made = run(TOP / "simulator/make-instrument", *chosen, instrument)
    if made.returncode != 0:
        raise AuditError(made.stderr.strip())
    binds: list[str | Path] = ["--ro-bind", audit, "/opt/audit"]
    looked_at = ["/"]
    if stick:
        binds += ["--ro-bind", stick, "/opt/stick"]
        looked_at += ["--stick", "/opt/stick"]
    # inside the sandbox, where the machine's programs are the instrument's
    told = run(TOP / "simulator/sandbox", instrument, *binds, "/opt/audit", "--json", *looked_at)
    if told.returncode not in (0, 1):
        raise AuditError(told.stderr.strip() or told.stdout.strip())
    findings = json.loads(told.stdout)["findings"]
    return [f"{each['path']}: {each['problem']}: {each['seen']}" for each in findings if each["fault"]]
