"""Shrinks a history to the fewest words of which none can be left out."""

from collections.abc import Callable, Iterator

from history import History, parse


def _with_one_word_less(history: History) -> Iterator[History]:
    words = str(history).split()
    for index in reversed(range(len(words))):
        yield parse(" ".join(words[:index] + words[index + 1 :]))


def shrink(history: History, differs: Callable[[History], bool]) -> History:
    """`differs` says whether a history still does; it does so for the one that is given."""
    while True:
        for smaller in _with_one_word_less(history):
            if differs(smaller):
                history = smaller
                break
        else:
            return history
