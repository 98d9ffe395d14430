"""The verdict of an update: line by line what the instrument holds now, and what its description promises."""

import datetime
import hashlib
import os
from collections.abc import Iterator

from rehearsal import course
from rehearsal.case import Case, Line
from rehearsal.deeds import is_log
from rehearsal.description import on_screen, short
from rehearsal.holdings import MARKER, NO_FILE, UNREADABLE, Holdings
from rehearsal.modes import OVERRIDDEN, UPDATED

AS_BEFORE = "as before"
EMPTY = "empty"
STICK = "media/"


def judge(case: Case) -> list[Line]:
    """The instrument has ended as promised if all lines are ok."""
    parts = (course.judge, slots, versions, settings, leftovers)
    return [line for part in parts for line in part(case)]


def slots(case: Case) -> Iterator[Line]:
    """Each image is in its partitions, and no other partition has changed."""
    description = case.description
    written = description.slots_of(case.target or "") if case.outcome == UPDATED else {}
    for device in description.partitions:
        path = f"dev/{device}"
        image = written.get(device)
        if device in given_up(case):
            continue  # it holds nothing that counts, until the next update
        name = f"{short(device):<6}{description.what_is(device)}".rstrip()
        if image or path in case.before.files:
            yield Line(name, slot_text(case, device, image), image or AS_BEFORE, (path,))
        elif device in divided(case):
            content = case.after.read(path)
            yield Line(name, EMPTY if not content.strip(b"\0") else "not empty", EMPTY, (path,))


def slot_text(case: Case, device: str, image: str | None) -> str:
    """What a partition holds: an image, if it begins with it."""
    path = f"dev/{device}"
    if path not in case.after.files:
        return "missing"
    mark = case.after.files[path]
    if mark == NO_FILE or mark.startswith("link"):
        return "no partition any more"
    if UNREADABLE in mark:
        return UNREADABLE
    payload = case.source.read(image) if image else None
    size = case.description.partitions[device].size
    if payload and len(payload) > size:
        return f"{image} does not fit: {len(payload)} bytes, {size} in the partition"
    if len(case.after.read(path, size + 1)) > size:
        return f"more than its {size} bytes"
    if payload and image and (start := case.after.read(path, len(payload))) == payload:
        return image
    if mark == case.before.files.get(path):
        return AS_BEFORE
    if payload:
        return f"differs from {image} at byte {len(os.path.commonprefix([start, payload]))}"
    return f"changed, and the update has no {image}" if image else "changed"


def versions(case: Case) -> Iterator[Line]:
    told = case.description.versions
    if told.active:
        active = case.target or case.before.active
        yield Line("active partition", named(case.after.active), named(active), (told.active.lstrip("/"),))
    if told.manifest and case.description.update.manifest:
        yield from (manifest_line(case, version) for version in told.ring)
    if told.user_files:
        yield from (line for version in told.ring if (line := user_files_line(case, version)))


def named(version: str) -> str:
    return on_screen(version) if version else "none"


def manifest_line(case: Case, version: str) -> Line:
    what, path = f"manifest of {on_screen(version)}", case.after.manifest_path(version)
    if version == case.target:
        promised = describe(case.source.manifest(), "now")
        values = case.after.manifest(version)
        now = describe(values, installed(case, values)) if case.after.manifests[version] else "missing"
        return Line(what, now, promised, (path,))
    before, after = case.before.manifests[version], case.after.manifests[version]
    now = AS_BEFORE if before == after else "changed" if after else "lost"
    return Line(what, now, "lost" if version == case.given_up and before else AS_BEFORE, (path,))


def describe(manifest: dict[str, str], when: str) -> str:
    keys = ("core_version", "core_build", "core_build_date", "image_bootloader_version")
    version, build, date, bootloader = (manifest.get(key, "?") for key in keys)
    return f"{version} build {build} of {date} for {bootloader}, {when}"


def installed(case: Case, manifest: dict[str, str]) -> str:
    """ "now" if the date lies within the rehearsal, by the instrument's clock or by this machine's."""
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


