"""The power goes after each call of a recorded run; what may be left is looked at, and updated once more."""

import random
import shutil
import unittest
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

from facts import ACTIVE, USER_FILES, Facts, content
from tests.simulator.instrument import AFTER, NETWORK, REBUILD, USB, Instrument, fingerprint
from journal import Call, record
from losses import losses
from stories import Story
from storage import Inode, Storage, Tree, lasts

Sabotage = Callable[[Instrument], object]  # spoils an instrument's scripts
# The override script restarts the instrument by itself, and nothing is to be recorded after that.
NO_REBOOT = ("--ro-bind", "/usr/bin/true", "/sbin/reboot")
SHOWN = 5  # faults of a story


@dataclass
class Result:
    calls: int = 0  # that change or flush what lasts
    cuts: int = 0  # calls, each with one way of losing what was pending
    states: set[int] = field(default_factory=set)
    kinds: int = 0  # of states, as far as a second update could tell them apart
    updates: int = 0
    faults: list[str] = field(default_factory=list)


@dataclass
class Recording:
    story: Story
    board: Instrument  # as it was before
    before: Storage
    calls: list[Call]


def stage(test: unittest.TestCase, story: Story, spoil: Sabotage | None = None) -> Instrument:
    board = Instrument(test, *story.board)
    if spoil:
        spoil(board)
    give(board, story)
    return board


def give(board: Instrument, story: Story) -> Path:
    """Plugs or downloads the story's update; returns where it is, or will be, on the instrument."""
    if story.stick is None:
        return board.download(*(story.download or ()))
    update = board.plug(*story.stick)
    for name, text in story.more.items():
        (update / name).parent.mkdir(exist_ok=True)
        (update / name).write_text(text)
    if story.more:
        board.sign()
    return update


def recorded(test: unittest.TestCase, story: Story, spoil: Sabotage | None = None) -> Recording:
    """Plays a story to its end. The journal is believed if, played back, it comes to the same files."""
    board = stage(test, story, spoil)
    before = Storage(board.root)
    calls, codes = record(board.root, story.scripts, NO_REBOOT)
    if not spoil:
        test.assertEqual(codes, list(story.codes or [0] * len(story.scripts)), board.all_logs())
    played = Storage(stage(test, story, spoil).root)
    for call in calls:
        played.play(call)
    now = Storage(board.root)
    test.assertEqual(differences(played.tree(played.inodes), now.tree({})), [])
    return Recording(story, stage(test, story, spoil), before, calls)


def differences(one: Tree, other: Tree) -> list[str]:
    return [path for path in sorted(one.keys() | other.keys()) if one.get(path) != other.get(path)]


class Cutter:
    """Tries the cuts of one recording. Every: of so many cuts one, beginning with a random one."""

    def __init__(self, test: unittest.TestCase, recording: Recording, update: Path, seed: int = 1) -> None:
        self.test, self.recording, self.story = test, recording, recording.story
        self.result = Result()
        self.facts = Facts(self.story, recording.before.tree({}), update)
        self.update = update
        self.random = random.Random(seed)
        self.kinds: dict[frozenset[tuple[str, str]], tuple[str, Tree]] = {}

    def trees(self, every: int) -> Iterator[tuple[str, Tree, bool]]:
        """Each state that a cut may leave, once; with the cut in words, and whether all scripts had ended."""
        storage = Storage(self.recording.board.root)
        final = Storage(self.recording.board.root)
        for call in self.recording.calls:
            final.play(call)
        self.final = final.tree(final.inodes)
        calls = self.recording.calls
        last = max((number for number, call in enumerate(calls, 1) if not call.path or lasts(call.path)), default=0)
        offset = self.random.randrange(every)
        quickly_known: set[tuple[int, bool, frozenset[tuple[int, int]]]] = set()
        for number, call in enumerate(calls, 1):
            if not storage.play(call):
                continue
            self.result.calls += 1
            ended = number >= last
            if self.result.calls % every != offset and not ended:
                continue
            for way, kept in enumerate(losses(storage.pending)):
                self.result.cuts += 1
                after = storage.after(kept)
                seen = (storage.flushes, ended, frozenset((inode, id(state)) for inode, state in after.items()))
                if seen in quickly_known:
                    continue
                quickly_known.add(seen)
                tree = storage.tree(after)
                state = hash((frozenset(tree.items()), ended))
                if state not in self.result.states:
                    self.result.states.add(state)
                    yield f"{call.script}, call {number}: {call.name} {call.path}, loss {way}", tree, ended

    def look(self, every: int = 1) -> None:
        for cut, tree, ended in self.trees(every):
            for fault in self.facts.faults(tree, ended):
                self.result.faults.append(f"{cut}: {fault}")
            self.kinds.setdefault(self.kind(tree), (cut, tree))
        self.result.kinds = len(self.kinds)

    def kind(self, tree: Tree) -> frozenset[tuple[str, str]]:
        """Files are as before, as in the end, or anything else."""
        before = self.facts.before

        def of(path: str) -> str:
            if tree.get(path) == before.get(path):
                return "before"
            return "after" if tree.get(path) == self.final.get(path) else "other" if path in tree else "missing"

        paths = tree.keys() | before.keys() | self.final.keys()
        return frozenset((path, of(path)) for path in paths)

    def update_again(self, most: int | None = None) -> None:
        """A second update of one state of each kind, or of so many of them."""
        kinds = list(self.kinds.values())
        if most is not None and most < len(kinds):
            kinds = self.random.sample(kinds, most)
        for cut, tree in kinds:
            self.result.updates += 1
            try:
                self.second(tree)
            except (AssertionError, OSError) as error:
                self.result.faults.append(f"{cut}: the second update: {str(error)[:600]}")

    def second(self, tree: Tree) -> None:
        board = self.materialise(tree)
        try:
            if self.story.stick is None:
                board.download()
            else:
                board.plug()
            active = content(tree, ACTIVE).decode().strip()
            target = AFTER.get(active, "1")
            untouched = {version: board.version(version) for version in AFTER if active and version != target}
            is_blank = "/dev/mmcblk0p2" not in tree
            scripts = NETWORK if self.story.stick is None else REBUILD if is_blank else USB
            board.run_well(*scripts)
            board.assert_installed(self.update, target)
            source = active if self.story.stick is None else "factory"
            self.test.assertEqual(board.user_files(target), fingerprint(board.path(USER_FILES.format(source))))
            self.test.assertEqual({version: board.version(version) for version in untouched}, untouched)
        finally:
            shutil.rmtree(board.root)

    def materialise(self, tree: Tree) -> Instrument:
        """The instrument after a cut, switched on again: what was in memory is gone."""
        board = Instrument(self.test, *self.story.board)
        before = Storage(board.root).tree({})
        for path in sorted(before.keys() - tree.keys(), reverse=True):
            real = board.path(path)
            real.rmdir() if before[path].kind == "directory" else real.unlink()
        for path in sorted(tree):
            if tree[path] != before.get(path):
                put(board.path(path), tree[path])
        home = board.path("/home/tesk")
        active = content(tree, ACTIVE).decode().strip()
        home.unlink(missing_ok=True)
        home.symlink_to(f"../mnt/userdata/{active}" if active else "../run/tesk")
        return board


def put(real: Path, inode: Inode) -> None:
    if inode.kind == "directory":
        if not real.is_dir():
            real.mkdir()
    else:
        real.unlink(missing_ok=True)
        if inode.kind == "link":
            real.symlink_to(inode.target)
            return
        real.write_bytes(b"".join(inode.content))
    real.chmod(inode.mode)
