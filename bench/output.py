"""The program's peak memory while a script prints a gigabyte on both of its streams, and while none does."""

import os
import statistics
import sys
from pathlib import Path

from common import interleaved, spread
from update import make_scripts, run_update

PRINTED = Path("/tmp/printed")
PRINT = f"head -c 1G /dev/zero && head -c 1G /dev/zero >&2 && touch {PRINTED}"
SUBJECTS: dict[str, dict[str, str]] = {"silent scripts": {}, "1 GB on each stream": {"7-USB-rootfs.sh": PRINT}}


def peak_memory(subject: str) -> dict[str, float]:
    make_scripts(SUBJECTS[subject])
    PRINTED.unlink(missing_ok=True)
    run = run_update()
    memory = run.peak_memory()
    run.kill()
    if PRINTED.exists() != bool(SUBJECTS[subject]):
        raise RuntimeError(f"{subject}: that is not what the script did")
    return {"MB": memory}


def main() -> None:
    os.environ["QT_QPA_PLATFORM"] = "offscreen"
    results = interleaved(int(sys.argv[1]), list(SUBJECTS), peak_memory)
    silent = statistics.median(results["silent scripts"]["MB"])
    print(f"\n{'':24}{'peak MB':>22}{'above silent':>16}")
    for subject, values in results.items():
        print(f"{subject:24}{spread(values['MB'], 2):>22}{statistics.median(values['MB']) - silent:>16.2f}")


main()
