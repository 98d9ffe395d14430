"""The parts of the power cuts, some cuts of one update, and scripts that must not pass."""

import io
import sys
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP))

from cuts import Cutter, Recording, recorded  # noqa: E402  the path comes first
from journal import Call, JournalError, Reader  # noqa: E402
from losses import NEAR, losses  # noqa: E402
from storage import BLOCK, Change, Storage, resized, written  # noqa: E402
from stories import STORIES  # noqa: E402
from tests.simulator import instrument  # noqa: E402
from tests.simulator.instrument import Instrument  # noqa: E402


def hexed(text: str) -> str:
    return "".join(f"\\x{ord(sign):02x}" for sign in text)


def calls(*lines: str) -> list[tuple[str, str, str, int, bytes]]:
    """What a reader makes of lines of strace; what stands between ` and ` is written as strace writes it."""
    text = "\n".join(
        "".join(part if at % 2 == 0 else hexed(part) for at, part in enumerate(line.split("`"))) for line in lines
    )
    found = Reader().read(io.BytesIO(f"{text}\n".encode()))
    return [(call.name, call.path, call.other, call.number, call.data) for call in found]


class Journal(unittest.TestCase):
    def test_writes_follow_each_other(self) -> None:
        self.assertEqual(
            calls(
                '1 openat(AT_FDCWD<`/`>, "`/mnt/a`", O_WRONLY|O_CREAT|O_TRUNC, 0666) = 3<`/mnt/a`>',
                '1 write(3<`/mnt/a`>, "`one`", 3) = 3',
                '1 write(3<`/mnt/a`>, "`two`", 3) = 2',
                '1 write(3<`/mnt/a`>, "`o`", 1) = 1',
            ),
            [
                ("create", "/mnt/a", "", 0o644, b""),
                ("truncate", "/mnt/a", "", 0, b""),
                ("write", "/mnt/a", "", 0, b"one"),
                ("write", "/mnt/a", "", 3, b"tw"),
                ("write", "/mnt/a", "", 5, b"o"),
            ],
        )

    def test_appended_sought_read_and_refused(self) -> None:
        self.assertEqual(
            calls(
                '1 openat(AT_FDCWD<`/`>, "`b`", O_WRONLY|O_APPEND) = 3<`/mnt/b`>',
                '1 write(3<`/mnt/b`>, "`x`", 1) = 1',
                '1 openat(AT_FDCWD<`/`>, "`c`", O_RDWR) = 4<`/mnt/c`>',
                "1 lseek(4<`/mnt/c`>, 7, SEEK_SET)        = 7",
                '1 openat(AT_FDCWD<`/`>, "`c`", O_RDONLY) = 5<`/mnt/c`>',
                '1 write(4<`/mnt/c`>, "`y`", 1) = 1',
                '1 unlinkat(AT_FDCWD<`/`>, "`d`", 0) = -1 ENOENT (No such file or directory)',
            ),
            [("write", "/mnt/b", "", -1, b"x"), ("write", "/mnt/c", "", 7, b"y")],
        )

    def test_calls_that_end_later(self) -> None:
        self.assertEqual(
            calls(
                '2 openat(AT_FDCWD<`/`>, "`/mnt/a`", O_WRONLY|O_CREAT, 0600 <unfinished ...>',
                '3 write(1<`pipe:[5]`>, "`z`", 1 <unfinished ...>',
                "2 <... openat resumed>)             = 3<`/mnt/a`>",
                "3 <... write resumed>)              = 1",
                "2 fsync(3<`/mnt/a`>) = 0",
            ),
            [("create", "/mnt/a", "", 0o600, b""), ("flush", "/mnt/a", "", 0, b"")],
        )

    def test_directory_of_a_process(self) -> None:
        """A child works where its parent did, also where it is seen before the call that made it ends."""
        self.assertEqual(
            calls(
                '1 chdir("`/mnt`") = 0',
                "1 clone(child_stack=NULL <unfinished ...>",
                '2 mkdir("`a`", 0777) = 0',
                "1 <... clone resumed>) = 2",
                '2 renameat2(AT_FDCWD<`/mnt`>, "`a`", AT_FDCWD<`/mnt`>, "`./b/../c`", 0) = 0',
            ),
            [("mkdir", "/mnt/a", "", 0o755, b""), ("rename", "/mnt/a", "/mnt/c", 0, b"")],
        )

    def test_what_cannot_be_played_back(self) -> None:
        for line in ('1 pwrite64(3<`/mnt/a`>, "`x`", 1, 5) = 1', '1 write(3<`/mnt/a`>, "`x`"..., 9) = 9'):
            with self.assertRaises(JournalError):
                calls(line)


