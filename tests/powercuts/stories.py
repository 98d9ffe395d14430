"""What is recorded: everything that scripts of ours write in, as a table."""

from collections.abc import Mapping
from dataclasses import dataclass, field
from types import MappingProxyType

from tests.simulator.instrument import CHECK_FILESYSTEM, NETWORK, REBUILD, UNZIP, USB, USB_KEEP, VERIFY

OVERRIDE = ("00-USB-installoverrides.sh",)
UTILITY = "utility_scripts/"
VARIABLES = "9-UbootVariables.sh"


@dataclass(frozen=True)
class Story:
    scripts: tuple[str, ...]
    codes: tuple[int, ...] = ()  # none of them fails if empty
    board: tuple[str, ...] = ()  # of simulator/make-instrument
    stick: tuple[str, ...] | None = ()  # of simulator/make-stick
    download: tuple[str, ...] | None = None  # of simulator/make-archive
    target: str = ""  # the version that is written
    actives: tuple[str, ...] = ("1",)  # what may be active, "" for none; the last one in the end
    user_files: str = "factory"  # whose the new version gets
    may_go: tuple[str, ...] = ()  # files, by full path or below a version's user files
    more: Mapping[str, str] = field(default_factory=lambda: MappingProxyType({}))  # files of the stick besides
    may_become: Mapping[str, bytes] = field(default_factory=lambda: MappingProxyType({}))


SET = "bootdelay=1\nconsole=ttymxc0,115200\n"
RESET = ("/cfg/teskuihost.conf", "/cfg/channels.conf", "/cfg/service.conf", "/cfg/recipe", "/etc/pointercal")
SETTING = "/etc/display-size"

# fmt: off
STORIES = {
    "usb": Story(USB, target="7", actives=("1", "7")),
    "keep": Story(USB_KEEP, target="7", actives=("1", "7"), user_files="1"),
    "keep-round": Story(USB_KEEP, board=("--active", "8"), target="1", actives=("8", "1"), user_files="8"),
    "network": Story(NETWORK, stick=None, download=(), target="7", actives=("1", "7"), user_files="1"),
    "blank": Story(REBUILD, board=("--blank",), target="1", actives=("", "1")),
    "variables": Story((*USB[:4], VARIABLES), more={"u-boot-variables.txt": SET},
                       may_become={"/mnt/recovery/download/u-boot-variables.txt": SET.encode()}),
    "swapped": Story((*CHECK_FILESYSTEM, *VERIFY), stick=("--bad", "swapped")),
    "badsum": Story((*CHECK_FILESYSTEM, *VERIFY), (0, 0, 0, 3), stick=("--bad", "badsum")),
    "network-badsum": Story((*CHECK_FILESYSTEM, *UNZIP, *VERIFY, "99-AUTUPD-failedCleanup.sh"), (0, 0, 0, 0, 3, 0),
                            stick=None, download=("--bad", "badsum")),
    "network-unsigned": Story((*CHECK_FILESYSTEM, *UNZIP, "99-AUTUPD-failedCleanup.sh"), (0, 0, 3, 0),
                              stick=None, download=("--bad", "unsigned")),
    "override": Story(OVERRIDE, stick=("--override", "size"),
                      may_become={SETTING: b"display_size=10\nresolution=1280x800\n"}),
    "override-clear": Story(OVERRIDE, more={"OVERRIDE/SizeClear": ""}, may_go=(SETTING,)),
    "remove-file": Story((UTILITY + "RemoveSingleFile.sh /home/tesk/cfg/teskuihost.conf",),
                         may_go=("/cfg/teskuihost.conf",)),
    "remove-listed": Story((UTILITY + "RemoveFilesUsingBackupFileList.sh",), may_go=RESET),
    "remove-display": Story((UTILITY + "RemoveDetectedDisplayFiles.sh",),
                            may_go=("/display/detected.conf", "/display/panel.conf")),
    "export": Story((UTILITY + "ExportFiles.sh",)),
    "change": Story((UTILITY + "ChangeToPartition.sh 8",), actives=("1", "8")),
}
# fmt: on
