"""Sticks and downloads that mean harm: rejected, or as good as a good one, and nothing else is touched."""

import os
import pathlib
import stat
import tempfile
import time
import unittest
import unittest.mock
import zipfile
from collections.abc import Callable
from typing import Any

import instrument
from instrument import CHECK_FILESYSTEM, IMAGES, NETWORK, REBUILD, UNZIP, USB, VERIFY, Instrument, fingerprint, made

LOG, RECOVERY_LOG = "/media/usb0/update/update.log", "/mnt/recovery/update_files/update/update.log"
PRIZE = "/mnt/recovery/download/partition_c"  # what the links lead to
OVERRIDE_SCRIPT = "00-USB-installoverrides.sh"
WITHIN = 60  # seconds; a pipe or 40 GB would take for ever
SMALL = 1048576  # bytes, the limit of all files but images and archives
ARCHIVE = "/mnt/recovery/download/update.zip"
ARCHIVE_LIMIT = SMALL + (512 + 1024 + 1024 + 2048 + 4096) * 1024  # and that of an archive, by the slots

# How a stick is rejected, by which check, and with what reason.
REJECTED = {
    "linkedimage": (VERIFY[1], "kernel.img is no plain file"),
    "linkedlist": (VERIFY[0], "sha256sums.txt is no plain file"),
    "linkedupdate": (VERIFY[0], "sha256sums.txt lies behind a link"),
    "directory": (VERIFY[1], "kernel.img is no plain file"),
    "pipe": (VERIFY[0], "manifest.txt is no plain file"),
    "device": (VERIFY[1], f"kernel.img is {'no plain file' if os.getuid() == 0 else 'missing'}"),
    "hugelist": (VERIFY[0], "sha256sums.txt is too large"),
}


class Harm(unittest.TestCase):
    def everything(self, board: Instrument) -> dict[str, Any]:
        """All of an instrument but what an update may write."""
        board.run()  # the sandbox adds what it mounts on
        tree = {top: fingerprint(board.path(top)) for top in ("/etc", "/home", "/mnt/userdata", "/opt", "/sbin")}
        return {**tree, **board.storage(), PRIZE: board.path(PRIZE).exists() and board.path(PRIZE).read_text()}

    def run_scripts(self, board: Instrument, scripts: tuple[str, ...]) -> list[int]:
        started = time.monotonic()
        codes = board.run(*scripts, sandbox_options=("timeout", str(WITHIN)))
        self.assertLess(time.monotonic() - started, WITHIN)
        return codes

    def assert_rejected(self, board: Instrument, scripts: tuple[str, ...], reason: str, log: str) -> None:
        before = self.everything(board)
        self.assertEqual(self.run_scripts(board, scripts), [0] * (len(scripts) - 1) + [3], board.all_logs())
        self.assertEqual(board.marker(), reason + "\n")
        self.assertEqual(board.log(log)[-1], (scripts[-1], "REJECTED: " + reason))
        self.assertEqual(self.everything(board), before)


