"""The emulated board as a stage."""

import time
from collections.abc import Callable, Iterator, Sequence
from contextlib import AbstractContextManager, contextmanager, suppress
from functools import cached_property
from pathlib import Path

from PIL import Image

from board.emulator import Emulator, Machine
from board.firmware import Firmware
from board.layout import described
from board.monitor import Gone
from board.storage import Storage, scripts_of_update
from rehearsal.description import Description
from rehearsal.holdings import Holdings
from rehearsal.reader import OURS
from rehearsal.sandbox.instrument import Tools
from rehearsal.stage import (
    Complained,
    Ended,
    Event,
    Rebooted,
    Said,
    Scene,
    Setting,
    Stage,
    StageError,
    Started,
    Window,
    script_event,
)

UPDATES = {False: "4.07", True: "4.08"}  # the version that a stick holds, and a download
SCREENS = ("800x480",)
UP = "board: firmware "  # the last that the board itself says before the program does
PROGRAM_IS_UP = "Current bootloader version = "
GOING_DOWN = (
    "The system is going down NOW!",
    "Sent SIGTERM to all processes",
    "Sent SIGKILL to all processes",
    "Requesting system reboot",
    "[",
)
LOOKS_EVERY = 0.2  # seconds: a picture has to be fetched to know that it has changed


