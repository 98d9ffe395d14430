"""Every mode once on the board, to its verdict."""

import unittest

from boards import BoardRehearsal


class Modes(unittest.TestCase):
    def assert_updated(self, mode: str, version: str) -> None:
        rehearsal = BoardRehearsal(self, "--mode", mode)
        rehearsal.assert_promise_kept("reboots", "p7    root file system of 7", "comes back as", "its Versions screen")
        self.assertIn(f"firmware {version} from version partition 7", rehearsal.output)

    def test_keep(self) -> None:
        self.assert_updated("keep", "4.07")

    def test_network(self) -> None:
        self.assert_updated("network", "4.08")

    def test_rebootusb(self) -> None:
        self.assert_updated("rebootusb", "4.07")

    def test_goback(self) -> None:
        self.assert_updated("goback", "4.07")

    def test_deadusb(self) -> None:
        self.assert_updated("deadusb", "4.07")

    def test_override(self) -> None:
        BoardRehearsal(self, "--mode", "override", "--stick", "size").assert_promise_kept(
            "/etc/display-size", "reboots"
        )

    def test_signatures(self) -> None:
        for kind in ("unsigned", "otherkey", "resummed"):
            with self.subTest(kind):
                rehearsal = BoardRehearsal(self, "--stick", kind)
                rehearsal.assert_promise_kept("reason of the rejection", "keys", "everything else")

    def test_tools(self) -> None:
        """What was exported is on the stick when the script has ended, and does not change any more."""
        rehearsal = BoardRehearsal(self, "--mode", "tools")
        rehearsal.assert_promise_kept("screens", "export", "archive", "version change", "comes back as")
        self.assertRegex(rehearsal.output, r"made /media/usb0/diagnostics-.*\.tgz")
        self.assertNotRegex(rehearsal.output, r"changed /media/usb0/diagnostics-")

    def test_settings(self) -> None:
        rehearsal = BoardRehearsal(self, "--mode", "settings")
        rehearsal.assert_promise_kept("system reset", "comes back as", "its Versions screen")


if __name__ == "__main__":
    unittest.main()