class Stored(unittest.TestCase):
    def setUp(self) -> None:
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        Path(place.name, "mnt").mkdir()
        Path(place.name, "mnt/old").write_text("old")
        Path(place.name, "mnt/link").symlink_to("/mnt")
        self.storage = Storage(Path(place.name))

    def play(self, *played: Call) -> None:
        for call in played:
            self.storage.play(call)

    def contents(self, kept: list[Change]) -> dict[str, bytes]:
        tree = self.storage.tree(self.storage.after(kept))
        return {
            path.removeprefix("/mnt/"): b"".join(inode.content) for path, inode in tree.items() if inode.kind == "file"
        }

    def replace(self, *flushes: str) -> set[tuple[tuple[str, bytes], ...]]:
        """What may be left of a file that another replaces, with these flushes of the new one before that."""
        self.play(Call("create", "/mnt/new", number=0o644), Call("write", "/mnt/new", data=b"NEW"))
        self.play(*(Call("flush", path) for path in flushes), Call("rename", "/mnt/new", "/mnt/old"))
        return {tuple(sorted(self.contents(kept).items())) for kept in losses(self.storage.pending)}

    def test_replaced_after_a_flush(self) -> None:
        self.assertEqual(
            self.replace("/mnt/new"), {(("old", b"NEW"),), (("old", b"old"),), (("new", b"NEW"), ("old", b"old"))}
        )

    def test_replaced_without_a_flush(self) -> None:
        left = self.replace()
        self.assertIn((("old", b""),), left)
        self.assertIn((("old", b"N"),), left)

    def test_flush_of_a_directory_is_none_of_its_files(self) -> None:
        self.assertIn((("old", b""),), self.replace("/mnt"))

    def test_flush_of_everything(self) -> None:
        self.assertEqual(self.replace(""), {(("old", b"NEW"),), (("new", b"NEW"), ("old", b"old"))})

    def test_removed(self) -> None:
        self.play(Call("remove", "/mnt/link/old"))
        self.assertEqual(self.contents([]), {"old": b"old"})
        self.assertEqual(self.contents(self.storage.pending), {})
        self.play(Call("flush", "/mnt"))
        self.assertEqual((self.contents([]), self.storage.pending), ({}, []))

    def test_new_directory_is_empty_until_it_is_flushed(self) -> None:
        self.play(Call("mkdir", "/mnt/d", number=0o755), Call("create", "/mnt/d/f", number=0o600))
        self.play(Call("flush", "/mnt"))
        self.assertEqual(set(self.storage.tree({})), {"/mnt", "/mnt/d", "/mnt/link", "/mnt/old"})
        self.play(Call("flush", "/mnt/d"))
        self.assertIn("/mnt/d/f", self.storage.tree({}))

    def test_blocks(self) -> None:
        content = written((), BLOCK - 1, b"xyz")
        self.assertEqual(list(map(len, content)), [BLOCK, 2])
        self.assertEqual(b"".join(content), bytes(BLOCK - 1) + b"xyz")
        self.assertEqual(b"".join(resized(content, BLOCK + 1)), bytes(BLOCK - 1) + b"xy")
        self.assertEqual(b"".join(written(resized(content, 2), -1, b"!")), b"\0\0!")

    def test_losses_are_those_that_are_said(self) -> None:
        pending = [
            Change(1, True, offset=0, data=b"ab"),
            Change(2, False, mode=1),
            Change(1, True, offset=2, data=b"cd"),
        ]
        a, b, c = pending
        kept = [[id(change) for change in one] for one in losses(pending)]
        every: list[list[Change]] = [[], [a], [b], [c], [a, b], [a, c], [b, c], [a, b, c]]
        for wanted in every:
            self.assertIn([id(change) for change in wanted], kept)
        parts = {(change.offset, change.data) for one in losses(pending) for change in one}
        self.assertEqual(parts, {(0, b"ab"), (0, b"a"), (1, b"b"), (-1, b""), (2, b"cd"), (2, b"c"), (3, b"d")})

    def test_of_many_pending_changes_the_last_ones_count(self) -> None:
        pending = [Change(1, True, offset=at, data=b"x") for at in range(NEAR + 5)]
        alone = [one[0].offset for one in losses(pending) if len(one) == 1]
        self.assertEqual(sorted(set(alone)), list(range(5, NEAR + 5)))