def user_files_line(case: Case, version: str) -> Line | None:
    """None where nothing tells which user files the version has to have."""
    promised, owner = case.before.user_files(version), AS_BEFORE
    if version == case.target:
        if case.mode.keeps_user_files and case.before.active:
            promised, owner = case.before.user_files(case.before.active), f"those of {on_screen(case.before.active)}"
        elif case.description.versions.factory_user_files:
            promised, owner = case.before.factory_user_files(), "those of the factory"
        else:
            return None
    now = case.after.user_files(version)
    faults = {path: "is lost" for path in promised if path not in now}
    faults |= {path: "differs" for path in promised if path in now and now[path] != promised[path]}
    faults |= {path: "does not belong there" for path in now if path not in promised}
    top = case.description.path_of(case.description.versions.user_files, version)
    return Line(
        f"user files of {on_screen(version)}",
        course.shortened([f"{path} {fault}" for path, fault in faults.items()]) or owner,
        owner,
        tuple(f"{top}/{path}" for path in faults),
    )


def settings(case: Case) -> Iterator[Line]:
    told = case.description.versions
    if told.home and told.user_files:
        active = case.target or case.before.active
        home = f"/{case.description.path_of(told.user_files, active)}" if case.reboots and active else case.before.home
        yield Line(told.home, case.after.home or "no link", home, (told.home.lstrip("/"),))
    yield Line("keys", keys_text(case.after), keys_text(case.before), (case.description.signature.keys.lstrip("/"),))
    setting = case.description.update.overrides
    for file in case.description.survives.files:
        if case.outcome != OVERRIDDEN or file != setting:
            yield from survivor_lines(case, file)
    if case.outcome == OVERRIDDEN and setting:
        for name, content in case.source.overrides().items():
            holds = case.after.text(setting.lstrip("/")) == content.decode(errors="replace")
            yield Line(setting, name if holds else compared(case, setting.lstrip("/")), name, (setting.lstrip("/"),))


def survivor_lines(case: Case, file: str) -> Iterator[Line]:
    """A file that has to be as it was, or a directory of such."""
    path = case.before.real(file)
    both = case.before.files | case.after.files
    paths = sorted(one for one in both if one == path or one.startswith(f"{path}/"))
    faults = [f"{one} {now}" for one in paths if (now := compared(case, one)) != AS_BEFORE]
    text = compared(case, path) if paths == [path] else course.shortened(faults) or AS_BEFORE
    yield Line(file, text, AS_BEFORE, tuple(one for one in paths if compared(case, one) != AS_BEFORE))


def given_up(case: Case) -> list[str]:
    """The partitions of the version that was being written when the update turned out not to be what was checked."""
    version = case.given_up
    return [
        device for device in case.description.partitions if version and case.description.version_of(device) == version
    ]


def divided(case: Case) -> list[str]:
    """The partitions that a rebuild has made before it was given up, but for those of the version to be installed."""
    if not (case.given_up and case.mode.blank):
        return []
    kept = given_up(case)
    return [
        device
        for device in case.description.partitions
        if device not in kept and f"dev/{device}" not in case.before.files
    ]


def keys_text(holdings: Holdings) -> str:
    """An instrument that believes everybody has to be told from one that does not."""
    if not holdings.description.signature.keys:
        return "none described: no signature is verified"
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
    told = case.description
    unpacked = f"{told.update.unpacked.lstrip('/')}/"
    named = (told.update.download.lstrip("/"), told.signature.download_signature.lstrip("/"), unpacked)
    download = tuple(path for path in named if len(path) > 1)
    allowed = (
        *download,
        MARKER,
        *([told.versions.home.lstrip("/")] if told.versions.home else []),
        *([told.update.overrides.lstrip("/")] if case.outcome == OVERRIDDEN and told.update.overrides else []),
        *([STICK] if case.source.instead else []),
        *(f"dev/{device}" for device in (*given_up(case), *divided(case))),
        *([case.after.manifest_path(case.given_up)] if case.given_up and told.versions.manifest else []),
    )
    paths = sorted(set(case.before.files) | set(case.after.files))
    changed = [
        path
        for path in paths
        if compared(case, path) != AS_BEFORE and not path.startswith(allowed) and not is_log(path)
    ]
    yield Line(
        "everything else",
        course.shortened([f"{path} changed" for path in changed]) or AS_BEFORE,
        AS_BEFORE,
        tuple(changed),
    )
    if case.mode.network and download:
        rest = [path for path in case.after.files if path.startswith(download) and not path.endswith(".log")]
        yield Line(
            "rejected download",
            course.shortened([f"{path} is left" for path in rest]) or "removed",
            "removed",
            tuple(rest),
        )
