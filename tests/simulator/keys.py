"""The keys of the simulated maker, as the tests see them."""

import os
import pathlib


def key(name: str) -> pathlib.Path:
    """A public key; the secret one lies beside it, as NAME.key."""
    cache = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.environ["HOME"], ".cache")
    return pathlib.Path(cache, "teskupdater/maker", f"{name}.pub")


def key_number(name: str) -> str:
    """The number that minisign itself gives a key, in the first line of its file."""
    return key(name).read_text().split()[5]
