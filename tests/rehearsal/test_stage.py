"""Those who conduct a rehearsal know the instrument as a stage, whatever it is made of."""

import ast
import contextlib
import io
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from fakes import FakeAlbum, FakeStage
from PIL import Image
from rehearsals import REHEARSAL
from rehearsal.album import Album
from rehearsal.follow import READY, Follower, Limits
from rehearsal.player import Player
from rehearsal.record import Record
from rehearsal.report import Report
from rehearsal.stage import Complained, Ended, Event, Rebooted, Said, ScriptEnded, ScriptStarts, StageError

NAMES_THE_STAGES = "stages.py"
OF_THE_STAGES = {"rehearsal.sandbox", "rehearsal.stages", "subprocess", "Xlib"}


def imported(file: Path) -> set[str]:
    """The modules that a file imports, and the packages that they lie in."""
    names = set()
    for node in ast.walk(ast.parse(file.read_text())):
        if isinstance(node, ast.Import):
            names |= {alias.name for alias in node.names}
        elif isinstance(node, ast.ImportFrom) and node.module:
            names |= {f"{node.module}.{alias.name}" for alias in node.names}
    parts = (name.split(".") for name in names)
    return {".".join(words[:count]) for words in parts for count in range(1, len(words) + 1)}


class Arrows(unittest.TestCase):
    def test_only_one_module_knows_the_stages(self) -> None:
        files = list(REHEARSAL.glob("*.py"))
        self.assertGreater(len(files), 15)
        knowing = {file.name: imported(file) & OF_THE_STAGES for file in files}
        # the options offer the stages that there are, by name
        expected = {NAMES_THE_STAGES: {"rehearsal.sandbox"}, "options.py": {"rehearsal.stages"}}
        expected["conduct.py"] = {"rehearsal.stages"}
        # these ask programs about files, not about an instrument that runs
        expected |= {name: {"subprocess"} for name in ("audit.py", "signature.py")}
        self.assertEqual({name: modules for name, modules in knowing.items() if modules}, expected)


class GoneStage(FakeStage):
    """Its screen goes away."""

    def changed(self) -> bool:
        raise StageError("the screen is gone")


