"""Whom an instrument believes an update: signatures, keys, and instruments without them."""

import subprocess
import unittest
from collections.abc import Sequence

from instrument import CHECK_FILESYSTEM, IMAGES, NETWORK, POST_UPDATE, REBUILD, SWITCH, UNZIP, USB, VERIFY, Instrument
from keys import key, key_number

LIST, SIGNATURE = "/media/usb0/update/sha256sums.txt", "/media/usb0/update/sha256sums.txt.minisig"
ARCHIVE = "/mnt/recovery/download/update.zip"
NETWORK_LOG = "/mnt/recovery/update_files/update/update.log"
OVERRIDE_SCRIPT, OVERRIDE_LOG = "00-USB-installoverrides.sh", "/media/usb0/update/update_override.log"
KEYLESS = "ok, nothing verified: this instrument has no keys"


def reasons(name: str) -> dict[str, str]:
    """How a stick or archive is rejected of which this file is not signed as it should be."""
    return {
        "unsigned": f"{name} is not signed: {name}.minisig is missing",
        "otherkey": f"{name} is signed by a key that this instrument does not know, {key_number('stranger')}",
        "resummed": f"{name} was changed after it was signed",
    }


class Rejected(unittest.TestCase):
    def assert_rejected(
        self,
        board: Instrument,
        scripts: tuple[str, ...],
        reason: str,
        log: str = "/media/usb0/update/update.log",
        sandbox_options: Sequence[str] = (),
    ) -> None:
        """The last of these scripts rejects the update, says why, and nothing has changed."""
        before = board.storage()
        self.assertEqual(
            board.run(*scripts, sandbox_options=sandbox_options), [0] * (len(scripts) - 1) + [3], board.all_logs()
        )
        self.assertEqual(board.marker(), reason + "\n")
        self.assertEqual(board.log(log)[-1], (scripts[-1], "REJECTED: " + reason))
        self.assertEqual(board.storage(), before)


