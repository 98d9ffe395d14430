"""The tour through the maintenance screens: what is touched, what has to be seen then, what it does.

Where the buttons lie was measured on the screens themselves, for each size of screen.
"""

from dataclasses import dataclass

SIZES = ("800x480", "1024x600", "1280x800")

# Screen and button, and its middle by size of screen.
MIDDLES = {
    "main: Support Tools": ((548, 394), (605, 513), (668, 684)),
    "main: Versions": ((704, 394), (872, 513), (1064, 684)),
    "versions: Done": ((715, 430), (939, 550), (1195, 750)),
    "menu: View Logs": ((85, 136), (107, 156), (133, 189)),
    "menu: Change Version": ((242, 136), (309, 156), (386, 189)),
    "menu: Export Data": ((715, 136), (917, 156), (1147, 189)),
    "menu: Reset Local/Remote": ((85, 399), (107, 499), (133, 666)),
    "menu: Reset Touch Screen": ((242, 399), (309, 499), (386, 666)),
    "menu: Reset Display": ((400, 399), (512, 499), (640, 666)),
    "menu: Reset All": ((557, 399), (714, 499), (893, 666)),
    "menu: Done": ((715, 399), (917, 499), (1147, 666)),
    "logs: first row": ((160, 119), (160, 119), (160, 119)),
    "logs: View": ((518, 262), (705, 322), (918, 422)),
    "logs: Done": ((725, 420), (949, 540), (1205, 740)),
    "log: Top": ((751, 85), (975, 85), (1231, 85)),
    "log: Page Up": ((751, 145), (975, 145), (1231, 145)),
    "log: Page Up Half": ((751, 204), (975, 205), (1231, 205)),
    "log: Page Down Half": ((751, 263), (975, 380), (1231, 580)),
    "log: Page Down": ((751, 322), (975, 440), (1231, 640)),
    "log: Bottom": ((751, 381), (975, 500), (1231, 700)),
    "log: Done": ((751, 440), (975, 560), (1231, 760)),
    "reset: Reset": ((400, 280), (512, 372), (640, 520)),
    "reset: Done": ((724, 424), (948, 544), (1204, 744)),
    "export: Export Data": ((400, 275), (512, 359), (640, 490)),
    "export: Done": ((724, 424), (948, 544), (1204, 744)),
    "change: row of 7": ((200, 355), (200, 435), (200, 535)),
    "change: Change Version": ((725, 287), (949, 377), (1205, 527)),
    "warning: Accept": ((204, 434), (260, 545), (324, 730)),
    "warning: Reject": ((596, 434), (764, 545), (956, 730)),
}


@dataclass(frozen=True)
class Stop:
    """One touch, and what it leads to. Without `opens` and `back_to` the window in front stays there."""

    touch: str  # none: the screen changes by itself
    shows: str  # the name of what is seen then
    opens: str = ""  # a window of this title
    back_to: str = ""  # the window of this earlier stop is in front again
    says: str = ""  # a console line begins like this
    same_as: str = ""  # the left of the screen looks as at this earlier stop
    act: str = ""  # what the verdict calls it; without one it must not change anything
    does: tuple[str, ...] = ()  # what has changed on the instrument then


def reset(button: str, name: str, accepted: tuple[str, ...] | None) -> tuple[Stop, ...]:
    """A reset that is accepted, with what it removes, or rejected."""
    answer = Stop("warning: Reject", f"menu after {name} reset rejected", back_to="menu", act=f"{name} reset, rejected")
    if accepted is not None:
        answer = Stop(
            "warning: Accept",
            f"menu after {name} reset",
            back_to="menu",
            act=f"{name} reset",
            does=tuple(f"{path} is gone" for path in accepted),
        )
    return (
        Stop(button, f"reset {name}", opens="Dialog"),
        Stop("reset: Reset", f"{name} reset warning", opens="Dialog"),
        answer,
    )


# fmt: off
LOOKING = (
    Stop("main: Versions", "versions", opens="Versions"),
    Stop("versions: Done", "main again", back_to="main"),
    Stop("main: Support Tools", "menu", opens="Form"),
    Stop("menu: View Logs", "log list", opens="Dialog"),
    Stop("logs: first row", "log chosen"),
    Stop("logs: View", "log"),
    Stop("log: Page Down", "log page down"),
    Stop("log: Page Down Half", "log page down half"),
    Stop("log: Page Up Half", "log page up half", same_as="log page down"),
    Stop("log: Page Up", "log page up", same_as="log"),
    Stop("log: Bottom", "log bottom"),
    Stop("log: Top", "log top", same_as="log"),
    Stop("log: Done", "log list again"),
    Stop("logs: Done", "menu after logs", back_to="menu"),
)
MENU_AGAIN = (
    Stop("menu: Done", "main after menu", back_to="main"),
    Stop("main: Support Tools", "menu", opens="Form"),
)
RESETS = (
    Stop("menu: Reset Local/Remote", "reset local/remote", opens="Dialog"),
    Stop("reset: Done", "menu after done", back_to="menu"),
    *reset("menu: Reset Local/Remote", "local/remote", None),
    *reset("menu: Reset Local/Remote", "local/remote", ("mnt/userdata/1/cfg/teskuihost.conf",)),
    *reset("menu: Reset Touch Screen", "touch", ("etc/pointercal",)),
    *reset("menu: Reset Display", "display", ("mnt/userdata/1/display/detected.conf",
                                              "mnt/userdata/1/display/panel.conf")),
    *reset("menu: Reset All", "system", None),
)
EXPORT = (
    Stop("menu: Export Data", "export", opens="Dialog"),
    Stop("", "export stick found", says="checkState time = 6 - 1 - 1"),
    Stop("export: Export Data", "exported", says="Export file code = ", act="export",
         does=("media/usb0/*.tgz is new",)),
    Stop("export: Done", "menu after export", back_to="menu"),
)
CHANGE = (
    Stop("menu: Change Version", "change version", opens="ChangeVersion"),
    Stop("change: row of 7", "change version chosen"),
    Stop("change: Change Version", "change version warning", opens="Dialog"),
)
CHANGES = (
    *CHANGE,
    Stop("warning: Reject", "menu after change rejected", back_to="menu", act="version change, rejected"),
    *CHANGE,
    Stop("warning: Accept", "rebooting", opens="Dialog", act="version change",
         does=("home/tesk is changed", "mnt/recovery/download/partition_c is changed")),
)

TOOLS = LOOKING + RESETS + MENU_AGAIN + EXPORT + CHANGES
SETTINGS = (
    Stop("main: Support Tools", "menu", opens="Form"),
    *reset("menu: Reset All", "system", None)[:-1],
    Stop("warning: Accept", "rebooting", opens="Dialog", act="system reset",
         does=("etc/pointercal is gone", "mnt/userdata/1/cfg/channels.conf is gone",
               "mnt/userdata/1/cfg/recipe is gone", "mnt/userdata/1/cfg/service.conf is gone",
               "mnt/userdata/1/cfg/teskuihost.conf is gone")),
)
# fmt: on
SETTINGS_SCRIPTS = ("RemoveFilesUsingBackupFileList.sh",)
TOOLS_SCRIPTS = (
    "RemoveSingleFile.sh",
    "RemoveSingleFile.sh",
    "RemoveDetectedDisplayFiles.sh",
    "ExportFiles.sh",
    "ChangeToPartition.sh",
)
UTILITY_SCRIPTS = tuple(dict.fromkeys(TOOLS_SCRIPTS + SETTINGS_SCRIPTS))

UPDATE_LOG = "mnt/recovery/update_files/update/update.log"
