"""A rehearsal as one page that needs nothing else: index.html in its folder."""

import base64
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from pathlib import Path

import jinja2

from rehearsal.album import Picture
from rehearsal.case import Case
from rehearsal.deeds import Deed, deeds, ended, told
from rehearsal.description import on_screen, short
from rehearsal.folders import naming, output_name
from rehearsal.judgement import Judgement
from rehearsal.plain import plain
from rehearsal.report import Report
from rehearsal.timeline import draw
from rehearsal.verdict import named, slots

TEMPLATE = Path(__file__).resolve().parent / "page.html"
LINES_SHOWN = 200  # of what a script printed; all of it is in its file
SUM_SHOWN = 12  # characters


@dataclass(frozen=True)
class Script:
    number: int
    name: str
    ended: str
    seconds: str
    failed: bool
    told: list[str]
    lines: list[str]  # the last that it printed
    printed: int  # lines in all
    file: str


@dataclass(frozen=True)
class Thing:
    """Something before and after."""

    what: str
    before: str
    after: str

    @property
    def changed(self) -> bool:
        return self.before != self.after


def write_page(
    folder: Path,
    title: str,
    facts: dict[str, str],
    case: Case,
    judgement: Judgement,
    pictures: Sequence[Picture],
    report: Report,
) -> None:
    """The pictures have to be written already."""
    template = environment().from_string(TEMPLATE.read_text(encoding="utf-8"))
    played = list(deeds(case))
    text = template.render(
        title=title,
        facts=facts,
        judgement=judgement,
        started=f"{case.started.astimezone():%d %B %Y, %H:%M}",
        wrong=[line for line in judgement.lines if not line.ok],
        right=[line for line in judgement.lines if line.ok],
        timeline=draw(report.events, played),
        scripts=[script(number, deed) for number, deed in enumerate(played, 1)],
        things=list(things(case)),
        log=case.after.text(case.log).splitlines(),
        log_name=f"/{case.log}",
        pictures=[(picture.state, f"{picture.at - report.started:.2f} s", data(picture.file)) for picture in pictures],
        events=[(f"{event.at:9.3f}", event.kind, event.text) for event in report.events],
    )
    file = folder / "index.html"
    with naming(file):
        file.write_bytes(text.encode(errors="replace"))


def environment() -> jinja2.Environment:
    """Every text is escaped, and made plain before."""
    return jinja2.Environment(
        autoescape=True,
        undefined=jinja2.StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        finalize=lambda value: plain(value) if type(value) is str else value,
    )


def data(file: Path) -> str:
    """A picture as an address that holds it."""
    return f"data:image/png;base64,{base64.b64encode(file.read_bytes()).decode()}"


def script(number: int, deed: Deed) -> Script:
    run = deed.run
    seconds = f"after {run.ended - run.started:.2f} s" if run.ended is not None else ""
    lines = run.printed.splitlines()
    how = "restarted the instrument" if deed.restarted else ended(run)
    return Script(
        number,
        run.name,
        how,
        seconds,
        deed.failed,
        told(deed),
        lines[-LINES_SHOWN:],
        len(lines),
        output_name(number, run),
    )


def things(case: Case) -> Iterator[Thing]:
    """What the instrument held before and holds after."""
    before, after, told_of = case.before, case.after, case.description
    images = {path: line.now for line in slots(case) for path in line.paths}
    for device in told_of.partitions:
        path = f"dev/{device}"
        was, now = sum_of(before.files.get(path)), sum_of(after.files.get(path))
        held = images.get(path, "")
        yield Thing(
            f"{short(device)}: {told_of.what_is(device)}",
            was,
            f"{now} ({held})" if was != now and held in told_of.images else now,
        )
    versions = told_of.versions
    if versions.active:
        yield Thing("active partition", named(before.active), named(after.active))
    for version in versions.ring:
        if versions.manifest:
            yield Thing(
                f"manifest of {on_screen(version)}",
                installed(before.manifest(version)),
                installed(after.manifest(version)),
            )
    for version in versions.ring:
        if versions.user_files:
            yield Thing(
                f"user files of {on_screen(version)}", *files(before.user_files(version), after.user_files(version))
            )
    if versions.home:
        yield Thing(versions.home, before.home or "no link", after.home or "no link")
    for file in told_of.survives.files:
        path = before.real(file)
        yield Thing(file, sum_of(before.files.get(path)), sum_of(after.files.get(path)))
    if case.log:
        yield Thing(f"/{case.log}", *lines_of(case))


def lines_of(case: Case) -> tuple[str, str]:
    """How long the log was and is; its content before is not known any more."""
    if case.before.files.get(case.log) == case.after.files.get(case.log):
        return ("as it is", "as it is")
    before = "shorter" if case.log in case.before.files else "not there"
    return before, f"{len(case.after.text(case.log).splitlines())} lines"


def sum_of(mark: str | None) -> str:
    if mark is None:
        return "not there"
    return mark.rpartition(" ")[2][:SUM_SHOWN] if " " in mark and not mark.startswith("link") else mark


def installed(manifest: dict[str, str]) -> str:
    if not manifest:
        return "none"
    return f"{manifest.get('core_version', '?')} build {manifest.get('core_build', '?')}"


def files(before: dict[str, str], after: dict[str, str]) -> tuple[str, str]:
    """How many, and how many of them are others now."""
    other = sum(before.get(path) != mark for path, mark in after.items())
    gone = sum(path not in after for path in before)
    changes = ", ".join(words for count, words in ((other, f"{other} new or changed"), (gone, f"{gone} gone")) if count)
    return f"{len(before)} files", f"{len(after)} files" + (f", {changes}" if changes else "")
