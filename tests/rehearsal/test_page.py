"""The page of a rehearsal: opened in a browser it says what the verdict says, and whatever scripts print is text."""

import html.parser
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from handmade import Tree
from PIL import Image
from rehearsal.album import Picture
from rehearsal.judgement import judge
from rehearsal.page import write_page
from rehearsal.plain import plain
from rehearsal.record import ScriptRun
from rehearsal.report import Report
from rehearsals import OURS, Rehearsal, Scripts

HOSTILE = '</pre><script>document.title="taken"</script><img src=x onerror=alert(1)> & \x1b[2J \u202eesrever \0'
BROWSER = (
    "chromium",
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
)


def open_page(test: unittest.TestCase, page: Path, *options: str) -> str:
    """What a browser makes of a page."""
    profile = tempfile.mkdtemp(prefix="test-page-")
    test.addCleanup(shutil.rmtree, profile, ignore_errors=True)
    done = subprocess.run(
        [*BROWSER, f"--user-data-dir={profile}", *(options or ["--dump-dom"]), page.as_uri()],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=120,
        check=True,
    )
    return done.stdout.decode()


class Dom(html.parser.HTMLParser):
    """The texts of a page by the class or id of what they stand in, its elements and their attributes."""

    HOLD_NOTHING = ("meta", "img", "line", "rect", "path", "circle")

    def __init__(self, text: str) -> None:
        super().__init__()
        self.texts: dict[str, str] = {}
        self.elements: list[str] = []
        self.attributes: list[tuple[str, str]] = []
        self._within: list[tuple[str, tuple[str, ...]]] = []
        self.feed(text)

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        self.elements.append(tag)
        self.attributes += [(name, value or "") for name, value in attrs]
        if tag not in self.HOLD_NOTHING:
            names = tuple(word for name, value in attrs if name in ("class", "id") for word in (value or "").split())
            self._within.append((tag, names))

    def handle_endtag(self, tag: str) -> None:
        while tag not in self.HOLD_NOTHING and self._within and self._within.pop()[0] != tag:
            pass

    def handle_data(self, data: str) -> None:
        for tag, names in self._within:
            for name in (tag, *names):
                self.texts[name] = self.texts.get(name, "") + data


