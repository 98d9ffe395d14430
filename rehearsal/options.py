"""What a user can ask of a rehearsal. usage.txt, shown also where there is no Python yet, explains it."""

import argparse
import math
import os
from pathlib import Path

from rehearsal.modes import MODES, OVERRIDDEN, REJECTED, UPDATED
from rehearsal.stages import STAGES
from rehearsal.tourscreens import SIZES

LEAST_PATIENCE = 7


class Arguments(argparse.ArgumentParser):
    def __init__(self) -> None:
        super().__init__(prog="rehearse", add_help=False, allow_abbrev=False)
        self.add_argument("--mode", choices=MODES, default="usb")
        self.add_argument("--stick", default="good")
        self.add_argument("--expect", choices=(UPDATED, REJECTED, OVERRIDDEN))
        self.add_argument("--scripts", type=Path)
        self.add_argument("--on", choices=STAGES, default=next(iter(STAGES)))
        self.add_argument("--screen", choices=SIZES, default=SIZES[0])
        self.add_argument("--touch", action="store_true")
        self.add_argument("--patience", type=float, default=60.0)
        self.add_argument("--folder", type=Path)
        self.add_argument("--program", type=Path, required=True)

    def format_usage(self) -> str:
        return "./rehearse --help tells what there is\n"


def parse_arguments() -> argparse.Namespace:
    parser = Arguments()
    arguments = parser.parse_args()
    if arguments.stick == "good":  # the mode's first, whatever it is called
        arguments.stick = MODES[arguments.mode].sources[0][0]
    if arguments.touch and not os.environ.get("DISPLAY"):
        parser.error("--touch needs a display to open the window on")
    if not math.isfinite(arguments.patience) or arguments.patience < LEAST_PATIENCE:
        parser.error(f"--patience takes {LEAST_PATIENCE} or more seconds: the program itself is silent for six "
                     "while it looks for a stick")
    if not os.access(arguments.program, os.X_OK) or not arguments.program.is_file():
        parser.error(f"there is no program {arguments.program}")
    if arguments.scripts and not arguments.scripts.is_dir():
        parser.error(f"there is no directory {arguments.scripts}")
    return arguments
