"""A copy of the tree in which one mutant after the other is built and tested."""

import collections
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from mutants import Mutant

TOP = Path(__file__).resolve().parents[2]
PRESET = "mutation"

# What reads the sources, or runs nothing of the program.
UNCONCERNED = {"lint", "commands", "board", "packaging", "simulator", "mutation", "fuzz"}
BROWSING = "rehearsal.page."  # the browser asks for more memory than a mutant may have
# What each folder includes: the tests of one notice nothing of another than these.
INCLUDES: dict[str, set[str]] = {
    "common": set(),
    "update": {"common"},
    "logs": {"common"},
    "versions": {"common"},
    "tools": {"common", "logs", "versions"},
    "app": {"common", "logs", "versions", "tools", "update"},
    "audit": {"common", "update", "logs", "versions"},
}
RUNNING = "running"  # the tests that link nothing of the program, and run it
MEMORY = 6 << 30  # bytes that a mutant may ask for
PATIENCE = 200  # seconds for the tests of one program; most take some five


@dataclass(frozen=True)
class Test:
    name: str
    folder: str
    targets: frozenset[str]  # what has to be built for it

    @property
    def group(self) -> str:
        return RUNNING if "all" in self.targets else self.folder


@dataclass(frozen=True)
class Verdict:
    """What became of a mutant: the test that noticed it, or none."""

    word: str  # "noticed", "survived" or "not built"
    by: str = ""


class Bench:
    def __init__(self, place: Path, linking: bool) -> None:
        """With linking the tests that only run the program are left out."""
        self.top = place
        self.build = place / "build" / PRESET
        self.scratch = tempfile.mkdtemp(prefix="mutation.", dir="/dev/shm")
        self.copy_tree()
        self.run(["cmake", "--preset", PRESET], check=True)
        self.run(["ninja", "-C", str(self.build), "-j1"], check=True)
        self.groups: dict[str, list[Test]] = {}
        for test in self.list_tests():
            if test.group != RUNNING or not linking:
                self.groups.setdefault(test.group, []).append(test)
        self.sound: set[str] = set()  # tests that were seen to pass without a mutant
        self.noticed: collections.Counter[tuple[str, frozenset[str]]] = collections.Counter()

    def close(self) -> None:
        subprocess.run(["chmod", "-R", "u+rwx", self.scratch], check=False)
        shutil.rmtree(self.scratch)

    def copy_tree(self) -> None:
        """What would be committed; only what has changed is written anew, so that little is built anew."""
        listing = subprocess.run(
            ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            cwd=TOP,
            capture_output=True,
            text=True,
            check=True,
        ).stdout
        for name in filter(None, listing.split("\0")):
            source, copy = TOP / name, self.top / name
            if not source.is_file():
                continue
            if not copy.exists() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)

    def run(
        self, command: list[str], limit: float | None = None, check: bool = False
    ) -> subprocess.CompletedProcess[str]:
        """Ends all that it has started when its time is up, and then says 124 as timeout(1) does."""
        with subprocess.Popen(
            ["prlimit", f"--as={MEMORY}", *command],
            cwd=self.top,
            env={**os.environ, "TMPDIR": self.scratch},
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            start_new_session=True,
        ) as process:
            try:
                output, _ = process.communicate(timeout=limit)
                code = process.returncode
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                output, _ = process.communicate()
                code = 124
        if check and code != 0:
            raise RuntimeError(f"{' '.join(command)}: {output}")
        return subprocess.CompletedProcess(command, code, output)

    def list_tests(self) -> list[Test]:
        listing = self.run(["ctest", "--test-dir", str(self.build), "-LE", "slow|board", "--show-only=json-v1"])
        found = []
        for entry in json.loads(listing.stdout)["tests"]:
            properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
            words = " ".join([properties.get("WORKING_DIRECTORY", ""), *entry["command"]])
            folder = re.findall(r"/tests/(\w+)(?:/|\b)", words)[-1]
            programs = re.findall(rf"{self.build}/(tests/\w+/tst_\w+)", words)
            if folder not in UNCONCERNED and not entry["name"].startswith(BROWSING):
                found.append(Test(entry["name"], folder, frozenset(programs or ["all"])))
        return found

    def stages(self, folder: str) -> list[list[str]]:
        """The tests of the same folder, then the others that link it, then those that run the program."""
        others = [group for group in self.groups if group not in (folder, RUNNING)]
        reaching = [group for group in others if group not in INCLUDES or folder in INCLUDES[group]]
        return [[folder], reaching] + [[RUNNING]] * (RUNNING in self.groups)

    def batches(self, mutant: Mutant) -> Iterator[list[Test]]:
        """The tests of one program at a time, those first that have noticed most in the mutant's file."""
        for groups in self.stages(mutant.folder):
            programs: dict[frozenset[str], list[Test]] = {}
            for test in (test for group in groups for test in self.groups[group]):
                programs.setdefault(test.targets, []).append(test)
            for targets in sorted(programs, key=lambda targets: -self.noticed[mutant.file, targets]):
                yield programs[targets]

    def build_for(self, tests: list[Test]) -> bool:
        targets = sorted(set().union(*(test.targets for test in tests), {"teskupdater"}))
        # The library by itself first: only the next call sees that the header of a form has changed.
        commands = [["ninja", "-C", str(self.build), "-j1", *words] for words in (["updater"], targets)]
        return all(self.run(command).returncode == 0 for command in commands)

    def first_failure(self, tests: list[Test]) -> str:
        """The name of a test that fails, twice in a row; empty if there is none."""
        names = "|".join(re.escape(test.name) for test in tests)
        command = ["ctest", "--test-dir", str(self.build), "--stop-on-failure", "-j", "6", "-R", f"^({names})$"]
        done = self.run(command, PATIENCE)
        if done.returncode == 0:
            return ""
        if done.returncode == 124:
            return f"{tests[0].name}, out of time"
        failed = re.search(r"^\t *\d+ - (\S+) \(", done.stdout, re.MULTILINE)
        if not failed:
            raise RuntimeError(done.stdout)
        again = [test for test in tests if test.name == failed[1]]
        others = [test for test in tests if test.name != failed[1]]
        if not others:
            return failed[1] if self.run(command, PATIENCE).returncode != 0 else ""
        return self.first_failure(again) or self.first_failure(others)

    def judge(self, mutant: Mutant) -> Verdict:
        file = self.top / mutant.file
        file.write_text(mutant.mutated)
        try:
            for tests in self.batches(mutant):
                if not self.build_for(tests):
                    return Verdict("not built")
                if failed := self.first_failure(tests):
                    self.noticed[mutant.file, tests[0].targets] += 1
                    file.write_text(mutant.source)
                    self.require_sound(tests)
                    return Verdict("noticed", failed)
            return Verdict("survived")
        finally:
            file.write_text(mutant.source)

    def require_sound(self, tests: list[Test]) -> None:
        """A test that fails without a mutant notices nothing."""
        if not self.sound.issuperset(test.name for test in tests):
            if not self.build_for(tests) or self.first_failure(tests):
                raise RuntimeError(f"{tests[0].name} fails without a mutant")
            self.sound.update(test.name for test in tests)
