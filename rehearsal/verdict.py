"""The verdict of a rehearsal: line by line what the instrument holds now, and what the mode promises."""

import datetime
import hashlib
import os
from collections.abc import Iterator
from dataclasses import dataclass

from rehearsal import course
from rehearsal.case import Case, Line
from rehearsal.holdings import NO_FILE, RECOVERY, UNREADABLE, VERSIONS, Holdings
from rehearsal.modes import OVERRIDDEN, UPDATED

@dataclass(frozen=True)
class Slot:
    name: str  # of the device, after "mmcblk0"
    holds: str
    image: str  # of the update that goes there
    version: str = ""  # the version partition it belongs to; none if all share it


SLOTS = (
    Slot("boot0", "U-Boot", "u-boot.img"),
    Slot("boot1", "U-Boot, second copy", "u-boot.img"),
    Slot("p3", "recovery kernel", "recovery-kernel.img"),
    Slot("p2", "recovery file system", "recoveryfs.img"),
    Slot("p4", "kernel of 1", "kernel.img", "1"),
    Slot("p1", "root file system of 1", "rootfs.img", "1"),
    Slot("p5", "kernel of 7", "kernel.img", "7"),
    Slot("p7", "root file system of 7", "rootfs.img", "7"),
    Slot("p6", "kernel of 8", "kernel.img", "8"),
    Slot("p8", "root file system of 8", "rootfs.img", "8"),
)

AS_BEFORE = "as before"
# What may be left behind by an update that was turned down: logs, and what is left of a download.
DOWNLOAD = (f"{RECOVERY}/download/update.zip", f"{RECOVERY}/update_files/update/")
STICK = "media/"


def judge(case: Case) -> list[Line]:
    """The instrument has ended as promised if all lines are ok."""
    parts = (course.judge, slots, versions, settings, leftovers)
    return [line for part in parts for line in part(case)]


def slots(case: Case) -> Iterator[Line]:
    for slot in SLOTS:
        path = f"dev/mmcblk0{slot.name}"
        image = slot.image if case.target and slot.version in ("", case.target) else None
        if slot.version == case.given_up:
            continue  # it holds nothing that counts, until the next update
        if image or path in case.before.files:
            yield Line(f"{slot.name:<6}{slot.holds}", slot_text(case, path, image), image or AS_BEFORE)


def slot_text(case: Case, path: str, image: str | None) -> str:
    """What a slot holds: an image, if it begins with it."""
    if path not in case.after.files:
        return "missing"
    mark = case.after.files[path]
    if mark == NO_FILE or mark.startswith("link"):
        return "no partition any more"
    if UNREADABLE in mark:
        return UNREADABLE
    payload = case.source.read(image) if image else None
    if payload:
        start = case.after.read(path, len(payload))
        if start == payload:
            return image
    if mark == case.before.files.get(path):
        return AS_BEFORE
    if payload:
        return f"differs from {image} at byte {len(os.path.commonprefix([start, payload]))}"
    return f"changed, and the update has no {image}" if image else "changed"


def versions(case: Case) -> Iterator[Line]:
    yield Line("active partition", case.after.active or "none", case.target or case.before.active or "none")
    for version in VERSIONS:
        yield manifest_line(case, version)
    for version in VERSIONS:
        yield user_files_line(case, version)


def manifest_line(case: Case, version: str) -> Line:
    what = f"manifest of {version}"
    if version == case.target:
        promised = describe(case.source.manifest(), "now")
        values = case.after.manifest(version)
        now = describe(values, installed(case, values)) if case.after.manifests[version] else "missing"
        return Line(what, now, promised)
    before, after = case.before.manifests[version], case.after.manifests[version]
    now = AS_BEFORE if before == after else "changed" if after else "lost"
    return Line(what, now, "lost" if version == case.given_up else AS_BEFORE)


def describe(manifest: dict[str, str], when: str) -> str:
    keys = ("core_version", "core_build", "core_build_date", "image_bootloader_version")
    version, build, date, bootloader = (manifest.get(key, "?") for key in keys)
    return f"{version} build {build} of {date} for {bootloader}, {when}"


def installed(case: Case, manifest: dict[str, str]) -> str:
    """"now" if the date lies within the rehearsal, by the instrument's clock or by this machine's."""
    text = manifest.get("install_date_time", "without a date")
    try:
        date = datetime.datetime.strptime(text, "%Y%m%d %H:%M:%S")
    except ValueError:
        return text
    end = datetime.datetime.now(datetime.timezone.utc)
    for zone in (datetime.timezone.utc, None):
        first, last = (moment.astimezone(zone).replace(tzinfo=None, microsecond=0) for moment in (case.started, end))
        if first <= date <= last:
            return "now"
    return text


def user_files_line(case: Case, version: str) -> Line:
    promised, owner = case.before.user_files(version), AS_BEFORE
    if version == case.target:
        origin = case.before.active if case.mode.keeps_user_files else "factory"
        promised, owner = case.before.user_files(origin), f"those of {origin}"
    now = case.after.user_files(version)
    faults = [f"{path} is lost" for path in promised if path not in now]
    faults += [f"{path} differs" for path in promised if path in now and now[path] != promised[path]]
    faults += [f"{path} does not belong there" for path in now if path not in promised]
    return Line(f"user files of {version}", course.shortened(faults) or owner, owner)


def settings(case: Case) -> Iterator[Line]:
    active = case.target or case.before.active
    home = f"/mnt/userdata/{active}" if case.reboots and active else case.before.home
    yield Line("/home/tesk", case.after.home or "no link", home)
    yield Line("keys", keys_text(case.after), keys_text(case.before))
    yield Line("touch calibration", compared(case, "etc/pointercal"), AS_BEFORE)
    if case.outcome != OVERRIDDEN:
        yield Line("display setting", compared(case, "etc/display-size"), AS_BEFORE)
        return
    for name, content in case.source.overrides().items():
        setting = case.after.text("etc/display-size")
        holds = setting == content.decode(errors="replace")
        yield Line("display setting", name if holds else compared(case, "etc/display-size"), name)


def keys_text(holdings: Holdings) -> str:
    """An instrument that believes everybody has to be told from one that does not."""
    if not holdings.keys:
        return "none: no signature is verified"
    return f"{len(holdings.keys)}, {hashlib.sha256(b''.join(holdings.keys)).hexdigest()[:8]}"


def compared(case: Case, path: str) -> str:
    before, after = case.before.files.get(path), case.after.files.get(path)
    return AS_BEFORE if before == after else "changed" if after else "lost"


def leftovers(case: Case) -> Iterator[Line]:
    """An update that is not installed leaves nothing, and a rejected download is removed."""
    if case.outcome == UPDATED:
        return
    allowed = [*DOWNLOAD, "home/tesk", *(["etc/display-size"] if case.outcome == OVERRIDDEN else [])]
    allowed += [STICK] if case.source.instead else []
    if case.given_up:
        allowed += [f"dev/mmcblk0{slot.name}" for slot in SLOTS if slot.version == case.given_up]
        allowed.append(case.after.manifest_path(case.given_up))
    paths = sorted(set(case.before.files) | set(case.after.files))
    changed = [path for path in paths if compared(case, path) != AS_BEFORE
               and not path.startswith(tuple(allowed)) and not path.endswith(".log")]
    yield Line("everything else", course.shortened([f"{path} changed" for path in changed]) or AS_BEFORE, AS_BEFORE)
    if case.mode.network:
        rest = [path for path in case.after.files if path.startswith(DOWNLOAD) and not path.endswith(".log")]
        yield Line("rejected download", course.shortened([f"{path} is left" for path in rest]) or "removed", "removed")
