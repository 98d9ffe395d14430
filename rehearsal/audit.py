"""Looks at what is to be rehearsed before it is: what the program would pass over in silence."""

import json
import subprocess
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
SECONDS = 60.0


class AuditError(Exception):
    """There could not be looked; the text says why."""


def run(*command: str | Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=SECONDS)


def faults(audit: Path, scratch: Path, scripts: Path | None = None, stick: Path | None = None) -> list[str]:
    """The faults that `audit`, the command, finds on a fresh instrument with these scripts and this stick:
    "path: what is wrong: what the user would see". Scratch is where the instrument may be made."""
    instrument = scratch / "audited"
    chosen: list[str | Path] = ["--scripts", scripts] if scripts else []
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
