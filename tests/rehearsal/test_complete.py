"""Every test method of this directory has its ctest entry."""

import re
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent


class Complete(unittest.TestCase):
    def test_every_method_has_an_entry(self) -> None:
        entries: dict[str, set[str]] = {}
        listed = (HERE / "CMakeLists.txt").read_text().partition("endfunction()")[2]
        for name, methods in re.findall(r"rehearsal_tests\(([\w.]+)([^)]*)\)", listed):
            entries.setdefault(name, set()).update(methods.split())
        for file in HERE.glob("test_*.py"):
            module = file.stem.removeprefix("test_")
            if module in entries:
                continue
            for name, body in re.findall(
                r"^class (\w+)\([\w.]+\):\n(.*?)(?=^\S|\Z)",
                file.read_text(),
                re.MULTILINE | re.DOTALL,
            ):
                methods = set(re.findall(r"def test_(\w+)\(", body))
                if not methods:
                    continue  # what others have in common
                listed_here = entries[f"{module}.{name}"] - {"SLOW"}
                if listed_here:
                    self.assertEqual(methods, listed_here, f"{module}.{name}")


if __name__ == "__main__":
    unittest.main()
