"""When the power goes during an update, and what it may not have done."""

import random
from dataclasses import dataclass

from rehearsal.holdings import Holdings
from rehearsal.modes import USB_SCRIPTS
from rehearsal.source import Source

# Seconds of processor time that the emulator needs at least for a script; the cut comes within them after its start.
TAKES = {"2-USB-checkupdatefiles.sh": 6.0, "7-USB-rootfs.sh": 15.0, "11-SetNextPartition.sh": 12.0}
TAKES_ELSE = 1.5


@dataclass(frozen=True)
class Cut:
    """When the power goes: after so many seconds of the emulator's processor time from the start of a script."""

    script: str
    delay: float


def choose_cut(chance: random.Random) -> Cut:
    """Any moment of the update is as likely as any other."""
    scripts = [name for name in USB_SCRIPTS if not name.endswith("Reboot.sh")]
    script = chance.choices(scripts, [TAKES.get(name, TAKES_ELSE) for name in scripts])[0]
    return Cut(script, chance.uniform(0.0, TAKES.get(script, TAKES_ELSE)))


def left_behind(before: Holdings, after: Holdings, update: Source) -> list[str]:
    """What a cut may not have done: the active version has to be whole, whichever it is."""
    target = before.description.after(before.active)
    if after.active not in (before.active, target):
        return [f'the active partition is "{after.active}"']
    new = after.active == target
    faults = [
        f"{name} of version {after.active} is not whole"
        for name, slots in after.description.images.items()
        for device, version in slots.items()
        if version == after.active and not is_whole(f"dev/{device}", before, after, update.read(name) if new else None)
    ]
    images = [update.read("u-boot.img") or b"", before.read("dev/mmcblk0boot0")]
    copies = [after.read(f"dev/mmcblk0{copy}") for copy in ("boot0", "boot1")]
    if not any(copy.startswith(image) for copy in copies for image in images):
        faults.append("no copy of U-Boot is whole")
    if after.user_files(after.active) != (before.factory_user_files() if new else before.user_files(after.active)):
        faults.append("the user files of the active version are not whole")
    manifest = update.manifest() if new else before.manifest(after.active)
    if after.manifest(after.active).get("core_version") != manifest.get("core_version"):
        faults.append("the manifest of the active version is not its own")
    return faults


def is_whole(path: str, before: Holdings, after: Holdings, image: bytes | None) -> bool:
    """Whether a partition holds an image, or is as before where there is none."""
    return after.read(path, len(image)) == image if image else after.files[path] == before.files[path]
