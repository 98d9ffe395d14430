"""What a history must lead to. Walks the tables of the screen and of the sequences; touches no program."""

import screen as s
import sequences as q
from history import THINGS, History
from transcript import Screen, Transcript

LAST_TICK = 40  # where a start-up timer that never stops is no longer watched
FIRST_LOOK, LAST_LOOK = 5, 12  # the ticks at which the stick is looked for, counted from each new start
NOT_RUN = 99
REJECTED_OVERRIDE = 98
COULD_NOT_EXECUTE = -2
DIED_EXECUTING = -1
COULD_NOT_START = 255

DIRECTORIES = ("directory", "link")  # the shapes in which something is there as a directory
OVERRIDE_DIRECTORIES = ("filled", "empty", "folders", "links", "hidden")
NO_MARKER = ("absent", "dangling")
# What is there at the end where the program cannot write its own.
VERSIONS = {"unwritable": "V4.03.00", "directory": "a directory", "full": "nothing"}
OPENS = {"pbuttonUtils": "Utilities", "pbuttonVersions": "ChangeVersionPartition modal"}
CLOSES = {"Utilities": "pbuttonBackToMain", "ChangeVersionPartition modal": "pbuttonBackToUtils"}


class Ended(Exception):
    """The program is no more; says how it went."""