class Sticks(Harm):
    def test_rejected(self) -> None:
        for kind, (by, reason) in REJECTED.items():
            with self.subTest(kind):
                board = Instrument(self)
                board.plug("--bad", kind)
                scripts = (*CHECK_FILESYSTEM, *VERIFY)
                log = RECOVERY_LOG if kind == "linkedupdate" else LOG
                self.assert_rejected(board, scripts[: scripts.index(by) + 1], reason, log)

    def test_rebuild_of_a_blank_board(self) -> None:
        for kind, (_, reason) in REJECTED.items():
            with self.subTest(kind):
                board = Instrument(self, "--blank")
                board.plug("--bad", kind)
                before = self.everything(board)
                self.assertEqual(self.run_scripts(board, REBUILD)[:2], [0, 3])
                self.assertEqual(board.marker(), reason + "\n")
                self.assertEqual(self.everything(board), before)

    def test_odd_files_do_no_harm(self) -> None:
        board = Instrument(self)
        update = board.plug("--bad", "odd")
        odd = {path.name for path in update.iterdir()} - {path.name for path in made("make-stick").glob("update/*")}
        self.assertEqual(len(odd), 8)
        self.assertTrue((update / "post-update.sh").stat().st_mode & stat.S_ISUID)
        etc = self.everything(board)["/etc"]
        board.run_well(*USB)
        board.assert_installed(update, "7")
        self.assertEqual(fingerprint(board.path("/etc")), etc)
        self.assertEqual(board.path("/run/update/trusted/set-uid.sh").stat().st_mode & 0o7111, 0)

    def test_device_made_by_a_plain_user(self) -> None:
        """The kind is made all the same, and says what it lacks."""
        with tempfile.TemporaryDirectory() as directory:
            fake = pathlib.Path(directory, "bin/mknod")
            fake.parent.mkdir()
            fake.write_text("#!/bin/sh\nexit 1\n")
            fake.chmod(0o755)
            with unittest.mock.patch.dict(os.environ, PATH=f"{fake.parent}:{os.environ['PATH']}"):
                made_so = instrument.command("make-stick", "--bad", "device", os.path.join(directory, "stick"))
            self.assertEqual(
                (made_so.returncode, made_so.stderr),
                (0, "only root can make device nodes: kernel.img is missing instead\n"),
            )

    def test_image_that_never_ends(self) -> None:
        board = Instrument(self)
        os.truncate(board.plug() / "rootfs.img", 1 << 40)
        self.assert_rejected(board, (*CHECK_FILESYSTEM, *VERIFY), "rootfs.img does not fit in /dev/mmcblk0p7", LOG)

    def test_largest_list(self) -> None:
        for size, reason in ((SMALL, None), (SMALL + 1, "sha256sums.txt is too large")):
            with self.subTest(size):
                board = Instrument(self)
                sums = board.plug() / "sha256sums.txt"
                sums.write_bytes(sums.read_bytes() + b"\n" * (size - sums.stat().st_size))
                board.sign(path="/media/usb0/update/sha256sums.txt")
                if reason:
                    self.assert_rejected(board, (*CHECK_FILESYSTEM, VERIFY[0]), reason, LOG)
                else:
                    board.run_well(*CHECK_FILESYSTEM, *VERIFY)

    def test_largest_post_update_script(self) -> None:
        for size, reason in ((SMALL, None), (SMALL + 1, "post-update.sh is too large")):
            with self.subTest(size):
                board = Instrument(self)
                (board.plug() / "post-update.sh").write_bytes(b"#" * (size - 1) + b"\n")
                board.sign()
                if reason:
                    self.assert_rejected(board, (*CHECK_FILESYSTEM, *VERIFY), reason, LOG)
                else:
                    board.run_well(*USB)

    def test_links_to_what_they_stand_for(self) -> None:
        """Even a link to the very file it should be: what it leads to a moment later nobody knows."""
        for name, by in (
            ("sha256sums.txt", VERIFY[0]),
            ("sha256sums.txt.minisig", VERIFY[0]),
            ("manifest.txt", VERIFY[0]),
            ("post-update.sh", VERIFY[1]),
            ("u-boot.img", VERIFY[1]),
        ):
            with self.subTest(name):
                board = Instrument(self)
                file = board.plug() / name
                file.rename(file.parent / "other")
                file.symlink_to("other")
                scripts = (*CHECK_FILESYSTEM, *VERIFY)
                self.assert_rejected(board, scripts[: scripts.index(by) + 1], f"{name} is no plain file", LOG)

    def test_mount_point_that_is_a_link_of_the_instruments(self) -> None:
        """Links of the instrument's own are its maker's business."""
        board = Instrument(self)
        board.plug()
        board.path("/media/usb0").rename(board.path("/media/sda1"))
        board.path("/media/usb0").symlink_to("sda1")
        board.run_well(*USB)
        self.assertEqual(len(board.log()), len(USB))


class Log(Harm):
    """What is logged on a stick goes into a plain file there, or into the recovery area."""

    def assert_logged_elsewhere(self, prepare: Callable[[pathlib.Path], object]) -> Instrument:
        board = Instrument(self)
        update = board.plug()
        prepare(update / "update.log")
        before = fingerprint(update), self.everything(board)["/etc"]
        self.assertEqual(self.run_scripts(board, USB), [0] * len(USB))
        self.assertEqual((fingerprint(update), fingerprint(board.path("/etc"))), before)
        self.assertEqual([script for script, _ in board.log(RECOVERY_LOG)], list(USB))
        self.assertEqual(board.active, "7\n")
        return board

    def test_link(self) -> None:
        self.assert_logged_elsewhere(lambda log: log.symlink_to(PRIZE))

    def test_link_to_a_file_that_is_not_there(self) -> None:
        board = self.assert_logged_elsewhere(lambda log: log.symlink_to("/etc/update/evil"))
        self.assertFalse(board.path("/etc/update/evil").exists())

    def test_link_to_a_file_of_the_stick(self) -> None:
        self.assert_logged_elsewhere(lambda log: log.symlink_to("manifest.txt"))

    def test_pipe(self) -> None:
        self.assert_logged_elsewhere(os.mkfifo)

    def test_directory(self) -> None:
        self.assert_logged_elsewhere(os.mkdir)

    @unittest.skipIf(os.getuid() != 0, "only root can make device nodes")
    def test_device(self) -> None:
        self.assert_logged_elsewhere(lambda log: os.mknod(log, stat.S_IFCHR | 0o666, os.makedev(1, 3)))

    def test_update_behind_a_link(self) -> None:
        """ "update" leads into the instrument, where a file of that name would be made."""
        board = Instrument(self)
        update = board.plug()
        update.rename(update.with_name("old"))
        update.symlink_to("/etc/update")
        before = self.everything(board)
        self.assertEqual(board.run(*CHECK_FILESYSTEM, *VERIFY)[2:], [3, 3])
        self.assertEqual(board.marker(), "sha256sums.txt is missing\n")
        self.assertEqual(self.everything(board), before)
        self.assertEqual(len(board.log(RECOVERY_LOG)), 4)

    def test_name_cannot_forge_a_line(self) -> None:
        board = Instrument(self)
        override = board.plug("--override", "size") / "OVERRIDE"
        (override / "x\n2026-01-01 00:00:00 11-SetNextPartition.sh: ok").write_text("")
        self.assertEqual(board.run(OVERRIDE_SCRIPT), [3])
        log = board.log("/media/usb0/update/update_override.log")
        self.assertEqual([script for script, _ in log], [OVERRIDE_SCRIPT])
        self.assertEqual(board.marker(), "x?2026-01-01 00:00:00 11-SetNextPartition.sh: ok is no override\n")


