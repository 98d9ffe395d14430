"""Every small change to a source of the program: one constant, text, operator, call or pair of rows at a time."""

import re
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from pathlib import Path

FOLDERS = ("common", "update", "logs", "versions", "tools", "app")

SWAPPED = {
    "==": "!=",
    "!=": "==",
    "<": "<=",
    "<=": "<",
    ">": ">=",
    ">=": ">",
    "&&": "||",
    "||": "&&",
    "+": "-",
    "-": "+",
    "*": "+",
    "/": "*",
    "%": "/",
    "&": "|",
    "|": "&",
    "<<": ">>",
    "+=": "-=",
    "-=": "+=",
    "++": "--",
    "--": "++",
    "true": "false",
    "false": "true",
    "!": "",
}

# Binary operators stand between blanks, as clang-format has them: what does not is a reference or a template.
TOKEN = re.compile(
    r"""(?P<skipped>//[^\n]*|/\*.*?\*/|^[ ]*\#[^\n]*|<\w+[ ]?\*>)
    |(?P<text>"(?:\\.|[^"\\\n])*")
    |(?P<character>'(?:\\.|[^'\\\n])+')
    |(?P<number>(?<![\w.])(?:0x[0-9a-fA-F]+|\d+)(?:\.\d+)?)
    |(?P<operator>(?<=[ ])(?:==|!=|<=|>=|&&|\|\||\+=|-=|<<|[-<>+*/%&|])(?=[ \n])|\+\+|--|!(?=[\w(])|\b(?:true|false)\b)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
ROW = re.compile(r'[ ]*(?:\{.*\}|".*"),[ ]*(?://.*)?\n')
STATEMENT = re.compile(r"(?:emit |delete )?\*?(?!return\b|break\b|continue\b|[~.])[^\s(={;]+(?=\(|;| [-+|&]?= )")
JUMP = re.compile(r"(?:return|break|continue)(?=;)")
FORM_VALUE = re.compile(r'<(?:number|width|height|x|y|weight|pointsize|bool|string|family)(?: notr="true")?>([^<]+)<')
FORM_LIST = re.compile(r' (?:row|column)?stretch="([^"]+)"')


@dataclass(frozen=True)
class Mutant:
    file: str  # relative to the top of the tree
    start: int
    end: int
    replacement: str
    source: str  # the whole file as it was

    @property
    def folder(self) -> str:
        return self.file.partition("/")[0]

    @property
    def mutated(self) -> str:
        return self.source[: self.start] + self.replacement + self.source[self.end :]

    @property
    def line(self) -> int:
        return self.source.count("\n", 0, self.start) + 1

    @property
    def change(self) -> tuple[str, str]:
        """The lines concerned, before and after; with the line above where there is little to know them by."""
        first = self.source.rfind("\n", 0, self.start) + 1
        last = self.source.find("\n", max(self.start, self.end - 1))
        if last - first < 20:
            first = self.source.rfind("\n", 0, max(first - 1, 0)) + 1
        before = self.source[first:last]
        after = self.source[first : self.start] + self.replacement + self.source[self.end : last]
        return before, after

    def __str__(self) -> str:
        before, after = (" ".join(text.split()) for text in self.change)
        return f"{self.file}:{self.line}\n    - {before}\n    + {after}"


def other_text(text: str) -> str:
    """The text with the letter or sign in its middle changed; what has none to change becomes another."""
    plain = re.sub(r"\\.|&\w+;", lambda match: "\0" * len(match.group()), text)
    places = [place for place, sign in enumerate(plain) if sign.isalnum()]
    places = places or [place for place, sign in enumerate(plain) if sign != "\0"]
    if not places:
        return "x"
    place = places[len(places) // 2]
    sign = text[place]
    changed = chr(ord(sign) + (-1 if sign in "zZ9" else 1)) if sign.isalnum() else "#"
    return text[:place] + changed + text[place + 1 :]


def other_number(number: str) -> str:
    if number.startswith("0x"):
        return hex(int(number, 16) + 1)
    whole, point, rest = number.partition(".")
    return f"{int(whole) + 1}{point}{rest}"


def token_changes(source: str) -> Iterator[tuple[int, int, str]]:
    for match in TOKEN.finditer(source):
        start, end = match.span()
        found = match.group()
        if match["text"] is not None or match["character"] is not None:
            yield start + 1, end - 1, other_text(found[1:-1])
        elif match["number"] is not None:
            yield start, end, other_number(found)
        elif match["operator"] is not None:
            yield start, end, SWAPPED[found]


def end_of_statement(source: str, start: int) -> int:
    """Where its semicolon is, or -1 if a body comes first that is not in parentheses."""
    depth = 0
    for match in re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\])+\'|//[^\n]*|[(){};]').finditer(source, start):
        sign = match.group()
        if sign in ("(", "{"):
            depth += 1
        elif sign in (")", "}"):
            depth -= 1
        elif sign == ";" and depth == 0:
            return match.start()
        if depth < 0:
            return -1
    return -1


def without_comments(source: str) -> str:
    """The same length, with blanks for comments."""
    return re.sub(r"//[^\n]*", lambda match: " " * len(match.group()), source)


def dropped_statements(source: str) -> Iterator[tuple[int, int, str]]:
    """What stands in a function, which is indented, and is no declaration."""
    code = without_comments(source)
    for match in re.finditer(r"^ {4,}(?=\S)", code, re.MULTILINE):
        start = match.end()
        before = code[: match.start()].rstrip()
        if not before.endswith((";", "{", "}", ")", ":", "else")):
            continue
        if STATEMENT.match(code, start) or JUMP.match(code, start):
            end = end_of_statement(source, start)
            if end > start:
                yield start, end, ""


def swapped_rows(source: str) -> Iterator[tuple[int, int, str]]:
    lines = source.splitlines(keepends=True)
    offset = 0
    for line, following in zip(lines, lines[1:]):
        if line != following and ROW.fullmatch(line) and ROW.fullmatch(following):
            yield offset, offset + len(line) + len(following) - 1, following + line.rstrip("\n")
        offset += len(line)


def form_changes(source: str) -> Iterator[tuple[int, int, str]]:
    for match in FORM_VALUE.finditer(source):
        value = match[1]
        other = SWAPPED.get(value) or (other_number(value) if value.isdigit() else other_text(value))
        yield *match.span(1), other
    for match in FORM_LIST.finditer(source):
        for number in re.finditer(r"\d+", match[1]):
            start = match.start(1) + number.start()
            yield start, start + len(number.group()), other_number(number.group())


def changes(suffix: str, source: str) -> Iterator[tuple[int, int, str]]:
    if suffix == ".ui":
        yield from form_changes(source)
        return
    yield from token_changes(source)
    yield from swapped_rows(source)
    if suffix == ".cpp":
        yield from dropped_statements(source)


def mutants(top: Path, folders: Sequence[str] = FOLDERS) -> list[Mutant]:
    found = []
    for folder in folders:
        for path in sorted((top / folder).iterdir()):
            if path.suffix in (".cpp", ".h", ".ui"):
                source = path.read_text()
                name = f"{folder}/{path.name}"
                found += [Mutant(name, *change, source) for change in changes(path.suffix, source)]
    return found