class BoardStage(Stage):
    """A board with its stick, which is plugged once the program runs."""

    pace = 5.0
    tells_windows = False
    comes_back = True
    looks_every = LOOKS_EVERY

    def __init__(self, setting: Setting):
        if setting.size not in SCREENS:
            raise StageError(f"the board's screen is {SCREENS[0]}")
        if setting.by_hand:
            raise StageError("the board's screen is no window that could be touched")
        self._setting = setting
        width, height = (int(side) for side in setting.size.split("x"))
        self._size = (width, height)
        self._storage: Storage | None = None
        self._board: Emulator | None = None
        self._to_plug: Path | None = None
        self._is_up = self._ended_told = False
        self._reboots = 0
        self._shown: Image.Image | None = None  # the picture given last
        self._seen: Image.Image | None = None  # the one fetched last
        self._looked_at = 0.0
        self.cache: Path | None = None  # the socket of a server that plays the storage

    @staticmethod
    def describe(description: Description) -> Description:
        if description.file.resolve() != OURS:
            raise StageError("the board is our own instrument: another description is rehearsed in the sandbox")
        return described(description)

    def make_update(self, kind: Sequence[str], archive: bool, path: Path) -> None:
        """The same as in the sandbox, with a root file system that starts."""
        scratch, leash = self._setting.scratch, self._setting.leash
        images = scratch / "images"
        images.mkdir(exist_ok=True)
        root = self._firmware.root_image(UPDATES[archive], *scripts_of_update(scratch, leash))
        (images / "rootfs.img").symlink_to(root)
        Tools(scratch, leash).run("make-archive" if archive else "make-stick", *kind, path, images=images)

    def prepare(self, scene: Scene) -> list[str]:
        self._storage = Storage(self._firmware, scene, self._setting.scratch, self._setting.leash)
        return self._storage.unwatched

    def plug(self, stick: Path) -> None:
        image = self._there.make_stick(stick)
        if self._board:
            self._board.plug(image)
        else:
            self._to_plug = image

    def pull(self) -> None:
        if self._board:
            self._board.pull()
        self._to_plug = None

    def download(self, archive: Path) -> None:
        self._there.download(archive)

    def start(self, option: str | None, say: Callable[[str], None]) -> None:
        if option:
            self._there.ask_for(option.lstrip("-"))
        self.power_on()

    def descriptors(self) -> list[int]:
        return self._running.descriptors()

    def take(self) -> list[Event]:
        board = self._running
        status = board.ended()
        board.turn()
        events = [event for line in board.console.take() if (event := self._said(line.strip("\r")))]
        events += [script_event(line) for line in board.journal.take()]
        if status is not None and not (events or self._ended_told):
            self._ended_told = True
            self._reboots += board.restarted
            events.append(Rebooted() if board.restarted else Ended(status))
        return events

    def let_go(self) -> None:
        self._running.let_go()

    def changed(self) -> bool:
        if time.monotonic() > self._looked_at + LOOKS_EVERY:
            self._look()
        return self._seen is not self._shown

    def picture(self) -> Image.Image:
        self._look()
        self._shown = self._seen
        if not self._shown:
            raise StageError("the board has no screen")
        return self._shown

    def touch(self, x: int, y: int) -> None:
        self._running.touch(x, y)

    def window(self) -> Window | None:
        return None

    def holdings(self) -> Holdings:
        with self.standing_still():
            return self._there.holdings(self._reboots)

    def standing_still(self) -> AbstractContextManager[None]:
        """Time stands still on the board meanwhile, and all that it has written is in its files."""
        return self._between(Emulator.freeze, Emulator.thaw)

    def halted(self) -> AbstractContextManager[None]:
        """The board does nothing meanwhile, and its files are as a power cut would find them."""
        return self._between(Emulator.halt, Emulator.go_on)

    @contextmanager
    def _between(self, begin: Callable[[Emulator], None], end: Callable[[Emulator], None]) -> Iterator[None]:
        board = self._board if self._board and self._board.ended() is None else None
        if board:
            begin(board)
        try:
            yield
        finally:
            if board:
                end(board)

    def type(self, text: str) -> None:
        """Gives the board's console something to read."""
        self._running.type(text)

    def worked(self) -> float:
        """Seconds of processor time that the board has taken since its power-on."""
        return self._running.worked()

    def cut_power(self) -> None:
        """Ends everything on the board at once; only what its storage has taken is left."""
        self._cut()

    def stop(self) -> list[Event]:
        if not self._board:
            return []
        events = self.take()
        self._cut()
        return events

    def come_back(self) -> None:
        self.plug_again()
        self.power_on()

    def plug_again(self) -> None:
        """The stick that was plugged before: nobody has pulled it."""
        self._to_plug = self._there.stick

    def close(self) -> None:
        self._cut()
        self._setting.leash.pull()

    def power_on(self, parameters: str = "") -> None:
        """With these words more on the kernel's command line."""
        firmware = self._firmware
        self._board = Emulator(
            Machine(
                firmware.kernel,
                firmware.initrd,
                self._there.image,
                self._size,
                self._setting.scratch,
                parameters,
                None if self._reboots else self._there.medium,
                self.cache,
            ),
            self._setting.leash,
        )
        self._is_up = self._ended_told = False

    def _cut(self) -> None:
        if self._board:
            self._board.close()
            self._board = None

    def _look(self) -> None:
        self._looked_at = time.monotonic()
        with suppress(Gone):  # the last picture stays
            # until the board is up the emulator shows words of its own
            image = self._running.picture() if self._is_up else Image.new("RGB", self._size)
            if image != self._seen:
                self._seen = image

    def _said(self, line: str) -> Event | None:
        """The program has the console once the board is up, but for what the board says when it goes down."""
        if line.startswith(UP):
            self._is_up = True
            version, _, device = line.removeprefix(UP).partition(" from ")
            return Started(version, device[len(device.rstrip("0123456789")) :])
        if not self._is_up or line.startswith(GOING_DOWN):
            return Complained(line) if line else None
        if line.startswith(PROGRAM_IS_UP) and self._to_plug:
            self._running.plug(self._to_plug)
            self._to_plug = None
        return Said(line)

    @cached_property
    def _firmware(self) -> Firmware:
        """Built when it is asked for first, which may take minutes."""
        return Firmware(print)

    @property
    def files(self) -> list[Path]:
        """Those that are the internal storage and, if one was plugged, the stick."""
        return [self._there.image, *([self._there.stick] if self._there.stick else [])]

    @property
    def _there(self) -> Storage:
        assert self._storage, "the stage is not prepared"
        return self._storage

    @property
    def _running(self) -> Emulator:
        assert self._board, "the stage is not started"
        return self._board