class Model:
    """Plays one history. `transcript` is what must be seen."""

    def __init__(self, history: History):
        self.transcript = Transcript()
        self._history = history
        self._things = dict(history.start)
        self._screen = s.built()
        self._windows: list[str] = []  # on top of the main window, the topmost last
        self._calls: dict[str, int] = {}  # how often each script has run
        self._ticks = self._rests = 0
        self._waiting_touches: list[str] = []  # made while the window was blocked
        self._mode = q.USB
        self._started = self._updating = False
        self._unheard = False  # nobody reads the console any more
        self._status = 0
        self._rebooted = "--rebootusbupdate" in history.options
        self._auto = "--autoupdate" in history.options
        self._tools = not {"--gobackupdate", "--deadusbrebuild"} & set(history.options)

    def play(self) -> Transcript:
        try:
            self._start()
            while self._goes_on():
                pass
        except Ended as end:
            self.transcript.end = str(end)
        self.transcript.version = VERSIONS.get(self._thing("version"), "V4.05.00")
        return self.transcript

    def _start(self) -> None:
        s.change(self._screen, s.BUILT)
        if not self._tools:
            s.change(self._screen, s.WITHOUT_TOOLS)
        self._print("", "Current bootloader version = V4.05.00", "")
        self._initialise()

    def _goes_on(self) -> bool:
        """The next thing that the program does of its own accord; False if nothing can happen any more."""
        if self._timer:
            if self._ticks == LAST_TICK:
                raise Ended("running on")
            self._ticks += 1
            self._gui(f"tick {self._ticks}")
            self._moment(f"tick{self._ticks}")
            self._tick()
        elif self._started:
            self._update()
            self._started = False
            self._finished()
        else:
            self._rests += 1
            self._gui(f"rest {self._rests}")
            self._look()
            if not self._history.at(f"rest{self._rests}"):
                raise Ended("at rest")
            self._moment(f"rest{self._rests}")
        while self._waiting_touches:
            self._touch(self._waiting_touches.pop(0))
        return True

    # What is seen and what happens

    def _thing(self, name: str) -> str:
        if name.endswith(".sh"):
            return self._things.get(name, "runs")
        return self._things.get(name, THINGS[name][0])

    def _is_there(self, name: str) -> bool:
        return self._thing(name) in DIRECTORIES

    def _gui(self, line: str) -> None:
        self.transcript.gui.append(line)

    def _worker(self, line: str) -> None:
        self.transcript.worker.append(line)

    def _print(self, *lines: str) -> None:
        for line in lines:
            if self._unheard and not self._updating:
                raise Ended("exit 141")  # as any program that prints to nobody, but during an update
            self._gui(f"print {line}")

    def _look(self) -> None:
        windows: Screen = {"windows": {"open": ", ".join(self._windows)}}
        self.transcript.look(self._screen | windows)

    def _moment(self, moment: str, blocked: bool = False) -> tuple[int, bool]:
        """Lets happen what the history says; returns how a script of that moment ends: its code or signal."""
        code, died = 0, False
        for event in self._history.at(moment):
            if event.act == "touch" and blocked:
                self._waiting_touches.append(event.value)
            elif event.act == "touch":
                self._touch(event.value)
            elif event.act == "exit":
                code, died = int(event.value), False
            elif event.act == "signal":
                code, died = int(event.value), True
            elif event.act == "kill":
                raise Ended("killed")
            elif event.act == "hangup":
                self._unheard = self._thing("console") == "takes"
            elif event.act not in ("say", "child", "stop", "clock"):
                self._things[event.act] = event.value
        return code, died

    def _script(self, script: str, blocked: bool = False) -> tuple[int, bool] | None:
        """One call of a script: how it ended, None if it could not be started."""
        if self._thing(script) != "runs":
            return None
        (self._gui if blocked else self._worker)(f"script {q.FOLDER}{script}")
        self._calls[script] = self._calls.get(script, 0) + 1
        if not blocked:
            self._look()
        count = self._calls[script]
        return self._moment(script if count == 1 else f"{script}#{count}", blocked)

    # The start-up

    def _initialise(self) -> None:
        s.change(self._screen, s.INITIALISING + s.CHECKING[self._auto])
        self._tick_count = 0
        self._status = 0
        self._armed = self._update_found = self._override_exists = self._override_valid = False
        self._device_found = False
        self._keep_settings = False
        self._interactive = True
        self._override_status = NOT_RUN
        self._timer = True
        self._gui("sync")

    def _tick(self) -> None:
        self._tick_count += 1
        if self._update_found:
            if self._override_exists and not self._auto:
                self._handle_override()
            else:
                self._timer = False
                self._test_for_blank_board()
        elif self._auto:
            self._timer = False
            self._test_for_blank_board()
        elif FIRST_LOOK <= self._tick_count <= LAST_LOOK:
            self._look_for_stick()
        elif self._tick_count > LAST_LOOK:
            self._timer = False
            self._report_failure()

    def _look_for_stick(self) -> None:
        if not self._device_found and self._is_there("stick"):
            self._device_found = True
            s.change(self._screen, s.DEVICE_FOUND)
        if not self._is_there("update"):
            return
        self._update_found = True
        if self._thing("override") in OVERRIDE_DIRECTORIES:
            self._override_exists = True
            self._print("Overide exists")
            self._override_valid = self._thing("override") == "filled"
            if self._override_valid:
                self._interactive = False
                self._print("Overide valid - Interactive false")
            else:
                self._print(f"Overide not valid - {int(self._interactive)}")
        s.change(self._screen, s.UPDATE_FOUND)

    def _report_failure(self) -> None:
        if not self._device_found:
            self._print("FAIL - USB storage device does not exist")
            s.change(self._screen, s.NO_DEVICE)
        elif not self._is_there("update"):
            self._print("FAIL - Update directory does not exist")
            s.change(self._screen, s.NO_UPDATE)

    def _handle_override(self) -> None:
        if not self._interactive:  # which a valid override has made so
            self._print("OVERRIDE directory found!")
            self._override_status = self._install_override()
            self._print(f"ostat = {self._override_status}")
        if self._override_status in (0, 1, REJECTED_OVERRIDE):
            self._timer = False
            self._finished()
        if self._status == 2 and self._override_status in s.OVERRIDE_MESSAGES:
            text = s.OVERRIDE_MESSAGES[self._override_status]
            s.change(self._screen, (("text", "messages", text), ("show", "messageFrm")))
            self._interactive = True
        if self._interactive:
            self._timer = False
            self._offer()

    def _install_override(self) -> int:
        self._print("Implementing overrides...")
        self._title_now("Overrides:")
        ended = self._script(q.OVERRIDE_SCRIPT, blocked=True)
        if ended is None:
            result = COULD_NOT_EXECUTE
        else:
            result = DIED_EXECUTING if ended[1] else ended[0]
        if result == 0:
            self._title_now("Overrides:\nRebooting")
        if self._thing("marker") not in NO_MARKER:
            self._title_now(q.VERDICTS["files"].title)
            self._status = 1
            self._print(q.VERDICTS["files"].prints)
            return REJECTED_OVERRIDE
        self._status = 2
        self._print("Status set...")
        return result

    def _title_now(self, title: str) -> None:
        self._gui(f"signal titleChanged {title!r}")
        s.change(self._screen, (("text", "update_title", title),))

    def _offer(self) -> None:
        s.change(self._screen, s.OFFERED + (s.OFFERED_RESTORE if self._tools else ()))
        self._print("BOARD Previously Flashed - Partition 2 already exists")

    def _test_for_blank_board(self) -> None:
        if self._thing("partition") == "absent" or self._thing("console") == "full":  # it is listed there
            self._print("BLANK BOARD - Partition 2 does not exist")
            if not self._is_there("update"):
                self._print("FAIL - Update directory does not exist")
                raise Ended("exit 1")
            s.change(self._screen, (("hide", "usbLabel"),))
            self._start_update(q.REBUILD)
        else:
            self._print("<partition>")
            if self._rebooted:
                s.change(self._screen, (("text", "update_title", "Reboot Update\nInitializing:"),))
                self._print("BOARD Previously Flashed RB - Partition 2 already exists")
                self._start_rebooted()
            elif self._auto:
                s.change(self._screen, (("text", "update_title", "Network Update\nInitializing:"),))
                self._print("BOARD Previously Flashed AU - Partition 2 already exists")
                self._print("starting - Network Update")
                s.change(self._screen, s.STARTED_ALONE)
                self._start_update(q.NETWORK)
            else:
                self._offer()
        self._gui("sync")

    def _start_rebooted(self) -> None:
        if not self._device_found:
            self._print("usb reboot- usb device NOT found")
            s.change(self._screen, (("text", "update_title", "RB Initializing:"),))
            self._initialise()
        elif not self._is_there("update"):
            self._print("usb button RB - update dir does not exist")
            s.change(self._screen, s.REBOOTED_USB_GONE)
        else:
            s.change(self._screen, s.STARTED_ALONE)
            self._start_update(q.USB)

    # Touches

    def _touch(self, name: str) -> None:
        """Presses what is to be seen and not covered by another window."""
        if self._windows:
            if name == CLOSES[self._windows[-1]]:
                self._windows.pop()
            return
        widget = self._screen.get(name, {})
        if not widget.get("shown") or not widget["enabled"]:
            return
        if name in OPENS:
            self._windows.append(OPENS[name])
        elif name == "USBbtn":
            self._press_usb()
        elif name == "pbuttonBackupSettings":
            self._press_keep_settings()

    def _press_usb(self) -> None:
        if not self._device_found:
            self._print("usb button - usb device NOT found")
            s.change(self._screen, (("text", "update_title", "Initializing:"),))
            self._initialise()
        elif not self._is_there("update"):
            self._print("usb button - update dir does not exist")
            s.change(self._screen, s.USB_GONE)
        else:
            s.change(self._screen, s.TOUCHED_USB)
            self._start_update(q.USB_KEEPING_SETTINGS if self._keep_settings else q.USB)

    def _press_keep_settings(self) -> None:
        button = self._screen["pbuttonBackupSettings"]
        button["checked"] = self._keep_settings = not button["checked"]
        s.change(self._screen, s.KEEP if self._keep_settings else s.KEEP_NOT)

    # The update

    def _start_update(self, mode: int) -> None:
        s.change(self._screen, s.UPDATING)
        self._print("", "Update in progress")
        self._mode = mode
        self._started = True

    def _update(self) -> None:
        self._updating = True
        self._announce(0, "Initializing Update...")
        self._worker("pause 1")
        self._look()
        self._moment("pause")
        self._do("check partitions")
        code = self._do("recovery system")
        self._worker(f"print code = {code}")
        if code != 0:
            self._walk(q.ABORTED)
        elif not self._walk(q.SEQUENCES[self._mode]):
            self._walk(q.REJECTED.get(self._mode, ()))
        self._worker("signal finished")

    def _walk(self, rows: tuple[q.Row, ...]) -> bool:
        """Does one row after the other; False if a marker has rejected the update."""
        for verb, what in rows:
            if verb == "do":
                self._do(what)
            elif verb == "print":
                self._worker(f"print {what}")
            elif verb == "sync":
                self._worker("sync")
            elif verb == "title":
                self._title(what)
            elif verb == "finish":
                self._finish(q.ENDINGS[self._mode, what])
            elif verb == "judge" and self._thing("marker") not in NO_MARKER:
                self._title(q.VERDICTS[what].title)
                self._worker(f"print {q.VERDICTS[what].prints}")
                self._status = 1
                return False
        return True

    def _do(self, name: str) -> int:
        """A step; returns what its last script's code is."""
        step = q.STEPS[name]
        if step.prints:
            self._worker(f"print {step.prints}")
        code = 0
        for call in step.calls:
            self._announce(call.progress, call.message)
            ended = self._script(call.script)
            code = COULD_NOT_START if ended is None else ended[0]  # of one that died, its signal
        return code

    def _finish(self, ending: q.Ending) -> None:
        self._announce(100, ending.message)
        self._walk(ending.acts)
        self._script(ending.script)

    def _announce(self, progress: int, message: str) -> None:
        self._worker(f"signal progressChanged {progress} {message!r}")
        s.change(self._screen, (("text", "progressMsg", f"{s.PROGRESS}\n{message}"), ("show", "progressMsg")))
        self._screen["progressBar"]["text"] = progress
        self._print(message)

    def _title(self, title: str) -> None:
        self._worker(f"signal titleChanged {title!r}")
        s.change(self._screen, (("text", "update_title", title),))

    def _finished(self) -> None:
        if self._status == 1:
            if self._override_status == REJECTED_OVERRIDE:
                s.change(self._screen, s.FAILED_OVERRIDE)
            else:
                s.change(self._screen, s.FAILED_NETWORK if self._auto else s.FAILED_USB)
        self._print("FINISHED")


def expect(history: History) -> Transcript:
    transcript = Model(history).play()
    return transcript if history.is_heard() else transcript.without_prints()