class Page(unittest.TestCase):
    """A page made by hand."""

    def setUp(self) -> None:
        self.tree = Tree(self)
        self.tree.update()
        self.folder = self.tree.top / "folder"
        self.folder.mkdir()
        self.report = Report(self.folder / "rehearsal.txt")
        self.addCleanup(self.report.close)
        self.facts = {"what": "usb"}
        self.pictures: list[Picture] = []

    def picture(self, state: str, at: float) -> None:
        file = self.folder / f"{len(self.pictures)}.png"
        Image.new("RGB", (80, 48), "navy").save(file)
        self.pictures.append(Picture(file, state, self.report.started + at))

    def write(self, unstartable: dict[str, str] | None = None) -> Path:
        case = self.tree.case(unstartable=unstartable)
        write_page(self.folder, "Rehearsal", self.facts, case, judge(case, []), self.pictures, self.report)
        return self.folder / "index.html"

    def test_good(self) -> None:
        self.picture("ready", 6.25)
        dom = Dom(open_page(self, self.write()))
        self.assertEqual(dom.texts["head"].split("\n")[-1].strip(), "As promised: the update is installed.")
        self.assertIn("ready 6.25 s", dom.texts["figcaption"])
        self.assertNotIn("bad", dom.texts)
        self.assertIn("7-USB-rootfs.sh", dom.texts["svg"])

    def test_bad(self) -> None:
        self.tree.write("dev/mmcblk0p4", "something")
        self.tree.record.runs[5].after = self.tree.holdings()
        for run in self.tree.record.runs[:5]:
            run.after = self.tree.before
        dom = Dom(open_page(self, self.write()))
        self.assertIn("4-USB-kernel.sh wrote to p4, which is the active version's.", dom.texts["bad"])
        self.assertIn("NOT as promised, in 1 of", dom.texts["bad"])
        self.assertIn("kernel of 1 (1 on the screen)", dom.texts["no"])

    def test_hostile(self) -> None:
        """Whatever scripts, sticks and file names hold is shown as it is, and does nothing."""
        self.facts["scripts"] = HOSTILE
        self.picture(HOSTILE, 1)
        self.tree.record.runs[8] = ScriptRun("7-USB-rootfs.sh", 0, 1, "9", self.tree.holdings(), f"{HOSTILE}\n" * 300)
        self.tree.write("media/usb0/update/update.log", HOSTILE)
        (self.tree.root / "mnt" / "<b onclick=x>").touch()
        (self.tree.root / "mnt" / "not utf-8 \udcff").touch()
        self.report.event("console", f"| {HOSTILE}")
        self.tree.record.lines.append(HOSTILE)
        page = self.write(unstartable={"6-USB-recoveryfs.sh": HOSTILE})
        for text in (page.read_text(), open_page(self, page)):
            dom = Dom(text)
            self.assertNotIn("script", dom.elements)
            self.assertEqual([name for name, _ in dom.attributes if name.startswith("on")], [])
            self.assertEqual(
                {value.partition(",")[0] for name, value in dom.attributes if name == "src"}, {"data:image/png;base64"}
            )
            self.assertNotRegex(text, "[\0\x1b\u202e]")
            self.assertIn(plain(HOSTILE), dom.texts["pre"])
            self.assertIn(
                "It printed 300 lines, the last 200 of them (all in script-09-7-USB-rootfs.sh.txt):", dom.texts["dim"]
            )
            self.assertNotIn("taken", dom.texts["title"])

    def test_needs_nothing_else(self) -> None:
        self.picture("ready", 1)
        page = self.write()
        self.assertEqual(re.findall(r"(?:https?:|url\(|@import|<link)", page.read_text()), [])
        (self.folder / "0.png").unlink()
        self.assertIn("data:image/png;base64,", open_page(self, page))

    def test_fits_its_width(self) -> None:
        """Nothing but the drawing, which scrolls by itself, is wider than a narrow screen."""
        self.tree.record.runs[8].printed = "x" * 1000
        self.tree.record.runs[8].code = "9"
        page = self.write().read_text()
        self.assertEqual(
            self.measured(
                page, "document.documentElement.scrollWidth" " - document.documentElement.clientWidth", "500,900"
            ),
            "0",
        )

    def test_printed(self) -> None:
        """On paper everything is unfolded."""
        self.tree.record.runs[8].printed = "what it said"
        page = self.write().read_text()
        self.assertNotIn("what it said", self.measured(page, "document.body.innerText"))
        self.assertIn(
            "what it said", self.measured(page.replace("@media print", "@media screen"), "document.body.innerText")
        )

    def measured(self, page: str, what: str, size: str = "800,900") -> str:
        """What a browser measures on a page, which is allowed a script for that."""
        text = page.replace("default-src 'none'", "default-src 'none'; script-src 'unsafe-inline'")
        file = self.folder / "measured.html"
        file.write_text(text.replace("</body>", f"<script>document.body.dataset.is = {what}</script></body>"))
        dom = Dom(open_page(self, file, f"--window-size={size}", "--dump-dom"))
        return next(value for name, value in dom.attributes if name == "data-is")


class OfRehearsals(unittest.TestCase):
    """The pages that real rehearsals leave."""

    def head(self, rehearsal: Rehearsal) -> str:
        dom = Dom(open_page(self, rehearsal.folder / "index.html"))
        self.assertEqual(dom.elements.count("img"), len(list(rehearsal.folder.glob("*.png"))))
        said = str(re.findall(r"^Verdict: (.*)$", rehearsal.output, re.MULTILINE)[0])
        self.assertIn(said, dom.texts["head"])
        return said

    def test_rejected(self) -> None:
        rehearsal = Rehearsal(self, "--stick", "badsum")
        self.assertEqual(
            self.head(rehearsal),
            'As promised: the update is rejected, "kernel.img was changed after it was signed (wrong sum)".',
        )

    def test_sabotaged(self) -> None:
        scripts = Scripts(self)
        scripts.before_end("7-USB-rootfs.sh", "rm /home/tesk/cfg/channels.conf")
        rehearsal = Rehearsal(self, "--mode", "network", "--scripts", scripts.directory, *OURS)
        self.assertEqual(self.head(rehearsal), "7-USB-rootfs.sh removed /home/tesk/cfg/channels.conf.")


class Plain(unittest.TestCase):
    def test_harmless(self) -> None:
        for text, shown in (
            ("a\tb\nc", "a\tb\nc"),
            ("\x1b[2J", "\\x1b[2J"),
            ("\0\x7f\x9b", "\\x00\\x7f\\x9b"),
            ("\u202eabc\u2066", "\\u202eabc\\u2066"),
            ("\udcff", "\\udcff"),
            ("ä€😀", "ä€😀"),
        ):
            self.assertEqual(plain(text), shown)


if __name__ == "__main__":
    unittest.main()
