"""Changes the program in one place after the other, and sees whether a test of "./check --fast" notices.

Each mutant is built and tested in a copy of the tree in build/mutation. What survives is either a hole in the
tests or without effect; those of the second kind are in without-effect.txt, with the reason."""

import argparse
import collections
import contextlib
import queue
import random
import sys
import threading
from pathlib import Path

from bench import TOP, Bench, Verdict
from mutants import FOLDERS, Mutant, mutants

KNOWN = Path(__file__).with_name("without-effect.txt")


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tests/mutation/run", description=__doc__)
    parser.add_argument("folder", nargs="*", help="of these folders' sources only")
    parser.add_argument("--sample", metavar="N", type=int, help="so many, chosen at random, instead of all")
    parser.add_argument("--seed", type=int, default=1, help="which ones; 1 unless said otherwise")
    parser.add_argument("--skip", metavar="N", type=int, default=0, help="begin with a later one of the sample")
    parser.add_argument("--jobs", type=int, default=1, help="copies of the tree side by side")
    parser.add_argument("--linking", action="store_true", help="only tests that link the program, none that run it")
    parser.add_argument("--list", action="store_true", help="only print the mutants")
    return parser.parse_args()


def key(file: str, before: str, after: str) -> tuple[str, str, str]:
    return file, " ".join(before.split()), " ".join(after.split())


def without_effect(text: str) -> dict[tuple[str, str, str], str]:
    """Reads blocks of: the file, "- " and the line, "+ " and what it becomes, the reason."""
    known = {}
    for block in text.split("\n\n"):
        lines = [line for line in block.splitlines() if not line.startswith("#")]
        if lines:
            file, before, after, *reason = lines
            known[key(file, before.removeprefix("- "), after.removeprefix("+ "))] = " ".join(reason)
    return known


class Run:
    def __init__(self, chosen: list[Mutant], linking: bool) -> None:
        self.linking = linking
        self.waiting: queue.SimpleQueue[Mutant] = queue.SimpleQueue()
        for mutant in chosen:
            self.waiting.put(mutant)
        self.known = without_effect(KNOWN.read_text())
        self.counts: collections.Counter[str] = collections.Counter()
        self.lock = threading.Lock()

    def judge(self, bench: Bench, mutant: Mutant) -> None:
        reason = self.known.get(key(mutant.file, *mutant.change))
        verdict = Verdict("without effect", reason) if reason else bench.judge(mutant)
        with self.lock:
            self.counts[verdict.word] += 1
            print(mutant, f"    {verdict.word}: {verdict.by}".rstrip(": "), sep="\n", flush=True)

    def work(self, number: int) -> None:
        bench = Bench(TOP / "build" / "mutation" / str(number), self.linking)
        try:
            with contextlib.suppress(queue.Empty):
                while True:
                    self.judge(bench, self.waiting.get_nowait())
        finally:
            bench.close()

    def summary(self) -> str:
        able = self.counts["noticed"] + self.counts["survived"]
        share = 100 * self.counts["noticed"] / able if able else 100
        told = ", ".join(f"{count} {word}" for word, count in self.counts.most_common())
        return f"{told}; {share:.1f} % of those with an effect noticed"


def main() -> int:
    options = arguments()
    chosen = mutants(TOP, options.folder or FOLDERS)
    if options.sample:
        chosen = random.Random(options.seed).sample(chosen, min(options.sample, len(chosen)))[options.skip :]
    if options.list:
        print(*chosen, sep="\n")
        return 0
    run = Run(chosen, options.linking)
    threads = [threading.Thread(target=run.work, args=[number]) for number in range(options.jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    print(run.summary())
    return 0 if run.counts["survived"] == 0 and run.waiting.empty() else 1


if __name__ == "__main__":
    sys.exit(main())