class Cuts(unittest.TestCase):
    def cutter(self, recording: Recording) -> Cutter:
        return Cutter(self, recording, instrument.made("make-stick") / "update")

    def test_update(self) -> None:
        """The whole run is `run`: here one call of five, and a few second updates."""
        cutter = self.cutter(recorded(self, STORIES["usb"]))
        cutter.look(every=5)
        cutter.update_again(3)
        self.assertEqual(cutter.result.faults, [])
        self.assertEqual(cutter.result.updates, 3)
        self.assertGreater(len(cutter.result.states), 50)


class Sabotage(unittest.TestCase):
    """Scripts that would pass any test that waits until they have ended."""

    def faults(self, story: str, script: str, old: str, new: str, every: int = 1) -> str:
        def spoil(board: Instrument) -> None:
            path = board.path(f"/etc/update/{script}")
            text = path.read_text()
            self.assertEqual(text.count(old), 1, script)
            path.write_text(text.replace(old, new))

        cutter = Cutter(self, recorded(self, STORIES[story], spoil), instrument.made("make-stick") / "update")
        cutter.look(every)
        return "\n".join(cutter.result.faults)

    def test_file_that_is_not_flushed_before_it_replaces_another(self) -> None:
        found = self.faults("change", "instrument.sh", 'sync "$1.new" && mv', "mv")
        self.assertIn("ChangeToPartition.sh, call ", found)
        self.assertIn("the active version is ''", found)

    def test_name_that_is_not_flushed(self) -> None:
        """The script says that the change is made, and it is not."""
        found = self.faults("change", "instrument.sh", ' && sync "$1" "$(dirname "$1")"', "")
        self.assertIn("the active version is '1\\n'", found)

    def test_slot_that_is_not_flushed(self) -> None:
        found = self.faults("usb", "instrument.sh", "conv=notrunc,fsync", "conv=notrunc", every=3)
        self.assertIn("of the new version does not hold rootfs.img", found)

    def test_version_that_is_active_before_it_is_written(self) -> None:
        found = self.faults(
            "usb", "7-USB-rootfs.sh", "write_image rootfs.img", 'echo "$target" | replace_file "$partition_file"'
        )
        self.assertIn("mmcblk0p7 of the new version does not hold rootfs.img", found)

    def test_partitions_that_are_not_made_one_after_the_other(self) -> None:
        script = "3-USB-UBoot.sh"
        text = (instrument.SCRIPTS / script).read_text()
        begin = text.index("        { truncate")
        found = self.faults(
            "blank",
            script,
            text[begin : text.index("    done </etc/update/partitions.txt")],
            '        truncate -s "$size" "/dev/mmcblk0$name"\n',
            every=3,
        )
        self.assertIn("mmcblk0p2 has 0 bytes and not 2097152, and the board does not count as blank", found)


if __name__ == "__main__":
    unittest.main()
