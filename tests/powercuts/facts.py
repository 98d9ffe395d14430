"""Whether an instrument is whole, by what the simulator has put on it and on the stick, and not by its scripts."""

import fnmatch
from collections.abc import Iterator
from pathlib import Path

from tests.simulator.instrument import AFTER, SHARED_SLOTS, VERSION_SLOTS
from rehearsal.reader import ours
from stories import Story
from storage import BLOCK, Inode, Tree

ACTIVE = "/mnt/recovery/download/partition_c"
MANIFEST = "/mnt/recovery/update_files/{}manifest.txt"
USER_FILES = "/mnt/userdata/{}"
SIZES = {device: told.size for device, told in ours().partitions.items()}
NOTHING = Inode("file", 0)
# Where scripts may leave and lose what they like.
FREE = (
    "/dev/*.new",
    "/etc/display-size.new",
    "/mnt/recovery/try*",
    "/mnt/recovery/backup*",
    "/mnt/recovery/download/*.new",
    "/mnt/recovery/download/update.zip*",
    "/mnt/recovery/update_files/*.new",
    "/mnt/recovery/update_files/update*",
    "/mnt/userdata/*.new*",
)


class Facts:
    def __init__(self, story: Story, before: Tree, update: Path) -> None:
        self.story, self.before = story, before
        self.images = {path.name: path.read_bytes() for path in update.glob("*.img")}
        self.manifest = (update / "manifest.txt").read_bytes()

    def faults(self, tree: Tree, ended: bool) -> Iterator[str]:
        """What is wrong after a cut; ended: all scripts had ended."""
        active = content(tree, ACTIVE).decode(errors="replace") if ACTIVE in tree else ""
        actives = [f"{one}\n" if one else "" for one in self.story.actives]
        if active not in (actives[-1:] if ended else actives):
            yield f"the active version is {active!r}"
            return
        if "/dev/mmcblk0p2" in tree:
            yield from self.of_partitions(tree)
        for version in AFTER:
            yield from self.of_version(tree, version, active.strip())
        if not any(self.holds(tree, slot, "u-boot.img") for slot in SHARED_SLOTS["u-boot.img"]):
            yield "no U-Boot is whole"
        yield from self.of_the_rest(tree)

    def of_partitions(self, tree: Tree) -> Iterator[str]:
        """Without p2 a board counts as blank, and is rebuilt from the start; with it every partition is there."""
        for name, size in SIZES.items():
            now = sum(map(len, tree.get(f"/dev/{name}", NOTHING).content))
            if now != size:
                yield f"{name} has {now} bytes and not {size}, and the board does not count as blank"

    def holds(self, tree: Tree, slot: str, image: str) -> bool:
        """An image of the update, or all that the slot has held before."""
        path = f"/dev/{slot}"
        return tree.get(path) == self.before.get(path) or self.begins_with(tree.get(path), image)

    def begins_with(self, inode: Inode | None, image: str) -> bool:
        if inode is None:
            return False
        wanted = self.images[image]
        return b"".join(inode.content[: len(wanted) // BLOCK + 1]).startswith(wanted)

    def of_version(self, tree: Tree, version: str, active: str) -> Iterator[str]:
        is_new = version == self.story.target
        if is_new and version != active:
            return  # it is being written
        for image, slot in VERSION_SLOTS[version].items():
            path = f"/dev/{slot}"
            if is_new and not self.begins_with(tree.get(path), image):
                yield f"{slot} of the new version does not hold {image}"
            if not is_new and path in self.before and tree.get(path) != self.before[path]:
                yield f"{slot} of version {version} has changed"
        manifest = content(tree, MANIFEST.format(version))
        if is_new and not manifest.startswith(self.manifest):
            yield "the manifest of the new version is not whole"
        if not is_new and manifest != content(self.before, MANIFEST.format(version)):
            yield f"the manifest of version {version} has changed"
        yield from self.of_user_files(tree, version, self.story.user_files if is_new else version)

    def of_user_files(self, tree: Tree, version: str, source: str) -> Iterator[str]:
        now, wanted = below(tree, USER_FILES.format(version)), below(self.before, USER_FILES.format(source))
        for path in sorted(now.keys() | wanted.keys()):
            may_go = path in self.story.may_go and path not in now
            if now.get(path) != wanted.get(path) and not may_go:
                yield f"of the user files of version {version}, {path} is not what it was"

    def of_the_rest(self, tree: Tree) -> Iterator[str]:
        """Nothing else has changed, and nothing else has come, but where a script may do what it likes."""
        judged = [ACTIVE, *(f"/dev/{device}" for device in SIZES), *(MANIFEST.format(version) for version in AFTER)]
        mine = tuple(f"{USER_FILES.format(version)}/" for version in AFTER) + tuple(USER_FILES.format(v) for v in AFTER)
        for path in sorted(tree.keys() | self.before.keys()):
            if path in judged or path.startswith(mine) or any(fnmatch.fnmatch(path, free) for free in FREE):
                continue
            if tree.get(path) == self.before.get(path) or path in self.story.may_go and path not in tree:
                continue
            if tree.get(path, NOTHING).kind == "directory" and path not in self.before:
                continue  # made in passing
            if path in self.story.may_become and content(tree, path) == self.story.may_become[path]:
                continue
            yield f"{path} is not what it was"


def content(tree: Tree, path: str) -> bytes:
    return b"".join(tree.get(path, NOTHING).content)


def below(tree: Tree, top: str) -> Tree:
    return {path[len(top) :]: inode for path, inode in tree.items() if path.startswith(f"{top}/") or path == top}
