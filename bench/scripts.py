"""What the program adds to each script of an update, beside a shell loop over the same scripts."""

import os
import subprocess
import sys
from pathlib import Path

from common import interleaved, ratio, spread
from update import SCRIPTS, make_scripts, run_update

LOOP = ["/bin/sh", "-c", 'for script in "$@"; do "$script"; done', "loop"]
FIRST, LAST = SCRIPTS[0], SCRIPTS[-2]  # before the last one, the reboot, the program flushes the disks


def per_script(subject: str) -> dict[str, float]:
    """From the end of the first script to the start of the last but one, by their own clocks."""
    for name in "begin", "end":
        Path("/tmp", name).unlink(missing_ok=True)
    if subject == "sh loop":
        subprocess.run([*LOOP, *(f"/etc/update/{script}" for script in SCRIPTS)], check=True)
    else:
        os.environ["QT_QPA_PLATFORM"] = subject.split()[1]
        run_update().kill()
    begin, end = (float(Path("/tmp", name).read_text()) for name in ("begin", "end"))
    return {"ms": (end - begin) * 1e3 / SCRIPTS.index(LAST)}


def main() -> None:
    make_scripts({FIRST: "date +%s.%N >/tmp/begin", LAST: "date +%s.%N >/tmp/end"})
    results = interleaved(int(sys.argv[1]), ["sh loop", "updater offscreen", "updater xcb"], per_script)
    loop = results["sh loop"]["ms"]
    print(f"\n{'':24}{'ms per script':>22}{'added ms':>22}{'it / sh loop':>20}")
    for subject, values in results.items():
        line = f"{subject:24}{spread(values['ms'], 2):>22}"
        if subject != "sh loop":
            added = [mine - its for mine, its in zip(values["ms"], loop, strict=True)]
            line += f"{spread(added, 2):>22}{ratio(values['ms'], loop):>20}"
        print(line)


main()
