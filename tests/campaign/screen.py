"""The main screen: its widgets as they are once it is built, and what each state of the program makes of them."""

from typing import NamedTuple

from transcript import Screen


class Form(NamedTuple):
    """A widget as its form builds it, before anything has happened."""

    text: str | int
    enabled: bool = True


RESTORE_OFF = "<html><head/><body>Restore Settings<br>After Install<br><b>Not Enabled</b></body></html>"
RESTORE_ON = "<html><head/><body>Restore Settings<br>After Install<br><b>Enabled</b></body></html>"
PROGRESS = "This will take a few minutes."

FORM = {
    "update_title": Form("Initializing:"),
    "messageFrm": Form(""),
    "messages": Form("Messages"),
    "ETHbtn": Form("", enabled=False),
    "progressMsg": Form("This will take a few minutes."),
    "usbLabel": Form("No USB storage detected!"),
    "progressBar": Form(24),
    "USBbtn": Form("USB"),
    "pbuttonUtils": Form("Support\nTools"),
    "pbuttonVersions": Form("Versions"),
    "pbuttonBackupSettings": Form(">>|<<"),
    "lblUSBBackup": Form("Restore Settings\nAfter Install\nNot Enabled"),
    "version_number": Form("Bootloader:\nV4.05.00"),
}

# Rows that change a screen: a verb, a widget and, for the texts, the text.
Change = tuple[str, str] | tuple[str, str, str]


def shown(text: str) -> tuple[Change, ...]:
    """A text of the label above the USB button, and the label to be seen."""
    return ("text", "usbLabel", text), ("show", "usbLabel")


BUILT: tuple[Change, ...] = tuple(
    ("hide", name)
    for name in (
        "progressBar",
        "usbLabel",
        "progressMsg",
        "ETHbtn",
        "version_number",
        "messageFrm",
        "pbuttonBackupSettings",
        "lblUSBBackup",
    )
)
WITHOUT_TOOLS: tuple[Change, ...] = (("hide", "pbuttonUtils"), ("hide", "pbuttonVersions"))

INITIALISING: tuple[Change, ...] = (
    ("text", "version_number", "Bootloader:\nV4.05.00"),
    ("show", "version_number"),
    ("text", "USBbtn", "USB"),
    ("disable", "USBbtn"),
    ("disable", "pbuttonBackupSettings"),
    ("checkable", "pbuttonBackupSettings"),
    ("text", "lblUSBBackup", RESTORE_OFF),
    ("disable", "pbuttonUtils"),
    ("disable", "pbuttonVersions"),
)
CHECKING = {True: shown("Checking for \nNetwork Update storage"), False: shown("Checking for \nUSB storage device")}

DEVICE_FOUND = shown("USB storage device found")
UPDATE_FOUND: tuple[Change, ...] = (
    *shown("'update' directory found on\nUSB storage device"),
    ("text", "update_title", "Initialization:\nCompleted"),
)

TOOLS: tuple[Change, ...] = (("enable", "pbuttonUtils"), ("enable", "pbuttonVersions"))
NO_UPDATE: tuple[Change, ...] = (
    *shown("'update' directory NOT found on\nUSB storage device"),
    ("text", "update_title", "Initialization:\nFAILED"),
    *TOOLS,
)
NO_DEVICE: tuple[Change, ...] = (
    *shown("No USB storage device found.\nCheck your USB device and \nRETRY."),
    ("text", "update_title", "Initialization:\nFAILED"),
    ("text", "USBbtn", "RETRY"),
    ("enable", "USBbtn"),
    ("disable", "pbuttonBackupSettings"),
    *TOOLS,
)

OFFERED: tuple[Change, ...] = (("enable", "USBbtn"), *TOOLS)
OFFERED_RESTORE: tuple[Change, ...] = (
    ("enable", "pbuttonBackupSettings"),
    ("show", "pbuttonBackupSettings"),
    ("show", "lblUSBBackup"),
)
OVERRIDE_MESSAGES = {
    1: "Override Matches Existing Display Setting\n\nContinueing with normal install mode.",
    2: "Override Combination Invalid\n============================\n"
    "Only one Sizexx or SizeClear may be present at a time.\n",
}

UPDATING: tuple[Change, ...] = (
    ("disable", "USBbtn"),
    ("disable", "pbuttonBackupSettings"),
    ("disable", "pbuttonUtils"),
    ("disable", "pbuttonVersions"),
    ("hide", "ETHbtn"),
    ("text", "progressMsg", PROGRESS),
    ("show", "progressMsg"),
    ("show", "progressBar"),
)
TOUCHED_USB: tuple[Change, ...] = (("hide", "messageFrm"), ("disable", "usbLabel"), ("disable", "lblUSBBackup"))
STARTED_ALONE: tuple[Change, ...] = (("hide", "messageFrm"), ("hide", "usbLabel"))

NOT_FOUND = "USB storage device or \n'update' directory \nnot found"
NOT_FOUND_ON_BLANK_BOARD = "USB storage device or\n'update' directory \nnot found"
USB_GONE: tuple[Change, ...] = (
    *shown(NOT_FOUND),
    ("text", "update_title", "Initialization:\nFAILED"),
    ("disable", "USBbtn"),
    ("disable", "pbuttonBackupSettings"),
)
REBOOTED_USB_GONE: tuple[Change, ...] = (
    *shown(NOT_FOUND),
    ("text", "update_title", "RB Initialization:\nFAILED"),
    ("disable", "USBbtn"),
    ("disable", "pbuttonBackupSettings"),
    ("disable", "pbuttonUtils"),
)

# Where the failure's explanation is to be found, and whether the tools are offered then.
FAILED_OVERRIDE: tuple[Change, ...] = (
    *TOOLS,
    *shown("See 'update/update_override.log' on\nUSB storage device for\nexplanation of failure!"),
)
FAILED_NETWORK = shown("See 'update/update.log' in\nRECOVERY update for\nexplanation of failure!")
FAILED_USB: tuple[Change, ...] = (
    *TOOLS,
    *shown("See 'update/update.log' on\nUSB storage device for\nexplanation of failure!"),
)

KEEP: tuple[Change, ...] = (
    ("text", "lblUSBBackup", RESTORE_ON),
    ("show", "lblUSBBackup"),
    ("style", "pbuttonBackupSettings", "QPushButton{background-color:gray}"),
)
KEEP_NOT: tuple[Change, ...] = (
    ("text", "lblUSBBackup", RESTORE_OFF),
    ("show", "lblUSBBackup"),
    ("style", "pbuttonBackupSettings", "QPushButton{background-color:QPalette::Button}"),
)

ASPECTS = {
    "show": ("shown", True),
    "hide": ("shown", False),
    "enable": ("enabled", True),
    "disable": ("enabled", False),
    "checkable": ("checkable", True),
}


def built() -> Screen:
    """The screen of a program that has only built its form."""
    screen: Screen = {}
    for name, form in FORM.items():
        screen[name] = {"shown": True, "enabled": form.enabled, "text": form.text, "style": ""}
        if name.startswith("pbutton") or name.endswith("btn"):
            screen[name] |= {"checkable": False, "checked": False}
    return screen


def change(screen: Screen, changes: tuple[Change, ...]) -> None:
    for verb, name, *text in changes:
        if text:
            screen[name][verb] = text[0]
        else:
            aspect, value = ASPECTS[verb]
            screen[name][aspect] = value
