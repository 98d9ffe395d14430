"""Which of the tests that are written are run by which of ctest's entries."""

import ast
import json
import re
import subprocess
from collections.abc import Iterator
from pathlib import Path

FRAME = {"init", "cleanup", "initTestCase", "cleanupTestCase"}


def commands(build: Path) -> Iterator[tuple[Path, list[str]]]:
    """The working directory and command of each entry."""
    listing = subprocess.run(
        ["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True, text=True, check=True
    ).stdout
    for entry in json.loads(listing)["tests"]:
        properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
        yield Path(properties.get("WORKING_DIRECTORY", build)), entry["command"]


def python_tests(module: Path) -> Iterator[str]:
    """The tests that a Python module defines, each as unittest names it."""
    for node in ast.parse(module.read_text()).body:
        if isinstance(node, ast.ClassDef):
            for part in node.body:
                if isinstance(part, ast.FunctionDef) and part.name.startswith("test"):
                    yield f"{module.stem}.{node.name}.{part.name}"


def qt_tests(source: Path) -> set[str]:
    """The test functions of a QtTest class."""
    slots = source.read_text().partition("private slots:")[2].partition("};")[0].partition("\nprivate:")[0]
    names = set(re.findall(r"^    void (\w+)\(\)", slots, re.MULTILINE))
    return {name for name in names if not name.endswith("_data")} - FRAME


def functions_of(arguments: list[str]) -> set[str]:
    """The functions that a QtTest program is told to run, some of them for one row of their data."""
    return {argument.partition(":")[0] for argument in arguments if re.match(r"[A-Za-z]", argument)}


def runs_of(test: str, names: list[str]) -> int:
    return sum(test == name or test.startswith(f"{name}.") for name in names)


def wrong_runs(top: Path, entries: list[tuple[Path, list[str]]]) -> list[str]:
    """A line for each test that is not run, and each of Python that is run more than once."""
    python: dict[Path, list[str]] = {module.parent: [] for module in top.glob("tests/*/test_*.py")}
    functions: dict[str, set[str]] = {}
    for directory, command in entries:
        if "unittest" in command:
            python.setdefault(directory, []).extend(command[command.index("unittest") + 1 :])
        elif command[0].endswith("/in-sandbox"):
            functions.setdefault(Path(command[2]).name, set()).update(functions_of(command[3:]) or {"*"})

    wrong = []
    for directory, names in sorted(python.items()):
        for module in sorted(directory.glob("test_*.py")):
            wrong += [
                f"{test} is run {runs_of(test, names)} times"
                for test in python_tests(module)
                if runs_of(test, names) != 1
            ]
    for source in sorted(top.glob("tests/*/tst_*.cpp")):
        named = functions.get(source.stem, set())
        if named != {"*"} and named != qt_tests(source):
            wrong.append(f"{source.stem} has {sorted(qt_tests(source))}, run are {sorted(named)}")
    return wrong
