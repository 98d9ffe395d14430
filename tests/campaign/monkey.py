"""The monkey: touches anything on any screen, while scripts answer at random.

It knows no screen's behaviour. It holds the program to what is true of all of them: it does not crash, no script
runs that was not confirmed where its screen has to ask, no window is left alive that nothing keeps, and a life
that opens and closes screens for hours takes no more memory at its end.
"""

import collections
import json
import os
import random
import signal
from typing import NamedTuple

import draw
from instrument import ACTOR, Instrument, write
from sequences import FOLDER, SCRIPTS
from stage import Over, Party, Stage

WIDTH, HEIGHT = 800, 800  # of the screen that the offscreen platform has
PATIENCE = 60  # seconds without a button after which it gives up
UTILITY = FOLDER + "utility_scripts/"
REBOOT = "/sbin/reboot"


class Button(NamedTuple):
    window: str
    title: str  # of the question, where the window asks one
    name: str


ACCEPT = "pButtonAccept"
SETTINGS, VERSION = "Reset All System Settings", "Change Version Partition"


def _accepted(title: str) -> Button:
    return Button("AreYouSureWarning", title, ACCEPT)


# What has to be touched last before a command may run.
CONFIRMED = {
    f"{UTILITY}RemoveSingleFile.sh /home/tesk/cfg/teskuihost.conf": _accepted("Reset Local/Remote IP Address"),
    f"{UTILITY}RemoveSingleFile.sh /etc/pointercal": _accepted("Reset Touch Screen Calibration"),
    f"{UTILITY}RemoveFilesUsingBackupFileList.sh": _accepted(SETTINGS),
    f"{UTILITY}RemoveDetectedDisplayFiles.sh": _accepted("Reset Display Detection"),
    f"{UTILITY}ExportFiles.sh": Button("ExportLogData", "", "pbuttonExportData"),
    **{f"{UTILITY}ChangeToPartition.sh {partition}": _accepted(VERSION) for partition in "178"},
}
REBOOTS = (_accepted(SETTINGS), _accepted(VERSION))

# The screens that the support tools open, by button; opened again, the one before is deleted.
TOOLS = {
    "pbuttonLogs": "LogsViewer",
    "pbuttonChgVersion": "ChangeVersionPartition",
    "pbuttonResetLR": "ResetLocalRemote",
    "pbuttonResetTouchCalibration": "ResetTouchCalibration",
    "pbuttonExportData": "ExportLogData",
    "pbuttonResetSystemSettings": "ResetSystemSettings",
    "pbuttonResetDisplayDetection": "ResetDisplayDetection",
}
ASKS = {
    ("ResetLocalRemote", "pbuttonResetLR"),
    ("ResetTouchCalibration", "pbuttonResetTouchCalib"),
    ("ResetSystemSettings", "pbuttonResetSystemSettings"),
    ("ResetDisplayDetection", "pbuttonResetDisplayDetection"),
    ("ChangeVersionPartition", "pButtonChgVersion"),
}  # which keep a question each that nothing deletes
LEAVES_ALIVE = ASKS | {("MainWindow", "USBbtn"), ("MainWindow", "pbuttonVersions"), ("Utilities", "pbuttonBackToMain")}


class Fault(Exception):
    """What the program did that it never may."""


