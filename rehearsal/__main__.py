"""Starts the rehearsal: python3 PATH/rehearsal from anywhere, or python3 -m rehearsal."""

import sys
from pathlib import Path

if not __package__:  # started by its path: make the package known
    sys.path[0] = str(Path(__file__).resolve().parent.parent)

from rehearsal.conduct import main  # noqa: E402  the path comes first

sys.exit(main())
