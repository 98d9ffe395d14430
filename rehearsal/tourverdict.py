"""The verdict of a tour: what each touch did to the instrument, and what it promises."""

import gzip
import hashlib
import io
import re
import tarfile
import zlib
from collections.abc import Iterator

from rehearsal import course
from rehearsal.case import Case, Line
from rehearsal.holdings import VERSIONS, Holdings
from rehearsal.record import ScriptRun
from rehearsal.tour import Visit
from rehearsal.tourscreens import UPDATE_LOG

NOTHING = "nothing has changed"
EXPORTED = re.compile(r"media/usb0/[^/]*[.]tgz")


def judge(case: Case, visits: list[Visit]) -> list[Line]:
    """The tour has gone as promised if all lines are ok."""
    parts = (course_of_tour, acts, archive, ending)
    return [line for part in parts for line in part(case, visits)]


def course_of_tour(case: Case, visits: list[Visit]) -> Iterator[Line]:
    yield Line("the run", course.run_text(case), "to its end")
    stops = case.mode.tour
    seen = f"{len(visits)} of {len(stops)}"
    if len(visits) < len(stops):
        seen += f", no {stops[len(visits)].shows}"
    yield Line("screens", seen, f"{len(stops)} of {len(stops)}")
    wanted = course.all_ran(case.mode.scripts)
    yield Line("scripts", scripts_text(case.mode.scripts, case.record.runs) or wanted, wanted)


def scripts_text(expected: tuple[str, ...], runs: list[ScriptRun]) -> str:
    ran = tuple(run.name for run in runs)
    faults = [] if ran == expected else [f"ran: {', '.join(ran) or 'none'}"]
    faults += [fault for run in runs if (fault := course.run_fault(run, {"0"}))]
    return course.shortened(faults)


def acts(case: Case, visits: list[Visit]) -> Iterator[Line]:
    """What has changed at each stop that may change something, and at all others together."""
    before, looking = case.before, []
    reached = {}
    for visit in visits:
        after = visit.holdings or case.after
        changed = changes(before, after)
        if visit.stop.act:
            reached[visit.stop.act] = changed
        else:
            looking += [f"{change} at {visit.stop.shows}" for change in changed]
        before = after
    for stop in case.mode.tour:
        if stop.act:
            now = described(reached[stop.act]) if stop.act in reached else "not reached"
            yield Line(stop.act, now, described(stop.does))
    yield Line("all other screens", described(looking), NOTHING)
    # what happens after the last stop that was reached is nobody's act
    rest = changes(before, case.after) if len(visits) < len(case.mode.tour) else ()
    yield Line("apart from the screens", described(rest), NOTHING)


def changes(before: Holdings, after: Holdings) -> list[str]:
    """What differs, but for the lines that logs have grown by."""
    words = {path: "is gone" if path not in after.files else "is new" if path not in before.files else "is changed"
             for path in sorted(set(before.files) | set(after.files))
             if before.files.get(path) != after.files.get(path) and not path.startswith("var/log/")}
    return [f"{'media/usb0/*.tgz' if EXPORTED.fullmatch(path) else path} {word}" for path, word in words.items()]


def described(changed) -> str:
    return "; ".join(changed) or NOTHING


def archive(case: Case, visits: list[Visit]) -> Iterator[Line]:
    """The archive on the stick holds what the instrument held when it was asked for."""
    names = [visit.stop.act for visit in visits]
    if all(stop.act != "export" for stop in case.mode.tour):
        return
    held = visits[names.index("export") - 1].holdings if "export" in names else case.before
    wanted = exported(held)
    promised = f"{len(wanted)} files as they were: logs, manifests, update log"
    new = [path for path in case.after.files if EXPORTED.fullmatch(path) and path not in case.before.files]
    now = f"{len(new)} archives"
    if len(new) == 1:
        now = archive_text(new[0].rpartition("/")[2], case.after.read(new[0]), wanted)
    yield Line("archive", now or promised, promised)


def exported(held: Holdings) -> dict[str, str]:
    """The sums of the files that an export has to hold."""
    paths = [path for path in held.files if path.startswith("var/log/")]
    paths += [Holdings.manifest_path(version) for version in VERSIONS] + [UPDATE_LOG]
    return {path: held.files.get(path, "").rpartition(" ")[2] for path in paths}


def archive_text(name: str, archive: bytes, wanted: dict[str, str]) -> str:
    """What is wrong with an archive."""
    found = {}
    try:
        # all of it, to its very end: the last file may be whole where the archive is not
        with tarfile.open(fileobj=io.BytesIO(gzip.decompress(archive))) as tar:
            for member in tar:
                if member.isfile():
                    content = tar.extractfile(member).read()
                    found[member.name.removeprefix("./")] = hashlib.sha256(content).hexdigest()
    except (tarfile.TarError, zlib.error, OSError, EOFError) as error:
        return f"{name} cannot be read: {error}"
    faults = [f"{path} is missing" for path in wanted if path not in found]
    faults += [f"{path} differs" for path, mark in wanted.items() if path in found and found[path] != mark]
    return course.shortened(faults)


def ending(case: Case, _: list[Visit]) -> Iterator[Line]:
    active = case.mode.tour_ends_with
    yield Line("active partition", case.after.active or "none", active)
    yield Line("/home/tesk", case.after.home or "no link", f"/mnt/userdata/{active}")
    yield Line("reboots", {0: "none", 1: "one"}.get(case.after.reboots, str(case.after.reboots)), "one")
