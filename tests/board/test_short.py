"""What the board has to show before anything else: an update with its restart, and a rejection."""

import unittest

from boards import BoardRehearsal


class Short(unittest.TestCase):
    def test_update_and_the_new_version_after_the_restart(self) -> None:
        rehearsal = BoardRehearsal(self)
        rehearsal.assert_promise_kept("reboots", "p7    root file system of 7", "comes back as", "its Versions screen")
        self.assertIn("firmware 4.07 from version partition 7", rehearsal.output)
        self.assertTrue(list(rehearsal.folder.glob("*-versions-after-the-reboot.png")))
        page = (rehearsal.folder / "index.html").read_text()
        self.assertEqual(page.count('src="data:image/png'), len(list(rehearsal.folder.glob("*.png"))))
        self.assertRegex(page, r"comes back as</td><td[^>]*>firmware 4\.07 from version partition 7<")

    def test_blank_board(self) -> None:
        rehearsal = BoardRehearsal(self, "--mode", "blank")
        rehearsal.assert_promise_kept("reboots", "p1    root file system of 1", "comes back as", "its Versions screen")
        self.assertIn("firmware 4.07 from version partition 1", rehearsal.output)

    def test_rejected_stick(self) -> None:
        BoardRehearsal(self, "--stick", "badsum").assert_promise_kept("reason of the rejection", "everything else")


if __name__ == "__main__":
    unittest.main()