class Follow(unittest.TestCase):
    def follow(self, stage: FakeStage, album: Album | None = None) -> Record:
        folder = tempfile.TemporaryDirectory(prefix="test-stage-")
        self.addCleanup(folder.cleanup)
        report = Report(Path(folder.name) / "rehearsal.txt")
        self.addCleanup(report.close)
        album = album or FakeAlbum(stage)
        player = Player(stage, album, "800x480", ("USB",), lambda name, where: None)
        with contextlib.redirect_stdout(io.StringIO()) as self.said:
            return Follower(stage, album, player, report, Limits(0.5, 20, 0.3, 0.3)).follow()

    def test_to_the_reboot(self) -> None:
        stage = FakeStage()
        starts, ends = ScriptStarts("3-USB-UBoot.sh"), ScriptEnded("3-USB-UBoot.sh", "0")
        stage.events = [[Said(READY)]]
        stage.rest = [Said("the last line")]

        def let_go() -> None:
            stage.events += [[Complained("oh"), ends], [Rebooted()]]

        stage.on_let_go = let_go
        stage.on_touch = lambda: stage.events.append([Said("Update in progress"), Said("Update U-Boot"), starts])
        record = self.follow(stage)
        self.assertEqual(record.lines, [READY, "Update in progress", "Update U-Boot", "the last line"])
        self.assertEqual([(run.name, run.code) for run in record.runs], [("3-USB-UBoot.sh", "0")])
        self.assertEqual((record.fault, record.exit_status, stage.gone_on), ("", None, 1))
        self.assertEqual(stage.touches, [(133, 378)])
        self.assertIn("stderr  | oh", self.said.getvalue())

    def test_to_the_end_of_the_program(self) -> None:
        stage = FakeStage()
        stage.events = [[Said("something"), Ended(139)]]
        record = self.follow(stage)
        self.assertEqual((record.lines, record.fault, record.exit_status), (["something"], "", 139))

    def test_script_that_cannot_be_started(self) -> None:
        stage = FakeStage()
        stage.events = [[ScriptStarts("x.sh")]]
        stage.on_let_go = lambda: stage.events.append([ScriptEnded("x.sh", "unstartable", "no such file"), Ended(0)])
        self.assertEqual(self.follow(stage).runs[0].code, "unstartable")
        self.assertIn("x.sh cannot be started, no such file", self.said.getvalue())

    def test_silence(self) -> None:
        self.assertEqual(self.follow(FakeStage()).fault, "nothing happened for 0 s, no script was running")

    def test_screen_goes_away(self) -> None:
        stage = GoneStage()
        self.assertEqual(self.follow(stage, Album(stage, Path("/nowhere"), ("first",))).fault, "the screen is gone")

    def test_waits_for_the_picture_of_a_script(self) -> None:
        """A script goes on when the picture of its step is there, and not before."""
        stage = FakeStage()
        with tempfile.TemporaryDirectory(prefix="test-stage-") as folder:
            album = Album(stage, Path(folder), ("first",))
            stage.image = Image.new("RGB", (800, 480), "white")
            stage.image.putpixel((5, 5), (0, 0, 0))
            stage.has_changed = True
            stage.events = [[Said("Update Kernel"), ScriptStarts("4-USB-kernel.sh")]]
            kept = []

            def let_go() -> None:
                kept.append(album.shows_state())
                stage.events.append([Rebooted()])

            stage.on_let_go = let_go
            self.follow(stage, album)
            album.close()
            self.assertEqual([file.name for file in Path(folder).iterdir()], ["01-50-update-kernel.png"])
        self.assertEqual(kept, [True])

    def test_looks_after_each_script(self) -> None:
        """What was said while it looked is heard before the screen is seen again."""
        stage = FakeStage()
        album = FakeAlbum(stage)
        ends = ScriptEnded("4-USB-kernel.sh", "0")
        seen: list[list[str]] = []
        stage.events = [[Said("Update Kernel"), ScriptStarts("4-USB-kernel.sh")]]
        stage.on_let_go = lambda: stage.events.append([ends])
        stage.on_look = lambda: stage.events.append([Said("Update Recovery Kernel"), Rebooted()])

        def settle() -> None:
            seen.append([*album.states])

        with mock.patch.object(album, "settle", settle):
            run = self.follow(stage, album).runs[0]
        self.assertIsNotNone(run.after)
        self.assertEqual(run.printed, "4-USB-kernel.sh was here")
        self.assertEqual(seen, [["50 Update Kernel"], ["50 Update Kernel", "60 Update Recovery Kernel"]])

    def test_script_that_never_ends(self) -> None:
        stage = FakeStage()
        stage.events = [[Said("Update Kernel"), ScriptStarts("4-USB-kernel.sh")]]
        run = self.follow(stage).runs[0]
        self.assertEqual((run.ended, run.printed), (None, "4-USB-kernel.sh was here"))

    def test_overrides_print_on_the_console(self) -> None:
        stage = FakeStage()
        name = "00-USB-installoverrides.sh"
        stage.events = [[Said("Implementing overrides..."), ScriptStarts(name)]]
        after: list[Event] = [ScriptEnded(name, "1"), Said("not its own"), Ended(0)]
        stage.on_let_go = lambda: stage.events.append([Said("its own"), Said("Status set..."), *after])
        self.assertEqual(self.follow(stage).runs[0].printed, f"its own\n{name} was here")

    def test_overrides_again_and_again(self) -> None:
        """A script that cannot be started does not even report that it starts."""
        stage = FakeStage()
        stage.events = [[Said("Implementing overrides...")] for _ in range(9)]
        record = self.follow(stage)
        self.assertEqual(record.fault, "00-USB-installoverrides.sh is started again and again")
        self.assertEqual(len(record.lines), 6)


if __name__ == "__main__":
    unittest.main()