class Stick(Rejected):
    UP_TO_VERSION_CHECK = (*CHECK_FILESYSTEM, VERIFY[0])

    def test_not_signed_as_it_should_be(self) -> None:
        for kind, reason in reasons("sha256sums.txt").items():
            with self.subTest(kind):
                board = Instrument(self)
                board.plug("--bad", kind)
                self.assert_rejected(board, self.UP_TO_VERSION_CHECK, reason)

    def test_rejected_by_the_file_check_too(self) -> None:
        """The program runs both; neither relies on the other having run."""
        for kind, reason in reasons("sha256sums.txt").items():
            with self.subTest(kind):
                board = Instrument(self)
                board.plug("--bad", kind)
                self.assert_rejected(board, (*CHECK_FILESYSTEM, VERIFY[1]), reason)

    def test_rebuild_of_a_blank_board(self) -> None:
        for kind, reason in reasons("sha256sums.txt").items():
            with self.subTest(kind):
                board = Instrument(self, "--blank")
                board.plug("--bad", kind)
                self.assertEqual(board.run(*REBUILD), [0, 3, *[1] * (len(REBUILD) - 2)])
                self.assertEqual(board.marker(), reason + "\n")
                self.assertIn(("1-AUTUPD-createRecoverySystem.sh", "REJECTED: " + reason), board.log())
                self.assertEqual(board.storage(), Instrument(self, "--blank").storage())

    def test_rebuild_looks_at_every_image(self) -> None:
        for kind, reason in (
            ("badsum", "kernel.img was changed after it was signed (wrong sum)"),
            ("missingfile", "recoveryfs.img is missing"),
        ):
            with self.subTest(kind):
                board = Instrument(self, "--blank")
                board.plug("--bad", kind)
                before = board.storage()
                self.assertEqual(board.run(*REBUILD)[:2], [0, 3])
                self.assertEqual(board.marker(), reason + "\n")
                self.assertEqual(board.storage(), before)

    def test_rebuild_needs_a_manifest(self) -> None:
        """Its version check does not run, so nothing else would notice."""
        board = Instrument(self, "--blank")
        (board.plug() / "manifest.txt").write_text("")
        board.sign()
        self.assert_rejected(board, CHECK_FILESYSTEM, "manifest.txt is missing", "/tmp/update.log")

    def test_nothing_is_written_or_run_that_was_not_checked(self) -> None:
        for script in (*IMAGES, *POST_UPDATE, *SWITCH, "9-UbootVariables.sh"):
            with self.subTest(script):
                board = Instrument(self)
                board.plug()
                before = board.storage()
                self.assertEqual(board.run(*CHECK_FILESYSTEM, VERIFY[0], script), [0, 0, 0, 1])
                self.assertIn("FAILED: the update has not passed the check", board.log()[-1][1])
                self.assertEqual(board.storage(), before)
                self.assertFalse(board.path("/var/log/post-update.log").exists())

    def test_check_of_an_earlier_update_does_not_count(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        self.assertEqual(board.run(CHECK_FILESYSTEM[0], IMAGES[0]), [0, 1])

    def test_only_the_instrument_gets_at_the_copies(self) -> None:
        board = Instrument(self)
        board.plug_checked()
        self.assertEqual(board.path("/run/update").stat().st_mode & 0o777, 0o700)

    def test_what_is_no_signature(self) -> None:
        not_one = "sha256sums.txt.minisig is no signature in minisign's present form"
        for name, content, reason in (
            ("empty", b"", not_one),
            ("text", b"signed\nby me\n", not_one),
            ("a key", key("maker").read_bytes(), not_one),
            ("zeros", bytes(500), not_one),
            ("half of one", None, "sha256sums.txt was changed after it was signed"),
            ("a large one", bytes(1048577), "sha256sums.txt.minisig is too large"),
        ):
            with self.subTest(name):
                board = Instrument(self)
                board.plug()
                signature = board.path(SIGNATURE)
                signature.write_bytes(signature.read_bytes()[:100] if content is None else content)
                self.assert_rejected(board, self.UP_TO_VERSION_CHECK, reason)

    def test_older_form_of_a_signature(self) -> None:
        """It would have the instrument hold the whole file in memory, an archive too."""
        board = Instrument(self)
        board.plug()
        subprocess.run(
            ["minisign", "-S", "-l", "-s", key("maker").with_suffix(".key"), "-m", board.path(LIST)],
            check=True,
            capture_output=True,
        )
        self.assert_rejected(
            board, self.UP_TO_VERSION_CHECK, "sha256sums.txt.minisig is no signature in minisign's present form"
        )

    def test_signature_of_another_list(self) -> None:
        board = Instrument(self)
        update = board.plug("--override", "size")
        (update / "OVERRIDE/sha256sums.txt.minisig").rename(board.path(SIGNATURE))
        self.assert_rejected(board, self.UP_TO_VERSION_CHECK, "sha256sums.txt was changed after it was signed")

    def test_instrument_without_minisign(self) -> None:
        board = Instrument(self)
        board.plug()
        reason = "this instrument has no minisign to verify signatures with"
        self.assert_rejected(
            board, self.UP_TO_VERSION_CHECK, reason, sandbox_options=("--ro-bind", "/dev/null", "/usr/bin/minisign")
        )


class Keys(Rejected):
    UP_TO_VERSION_CHECK = Stick.UP_TO_VERSION_CHECK

    def test_next_key(self) -> None:
        """While keys are changed, updates signed with either are accepted."""
        board = Instrument(self)
        update = board.plug()
        board.sign("--key", key("next").with_suffix(".key"))
        board.run_well(*USB)
        board.assert_installed(update, "7")

    def test_key_that_was_given_up(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/etc/update/keys/maker.pub").unlink()
        self.assert_rejected(
            board,
            self.UP_TO_VERSION_CHECK,
            "sha256sums.txt is signed by a key that this instrument " f"does not know, {key_number('maker')}",
        )

    def test_no_key_at_all(self) -> None:
        """An instrument that has lost its keys must not believe everybody."""
        board = Instrument(self)
        board.plug()
        for path in board.path("/etc/update/keys").iterdir():
            path.unlink()
        self.assert_rejected(
            board,
            self.UP_TO_VERSION_CHECK,
            "sha256sums.txt is signed by a key that this instrument " f"does not know, {key_number('maker')}",
        )

    def test_damaged_key_does_not_hide_the_others(self) -> None:
        board = Instrument(self)
        board.plug()
        board.path("/etc/update/keys/a.pub").write_text("damaged")
        board.run_well(*self.UP_TO_VERSION_CHECK)

    def test_instrument_without_keys(self) -> None:
        """It does with sums alone, and says so."""
        board = Instrument(self, "--keyless")
        update = board.plug("--bad", "unsigned")
        board.run_well(*USB)
        board.assert_installed(update, "7")
        self.assertEqual([script for script, result in board.log() if result == KEYLESS], [VERIFY[0]])

    def test_sums_count_without_keys(self) -> None:
        for kind, reason in (("badsum", "kernel.img has a wrong sum"), ("missingfile", "recoveryfs.img is missing")):
            board = Instrument(self, "--keyless")
            board.plug("--bad", kind)
            self.assert_rejected(board, CHECK_FILESYSTEM + VERIFY, reason)

    def test_download_without_keys(self) -> None:
        board = Instrument(self, "--keyless")
        board.download("--bad", "unsigned")
        board.run_well(*NETWORK)
        self.assertEqual(
            [script for script, result in board.log(NETWORK_LOG) if result == KEYLESS], [*UNZIP, VERIFY[0]]
        )


class Download(Rejected):
    def test_not_signed_as_it_should_be(self) -> None:
        """Nothing is unpacked of an archive that is not believed."""
        for kind, reason in reasons("update.zip").items():
            with self.subTest(kind):
                board = Instrument(self)
                update = board.download("--bad", kind)
                self.assert_rejected(board, CHECK_FILESYSTEM + UNZIP, reason, NETWORK_LOG)
                self.assertEqual({path.name for path in update.iterdir()}, {"update.log", "update.zip"})

    def test_what_it_holds_is_signed_too(self) -> None:
        """The checks see an unpacked download as they see a stick."""
        board = Instrument(self)
        update = board.download()
        board.run_well(*CHECK_FILESYSTEM, *UNZIP)
        (update / "sha256sums.txt.minisig").unlink()
        self.assert_rejected(board, VERIFY[:1], reasons("sha256sums.txt")["unsigned"], NETWORK_LOG)

    def test_signature_goes_with_the_download(self) -> None:
        board = Instrument(self)
        board.download()
        board.run_well(*NETWORK)
        self.assertFalse(board.path(ARCHIVE + ".minisig").exists())


class Override(Rejected):
    def test_not_signed_as_it_should_be(self) -> None:
        for variant in ("unsigned", "otherkey"):
            with self.subTest(variant):
                board = Instrument(self)
                board.plug("--override", variant)
                self.assert_rejected(board, (OVERRIDE_SCRIPT,), reasons("sha256sums.txt")[variant], OVERRIDE_LOG)

    def test_changed_with_its_sum(self) -> None:
        board = Instrument(self)
        override = board.plug("--override", "size") / "OVERRIDE"
        signature = (override / "sha256sums.txt.minisig").read_bytes()
        (override / "Size10").write_text("display_size=99\n")
        board.sign()
        (override / "sha256sums.txt.minisig").write_bytes(signature)
        self.assert_rejected(board, (OVERRIDE_SCRIPT,), reasons("sha256sums.txt")["resummed"], OVERRIDE_LOG)

    def test_update_of_the_same_stick_is_verified_by_itself(self) -> None:
        board = Instrument(self)
        board.plug("--bad", "unsigned", "--override", "match")
        self.assertEqual(board.run(OVERRIDE_SCRIPT, *CHECK_FILESYSTEM, VERIFY[0]), [1, 0, 0, 3])
        self.assertEqual(board.marker(), reasons("sha256sums.txt")["unsigned"] + "\n")


if __name__ == "__main__":
    unittest.main()