class Life:
    """One start of the program, touched until it reboots, ends, or has nothing left to touch.

    A steady life stays in one support tools menu and presses nothing that is left alive on purpose.
    """

    def __init__(self, instrument: Instrument, command: list[str], dice: random.Random, steady: bool):
        self.touches = 0
        self.scripts: collections.Counter[str] = collections.Counter()
        self.memory: list[int] = []  # pages, at each hundredth touch
        self._dice, self._steady, self._instrument = dice, steady, instrument
        self._last: Button | None = None
        self._alive: collections.Counter[str] = collections.Counter({"MainWindow": 1})
        self._opened: set[tuple[int, str]] = set()  # screens of each support tools menu
        self._idle = 0
        self._rebooting = False
        self._stage = Stage(instrument.tree / "run/campaign", command, os.open(os.devnull, os.O_WRONLY))

    def live(self, touches: int) -> None:
        try:
            while self.touches < touches and self._idle < PATIENCE:
                self._answer(*self._stage.hear())
        except Over as over:
            if str(over) != "exit 1":  # a blank board without an update
                raise Fault(f"ended with {over} after {self._last}") from over
        finally:
            self._stage.close()

    def _answer(self, party: Party, line: str) -> None:
        word, _, rest = line.partition(" ")
        if word == "window":
            self._stage.window = party
            party.tell("waits")
            self._stage.owed += 1
        elif word in ("tick", "pause"):
            party.tell("go")
        elif word == "script":
            self._script(party, rest)
        elif word in ("rest", "wait"):
            self._move(party, resting=word == "rest")
        elif party is self._stage.window:
            self._stage.owed -= 1

    def _script(self, party: Party, call: str) -> None:
        self.scripts[call] += 1
        if call == REBOOT:
            self._rebooting = True
            if self._last not in REBOOTS:
                raise Fault(f"{call} after {self._last}")
        elif call.removeprefix(FOLDER) not in SCRIPTS and CONFIRMED.get(call) != self._last:
            raise Fault(f"{call} after {self._last}")
        code, died = self._dice.choice(draw.CODES), self._dice.choice((signal.SIGKILL, signal.SIGTERM))
        party.tell(f"signal {int(died)}" if self._dice.random() < 0.1 else f"exit {code}")

    def _move(self, window: Party, resting: bool) -> None:
        buttons = json.loads(self._stage.ask("buttons"))
        self._idle = 0 if buttons else self._idle + (PATIENCE if self._rebooting else 5 if resting else 1)
        if not resting and self._dice.random() < (0.6 if buttons else 0.9):
            window.tell("pass")
            return
        if self.touches % 100 == 0:
            self._check_objects()
        allowed = [button for button in buttons if self._may_press(_named(button))]
        if allowed and self._dice.random() < 0.8:
            button = self._dice.choice(allowed)
            self._tap(button["x"] + button["width"] // 2, button["y"] + button["height"] // 2, button)
        else:
            self._tap_anywhere(buttons)
        window.tell("go")

    def _tap_anywhere(self, buttons: list[dict[str, int]]) -> None:
        x, y = self._dice.randrange(WIDTH), self._dice.randrange(HEIGHT)
        for button in buttons:
            if 0 <= x - button["x"] < button["width"] and 0 <= y - button["y"] < button["height"]:
                if self._may_press(_named(button)):
                    self._tap(x, y, button)
                return
        self._tap(x, y, None)

    def _tap(self, x: int, y: int, button: dict[str, int] | None) -> None:
        self.touches += 1
        if button:
            self._last = _named(button)
            self._open(self._last)
        self._stage.ask(f"tap {x} {y}")

    def _open(self, button: Button) -> None:
        """Keeps account of what a press leaves alive."""
        if button.window == "MainWindow" and button.name == "pbuttonUtils":
            self._alive["Utilities"] += 1
        elif button.window == "MainWindow" and button.name == "pbuttonVersions":
            self._alive["ChangeVersionPartition"] += 1
        elif button.window == "Utilities" and button.name in TOOLS:
            tool = (self._alive["Utilities"], TOOLS[button.name])
            self._alive[tool[1]] += tool not in self._opened
            self._opened.add(tool)
        elif (button.window, button.name) in ASKS or button in REBOOTS:
            self._alive["AreYouSureWarning"] += 1  # at most: the second press shows the same one again

    def _check_objects(self) -> None:
        assert self._stage.window
        seen = json.loads(self._stage.ask("objects"))
        del seen["widgets"]
        for name, count in seen.items():
            if count > self._alive[name] + (name == "QMessageBox"):
                raise Fault(f"{count} {name} alive where {self._alive[name]} have a reason to be, after {self._last}")
        with open(f"/proc/{self._stage.window.process}/statm", encoding="ascii") as file:
            self.memory.append(int(file.read().split()[1]))

    def _may_press(self, button: Button) -> bool:
        return not self._steady or (button.window, button.name) not in LEAVES_ALIVE


def _named(button: dict[str, int]) -> Button:
    return Button(str(button["window"]), str(button["title"]), str(button["name"]))


def furnish(instrument: Instrument) -> None:
    """Gives the instrument logs and versions to look at, and utility scripts that report."""
    recovery = instrument.tree / "mnt/recovery"
    rows = []
    for name, lines in (("short", 3), ("long", 20000), ("empty", 0), ("missing", -1)):
        rows.append(f"{name}.log,/var/log,{name} log")
        if lines >= 0:
            write(instrument.tree / f"var/log/{name}.log", "2023-05-12 09:30:00 a line of a log\n" * lines)
    write(recovery / "logFiles.txt", "\n".join(rows) + "\n")
    for partition in "17":
        write(
            recovery / f"update_files/{partition}manifest.txt",
            "core_version=4.05\ncore_build=118\ninstall_date_time=20230512 09:30:00\ncore_build_date=20230404\n"
            "image_bootloader_version=V4.05.00\n",
        )
    (instrument.tree / "sbin/reboot").unlink()
    commands = {call.split()[0] for call in CONFIRMED} | {REBOOT}
    for command in commands:
        instrument.inside(command).symlink_to(ACTOR)
