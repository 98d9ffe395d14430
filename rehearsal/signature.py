"""Whether an update is signed by a key that an instrument knows; found out without the instrument's scripts."""

import subprocess
import tempfile
from collections.abc import Sequence
from pathlib import Path

VERIFIES_WITHIN = 60  # seconds
BESIDE = ".minisig"  # what the name of an archive's signature has more than the archive's


def flaw_of(file: Path, signature: Path, keys: Sequence[bytes]) -> str:
    """What is wrong with the signature of a file, minisign's; empty if one of the public keys made it."""
    if not signature.is_file() or signature.is_symlink():
        return f"{file.name} is not signed"
    if any(verifies(file, signature, key) for key in keys):
        return ""
    return f"{file.name} is not as any key that the instrument knows has signed it"


def verifies(file: Path, signature: Path, key: bytes) -> bool:
    with tempfile.NamedTemporaryFile(suffix=".pub") as public:
        public.write(key)
        public.flush()
        done = subprocess.run(
            ["minisign", "-VHq", "-p", public.name, "-x", signature, "-m", file],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=VERIFIES_WITHIN,
            check=False,
        )
    return done.returncode == 0
