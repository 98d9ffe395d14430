"""The sandbox as a stage: the program in bubblewrap on a tree of files, its screen an X server."""

import os
import shutil
import subprocess
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path

from PIL.Image import Image

from rehearsal.holdings import Holdings
from rehearsal.leash import ENDS_WITHIN, Leash
from rehearsal.lines import Lines
from rehearsal.sandbox.instrument import GATE, JOURNAL, SIMULATOR, Instrument, Tools
from rehearsal.sandbox.xdisplay import DisplayGone, XDisplay
from rehearsal.sandbox.xserver import XServer
from rehearsal.source import download_files
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
    Window,
    script_event,
)


@contextmanager
def screen_told() -> Iterator[None]:
    """Tells what is wrong with the screen as the stage's own error."""
    try:
        yield
    except DisplayGone as error:
        raise StageError(f"the screen is gone: {error}") from error


class Run:
    """The program on its instrument, and what comes from there."""

    def __init__(self, instrument: Instrument, program: Path, options: Sequence[str], display: str, leash: Leash):
        self._instrument = instrument
        self._reboots = instrument.reboots()
        journal, self._gate = (os.open(instrument.root / pipe, os.O_RDWR) for pipe in (JOURNAL, GATE))
        environment = {**os.environ, "DISPLAY": display, "QT_QPA_PLATFORM": "xcb", "LANG": "C.UTF-8"}
        command = instrument.command(program, ["--sync-fd", str(leash.end)], options)
        process = subprocess.Popen(
            command,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            pass_fds=[leash.end],
            env=environment,
            start_new_session=True,
        )
        assert process.stdout and process.stderr
        self._process = process
        self._console, self._errors, self._journal = (
            Lines(pipe) for pipe in (process.stdout.fileno(), process.stderr.fileno(), journal)
        )
        self._exited = os.pidfd_open(process.pid)

    def descriptors(self) -> list[int]:
        pipes = (self._console, self._errors, self._journal)
        return [lines.pipe for lines in pipes if not lines.ended] + [self._exited]

    def take(self) -> list[Event]:
        events: list[Event] = [Said(line) for line in self._console.take()]
        events += self._scripts()
        events += [Complained(line) for line in self._errors.take()]
        status = self._process.poll()
        if status is not None:
            events += [Rebooted()] if self._instrument.reboots() > self._reboots else []
            events.append(Ended(status))
        return events

    def let_go(self) -> None:
        os.write(self._gate, b"g")

    def kill(self) -> None:
        self._process.kill()
        self._process.wait()

    def rest(self) -> list[Event]:
        """What is left in the pipes, once nothing runs any more."""
        events: list[Event] = [Said(line) for line in self._console.take_all(ENDS_WITHIN)]
        events += [Complained(line) for line in self._errors.take_all(ENDS_WITHIN)]
        return events + self._scripts()

    def close(self) -> None:
        for stream in (self._process.stdout, self._process.stderr):
            if stream:
                stream.close()
        for descriptor in (self._journal.pipe, self._gate, self._exited):
            os.close(descriptor)

    def _scripts(self) -> list[Event]:
        return [script_event(line) for line in self._journal.take()]


class SandboxStage(Stage):
    """With a display of the user's own the screen is a window on it, otherwise nothing but memory."""

    def __init__(self, setting: Setting):
        self._setting = setting
        self._tools = Tools(setting.scratch, setting.leash)
        self._instrument: Instrument | None = None
        self._server: XServer | None = None
        self._display: XDisplay | None = None
        self._run: Run | None = None

    def make_update(self, kind: Sequence[str], archive: bool, path: Path) -> None:
        tool = "make-archive" if archive else "make-stick"
        self._tools.run(tool, *kind, "--instrument", self._setting.description.file, path)

    def prepare(self, scene: Scene) -> list[str]:
        place = self._setting.scratch / "instrument"
        self._instrument = Instrument(place, scene, self._tools, self._setting.description)
        return self._instrument.unwatched

    def plug(self, stick: Path) -> None:
        self._tools.run("plug-stick", self._there.root, stick)

    def pull(self) -> None:
        self._tools.run("unplug-stick", self._there.root)

    def download(self, archive: Path) -> None:
        for file, path in download_files(archive, self._setting.description):
            place = self._there.root / path
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(file, place)

    def start(self, option: str | None, say: Callable[[str], None]) -> None:
        self._server = self._open_screen(say)
        with screen_told():
            self._display = XDisplay(self._server.display)
        self._run = Run(
            self._there,
            self._setting.program.resolve(),
            [option] if option else [],
            self._server.display,
            self._setting.leash,
        )

    def descriptors(self) -> list[int]:
        return [self._screen.fileno(), *self._running.descriptors()]

    def take(self) -> list[Event]:
        return self._running.take()

    def let_go(self) -> None:
        self._running.let_go()

    def changed(self) -> bool:
        with screen_told():
            return self._screen.changed()

    def picture(self) -> Image:
        with screen_told():
            return self._screen.picture()

    def touch(self, x: int, y: int) -> None:
        with screen_told():
            self._screen.touch(x, y)

    def window(self) -> Window | None:
        with screen_told():
            number, title = self._screen.top_window()
        return Window(number, title) if number else None

    def holdings(self) -> Holdings:
        return self._there.holdings()

    def printed(self, name: str) -> str:
        return self._there.printed(name)

    def keep(self, folder: Path) -> str:
        self._there.restore_scripts()
        shutil.move(self._there.root, folder)
        return f"{SIMULATOR / 'sandbox'} {folder} sh"

    def stop(self) -> list[Event]:
        if self._run:
            self._run.kill()
        self._setting.leash.pull()
        return self._run.rest() if self._run else []

    def close(self) -> None:
        self.stop()
        if self._run:
            self._run.close()
        if self._display:
            self._display.close()
        if self._server:
            self._server.close()
        self._setting.screen_leash.pull()

    @property
    def _there(self) -> Instrument:
        assert self._instrument, "the stage is not prepared"
        return self._instrument

    @property
    def _screen(self) -> XDisplay:
        assert self._display, "the stage is not started"
        return self._display

    @property
    def _running(self) -> Run:
        assert self._run, "the stage is not started"
        return self._run

    def _open_screen(self, say: Callable[[str], None]) -> XServer:
        """A window if there is a display to open it on, else an invisible screen."""
        setting = self._setting
        log = setting.scratch / "screen.log"
        if os.environ.get("DISPLAY"):
            try:
                return XServer(setting.size, True, log, setting.screen_leash)
            except StageError as error:
                if setting.by_hand:
                    raise
                say(f"{error}; going on without a window")
        return XServer(setting.size, False, log, setting.screen_leash)
