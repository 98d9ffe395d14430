"""A stage on which nothing runs, and an album without pictures: both do what a test tells them."""

from collections.abc import Callable, Sequence
from pathlib import Path

import rehearsals  # noqa: F401  makes the modules below known
from PIL import Image
from rehearsal.album import Album
from rehearsal.holdings import Holdings
from rehearsal.stage import Event, Scene, Stage, Window


class Nothing:
    """Contents of an instrument that holds nothing."""

    def marks(self, patterns: Sequence[str]) -> dict[str, str]:
        return {}

    def read(self, path: str, length: int = -1) -> bytes | None:
        return None

    def link(self, path: str) -> str:
        return ""


class FakeStage(Stage):
    def __init__(self) -> None:
        self.front: Window | None = Window(1, "MainWindow")
        self.image = Image.new("RGB", (800, 480))
        self.has_changed = False
        self.touches: list[tuple[int, int]] = []
        self.on_touch: Callable[[], None] = lambda: None
        self.events: list[list[Event]] = []  # of each turn
        self.rest: list[Event] = []  # when it is stopped
        self.gone_on = 0  # how many scripts

    def make_update(self, kind: Sequence[str], archive: bool, path: Path) -> None:
        pass

    def prepare(self, scene: Scene) -> list[str]:
        return []

    def plug(self, stick: Path) -> None:
        pass

    def pull(self) -> None:
        pass

    def download(self, archive: Path) -> None:
        pass

    def start(self, option: str | None, say: Callable[[str], None]) -> None:
        pass

    def descriptors(self) -> list[int]:
        return []

    def take(self) -> list[Event]:
        return self.events.pop(0) if self.events else []

    def let_go(self) -> None:
        self.gone_on += 1

    def changed(self) -> bool:
        return self.has_changed

    def picture(self) -> Image.Image:
        self.has_changed = False
        return self.image

    def touch(self, x: int, y: int) -> None:
        self.touches.append((x, y))
        self.on_touch()

    def window(self) -> Window | None:
        return self.front

    def holdings(self) -> Holdings:
        return Holdings(Nothing(), 0)

    def stop(self) -> list[Event]:
        return self.rest

    def close(self) -> None:
        pass


class FakeAlbum(Album):
    """Shows what the stage shows at first, always at rest."""

    def __init__(self, stage: FakeStage):
        super().__init__(stage, Path("/nowhere"), ("first",))
        self.image = stage.image
        self.shown = True
        self.states: list[str] = []
        self.kept: list[str] = []

    def settle(self) -> float | None:
        return None

    def at_rest(self, seconds: float) -> bool:
        return True

    def shows_state(self) -> bool:
        return self.shown

    def enter(self, state: str) -> None:
        self.states.append(state)

    def keep(self) -> None:
        self.kept.append(self.states[-1] if self.states else "")
