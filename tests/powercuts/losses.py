"""What of pending changes may have reached the storage when the power went: not all there is, but all of these.

All and none; each alone, and all but each; those before each, and those from each on; the entries of directories and
not what is in files, and the other way round; those of each inode alone, and all but those; and each write half done,
its first or its second half, with all others or with those before it only. Of more than NEAR pending changes "each" is
one of the last ones."""

import functools
from collections.abc import Iterator, Sequence
from dataclasses import replace

from storage import Change

NEAR = 16


def losses(pending: Sequence[Change]) -> Iterator[list[Change]]:
    """Each time what is kept, in its order."""
    every = list(pending)
    yield every
    if not every:
        return
    yield []
    yield [change for change in every if not change.is_data]
    yield [change for change in every if change.is_data]
    for at in range(max(0, len(every) - NEAR), len(every)):
        yield every[at : at + 1]
        yield every[:at] + every[at + 1 :]
        yield every[:at]
        yield every[at:]
        for half in halves(every[at]):
            yield every[:at] + [half] + every[at + 1 :]
            yield every[:at] + [half]
    for inode in {change.inode for change in every[-NEAR:]}:
        yield [change for change in every if change.inode == inode]
        yield [change for change in every if change.inode != inode]


@functools.lru_cache(maxsize=None)
def halves(change: Change) -> tuple[Change, ...]:
    middle = len(change.data) // 2
    first, second = change.data[:middle], change.data[middle:]
    return (replace(change, data=first), replace(change, offset=change.offset + middle, data=second)) if middle else ()