class Overrides(Harm):
    def test_linked(self) -> None:
        """The program does not count links, and the script must not follow them."""
        board = Instrument(self)
        board.plug("--override", "linked")
        self.assert_rejected(
            board, (OVERRIDE_SCRIPT,), "there is no override", "/media/usb0/update/update_override.log"
        )

    def test_link_beside_an_override(self) -> None:
        board = Instrument(self)
        override = board.plug("--override", "match") / "OVERRIDE"
        (override / "Size10").symlink_to("/etc/update/partitions.txt")
        self.assertEqual(board.run(OVERRIDE_SCRIPT), [1])

    def test_directory_behind_a_link(self) -> None:
        board = Instrument(self)
        override = board.plug("--override", "size") / "OVERRIDE"
        override.rename(override.with_name("other"))
        override.symlink_to("other")
        self.assert_rejected(
            board, (OVERRIDE_SCRIPT,), "sha256sums.txt lies behind a link", "/media/usb0/update/update_override.log"
        )

    def test_large(self) -> None:
        board = Instrument(self)
        os.truncate(board.plug("--override", "size") / "OVERRIDE/Size10", 1 << 30)
        self.assert_rejected(board, (OVERRIDE_SCRIPT,), "Size10 is too large", "/media/usb0/update/update_override.log")


