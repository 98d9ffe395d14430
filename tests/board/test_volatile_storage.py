"""The storage with a volatile cache: what was flushed stays, of the rest only what fate keeps."""

import contextlib
import importlib
import io
import sys
import tempfile
import types
import unittest
from pathlib import Path
from typing import Any

import places  # noqa: F401  makes the board known

SIZE = 64 * 1024
BLOCK = 4096


def plugin() -> Any:
    """The plugin, with a stand-in for the module that its server gives it."""
    nbdkit: Any = types.ModuleType("nbdkit")
    nbdkit.THREAD_MODEL_SERIALIZE_ALL_REQUESTS, nbdkit.FUA_NATIVE, nbdkit.FLAG_FUA = 1, 2, 4
    sys.modules["nbdkit"] = nbdkit
    sys.modules.pop("board.volatile_storage", None)
    return importlib.import_module("board.volatile_storage")


class VolatileStorage(unittest.TestCase):
    def setUp(self) -> None:
        self.plugin = plugin()
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.file = Path(scratch.name) / "storage"
        self.file.write_bytes(bytes(SIZE))
        self.plugin.config("file", str(self.file))
        self.addCleanup(self.plugin.storage.file.close)

    def opens(self, name: str) -> Any:
        sys.modules["nbdkit"].export_name = lambda: name  # type: ignore[attr-defined]
        return self.plugin.open(False)

    def cut(self) -> str:
        with contextlib.redirect_stderr(io.StringIO()) as said:
            self.plugin.close("")
        return said.getvalue()

    def read(self, offset: int, length: int) -> bytes:
        buffer = bytearray(length)
        self.plugin.pread("", buffer, offset, 0)
        return bytes(buffer)

    def test_reads_what_was_written_last(self) -> None:
        self.plugin.pwrite("", b"a" * BLOCK, 0, 0)
        self.plugin.pwrite("", b"b" * 100, 50, 0)
        self.assertEqual(self.read(0, 200), b"a" * 50 + b"b" * 100 + b"a" * 50)
        self.assertEqual(self.read(BLOCK - 10, 20), b"a" * 10 + bytes(10))

    def test_nothing_is_stored_before_a_flush(self) -> None:
        self.plugin.pwrite("", b"a" * BLOCK, 0, 0)
        self.assertEqual(self.file.read_bytes(), bytes(SIZE))
        self.plugin.flush("", 0)
        self.assertEqual(self.file.read_bytes()[:BLOCK], b"a" * BLOCK)

    def test_what_was_flushed_survives_the_cut(self) -> None:
        self.plugin.pwrite("", b"a" * BLOCK, 0, 0)
        self.plugin.flush("", 0)
        self.assertEqual(self.cut(), "0 kept, 0 lost, 0 torn\n")
        self.assertEqual(self.file.read_bytes()[:BLOCK], b"a" * BLOCK)

    def test_write_through_is_stored_at_once_and_after_what_came_before(self) -> None:
        self.plugin.pwrite("", b"a" * BLOCK, 0, 0)
        self.plugin.pwrite("", b"b" * BLOCK, 0, 4)
        self.assertEqual(self.file.read_bytes()[:BLOCK], b"b" * BLOCK)

    def test_fates(self) -> None:
        self.plugin.config("seed", "1")
        for number in range(15):
            self.plugin.pwrite("", b"x" * BLOCK, number * BLOCK, 0)
        said = self.cut()
        stored = self.file.read_bytes()
        blocks = [stored[at : at + BLOCK] for at in range(0, 15 * BLOCK, BLOCK)]
        kept, lost = blocks.count(b"x" * BLOCK), blocks.count(bytes(BLOCK))
        self.assertEqual(said, f"{kept} kept, {lost} lost, {15 - kept - lost} torn\n")
        self.assertTrue(kept and lost and kept + lost < 15)
        for block in blocks:  # a sector is the least that is written
            for at in range(0, BLOCK, 512):
                self.assertIn(block[at : at + 512], (b"x" * 512, bytes(512)))

    def test_a_copy_is_cut_while_the_storage_goes_on(self) -> None:
        copy = self.file.with_name("copy")
        copy.write_bytes(bytes(SIZE))
        for number in range(15):
            self.plugin.pwrite("", b"x" * BLOCK, number * BLOCK, 0)
        with contextlib.redirect_stderr(io.StringIO()) as said:
            self.opens(f"3:{copy}")
        cut = copy.read_bytes()
        self.assertIn(said.getvalue().split()[0], "123456789")
        self.assertNotIn(cut[: 15 * BLOCK], (b"x" * 15 * BLOCK, bytes(15 * BLOCK)))
        self.plugin.close(f"3:{copy}")
        self.assertEqual(self.file.read_bytes(), bytes(SIZE))
        self.plugin.flush("", 0)
        self.assertEqual(self.file.read_bytes()[: 15 * BLOCK], b"x" * 15 * BLOCK)

    def test_the_boards_own_connection_cuts_nothing(self) -> None:
        self.plugin.pwrite("", b"a" * BLOCK, 0, 0)
        self.assertEqual(self.opens(""), "")
        self.assertEqual(self.file.read_bytes(), bytes(SIZE))

    def test_same_seed_same_fate(self) -> None:
        results = []
        for _ in range(2):
            self.file.write_bytes(bytes(SIZE))
            self.plugin.config("seed", "5")
            for number in range(15):
                self.plugin.pwrite("", b"x" * BLOCK, number * BLOCK, 0)
            self.cut()
            results.append(self.file.read_bytes())
        self.assertEqual(*results)


if __name__ == "__main__":
    unittest.main()