class Archives(Harm):
    def test_climbing(self) -> None:
        """Paths and links in an archive that is signed lead nowhere either."""
        board = Instrument(self)
        update = board.download("--bad", "climbing")
        with zipfile.ZipFile(board.path(ARCHIVE)) as archive:
            self.assertIn("../../../../../etc/update/evil", archive.namelist())
        etc = self.everything(board)["/etc"]
        board.run_well(*CHECK_FILESYSTEM, *UNZIP)
        self.assertEqual(
            {path.name for path in update.iterdir()},
            {*(path.name for path in made("make-stick").glob("update/*")), "update.log"},
        )
        board.run_well(*NETWORK[3:])
        self.assertEqual(fingerprint(board.path("/etc")), etc)
        self.assertEqual(list(board.root.rglob("evil")), [])

    def test_bomb(self) -> None:
        """28 kB that unpack to 40 GB: one byte more than fits is unpacked, and then rejected."""
        board = Instrument(self)
        update = board.download("--bad", "bomb")
        with zipfile.ZipFile(board.path(ARCHIVE)) as archive:
            self.assertLess(archive.getinfo("rootfs.img").compress_size, 40000)
        self.assert_rejected(
            board, (*CHECK_FILESYSTEM, *UNZIP, *VERIFY), "rootfs.img does not fit in /dev/mmcblk0p7", RECOVERY_LOG
        )
        self.assertEqual((update / "rootfs.img").stat().st_size, 4 * 1048576 + 1)

    def test_links_as_files(self) -> None:
        board = Instrument(self)
        update = board.download()
        with zipfile.ZipFile(board.path(ARCHIVE), "a") as archive:
            link = zipfile.ZipInfo("set-up.sh")
            link.create_system, link.external_attr = 3, (stat.S_IFLNK | 0o777) << 16
            archive.writestr(link, "/etc/update")
        board.sign(path=ARCHIVE)
        board.run_well(*CHECK_FILESYSTEM, *UNZIP)
        self.assertEqual([path for path in update.iterdir() if path.is_symlink()], [])

    def test_image_that_is_a_link(self) -> None:
        board = Instrument(self)
        update = board.download()
        with zipfile.ZipFile(board.path(ARCHIVE), "w") as archive:
            for file in made("make-stick").glob("update/*"):
                if file.name != "kernel.img":
                    archive.write(file, file.name)
            link = zipfile.ZipInfo("kernel.img")
            link.create_system, link.external_attr = 3, (stat.S_IFLNK | 0o777) << 16
            archive.writestr(link, "/dev/zero")
        board.sign(path=ARCHIVE)
        self.assert_rejected(
            board,
            (*CHECK_FILESYSTEM, *UNZIP, *VERIFY),
            "kernel.img was changed after it was signed (wrong sum)",
            RECOVERY_LOG,
        )
        self.assertTrue((update / "kernel.img").is_file())

    def test_archive_is_a_link(self) -> None:
        board = Instrument(self)
        board.download()
        archive = board.path(ARCHIVE)
        archive.rename(archive.with_name("other.zip"))
        archive.symlink_to("other.zip")
        self.assert_rejected(board, (*CHECK_FILESYSTEM, *UNZIP), "update.zip is no plain file", RECOVERY_LOG)

    def test_largest_archive(self) -> None:
        """As large as all slots together; a signature would be verified only after all had been copied."""
        for size, reason in ((ARCHIVE_LIMIT, None), (ARCHIVE_LIMIT + 1, "update.zip is too large")):
            with self.subTest(size):
                board = Instrument(self)
                board.download()
                archive = board.path(ARCHIVE)
                with zipfile.ZipFile(archive, "a") as file:
                    left = size - archive.stat().st_size - 2 * len("filling") - 30 - 46
                    file.writestr(zipfile.ZipInfo("filling"), bytes(left))
                self.assertEqual(archive.stat().st_size, size)
                board.sign(path=ARCHIVE)
                if reason:
                    self.assert_rejected(board, (*CHECK_FILESYSTEM, *UNZIP), reason, RECOVERY_LOG)
                else:
                    board.run_well(*NETWORK)

    def test_list_that_names_paths(self) -> None:
        board = Instrument(self)
        board.download()
        with zipfile.ZipFile(board.path(ARCHIVE), "w") as archive:
            for file in made("make-stick").glob("update/*"):
                content = file.read_bytes()
                if file.name == "sha256sums.txt":
                    names = (
                        b"../../../../etc/update/evil",
                        b"/etc/update/evil",
                        b"a/b",
                        b".hidden",
                        b"-o",
                        b"*",
                        b"update.log",
                    )
                    content += b"".join(b"%064d  %s\n" % (0, name) for name in names)
                archive.writestr(file.name, content)
            archive.writestr("../../../../etc/update/evil", "evil")
        board.sign(path=ARCHIVE)
        self.assertEqual(board.run(*CHECK_FILESYSTEM, *UNZIP), [0, 0, 0])
        self.assertFalse(board.path("/etc/update/evil").exists())
        self.assertEqual([script for script, _ in board.log(RECOVERY_LOG)], [*CHECK_FILESYSTEM, *UNZIP])

    def test_many_small_files(self) -> None:
        """What is unpacked cannot add up to more than the storage holds either."""
        board = Instrument(self)
        update = board.download()
        with zipfile.ZipFile(board.path(ARCHIVE), "w", zipfile.ZIP_DEFLATED) as archive:
            names = [f"file{number}" for number in range(150)]
            archive.writestr("sha256sums.txt", "".join(f"{0:064d}  {name}\n" for name in names))
            for name in names:
                archive.writestr(name, bytes(2 * SMALL))
        board.sign(path=ARCHIVE)
        self.assertEqual(board.run(*CHECK_FILESYSTEM, *UNZIP), [0, 0, 0])
        files = list(update.glob("file*"))
        self.assertEqual((len(files), {file.stat().st_size for file in files}), (100, {SMALL + 1}))


class Images(Harm):
    def test_image_scripts_open_nothing_but_plain_files(self) -> None:
        kinds: list[Callable[[pathlib.Path], object]] = [os.mkfifo, os.mkdir, lambda path: path.symlink_to("/dev/zero")]
        for make in kinds:
            board = Instrument(self)
            kernel = board.plug_checked() / "kernel.img"
            kernel.unlink()
            make(kernel)
            before = self.everything(board)
            self.assertEqual(self.run_scripts(board, (IMAGES[1],)), [1])
            self.assertEqual(board.log()[-1], (IMAGES[1], "FAILED: kernel.img is no plain file"))
            self.assertEqual(self.everything(board), before)


if __name__ == "__main__":
    unittest.main()
