"""Which changes to a source are made."""

import unittest
from pathlib import Path

from mutants import FOLDERS, Mutant, changes, mutants, other_text

TOP = Path(__file__).resolve().parents[2]


def results(source: str, suffix: str = ".cpp") -> list[str]:
    """What the source becomes, each time in one place."""
    return [source[:start] + replacement + source[end:] for start, end, replacement in changes(suffix, source)]


class Changes(unittest.TestCase):
    def test_numbers(self) -> None:
        self.assertEqual(results("int a = 9;"), ["int a = 10;"])
        self.assertEqual(results("a = 0xFF;"), ["a = 0x100;"])
        self.assertEqual(results("a = 1.5;"), ["a = 2.5;"])
        self.assertEqual(results("int mmcblk0p2 = other1;"), [])

    def test_texts(self) -> None:
        self.assertEqual(results('"abc"'), ['"acc"'])
        self.assertEqual(results('""'), ['"x"'])
        self.assertEqual(results("'a'"), ["'b'"])

    def test_text_keeps_its_escapes(self) -> None:
        for before, after in (("a\\nb", "a\\nc"), ("\\n\\n", "x"), ("\\\\ a", "\\\\ b"), ("&lt;", "x"), ("Z9", "Z8")):
            with self.subTest(before):
                self.assertEqual(other_text(before), after)

    def test_operators(self) -> None:
        for before, after in (("a == b", "a != b"), ("a < b", "a <= b"), ("a && b", "a || b"), ("!a", "a")):
            with self.subTest(before):
                self.assertEqual(results(before), [after])

    def test_references_and_templates_are_no_operators(self) -> None:
        self.assertEqual(results("void f(const T &a, QWidget *b, std::map<A, B> c, D &&d)"), [])

    def test_comments_are_left_alone(self) -> None:
        self.assertEqual(results('// "a" == 1\n/* 2 */ /// true\n#include "a"\n'), [])

    def test_statements(self) -> None:
        source = "void f()\n{\n    int a;\n    g(\n        a);\n    emit h();\n    if (a)\n        return;\n}\n"
        self.assertEqual(
            results(source),
            [
                source.replace("g(\n        a)", ""),
                source.replace("emit h()", ""),
                source.replace("return", ""),
            ],
        )

    def test_declarations_stay(self) -> None:
        self.assertEqual(results("void f()\n{\n    QFile file(path);\n    const int a = b;\n    return a;\n}\n"), [])

    def test_rows(self) -> None:
        source = "    {a, b},\n    {c, d},\n    {c, d},\n"
        self.assertEqual(results(source), ["    {c, d},\n    {a, b},\n    {c, d},\n"])

    def test_forms(self) -> None:
        self.assertEqual(results("<width>800</width>", ".ui"), ["<width>801</width>"])
        self.assertEqual(results("<bool>true</bool>", ".ui"), ["<bool>false</bool>"])
        self.assertEqual(results("<string>Done</string>", ".ui"), ["<string>Dooe</string>"])
        self.assertEqual(results('<layout stretch="1,2">', ".ui"), ['<layout stretch="2,2">', '<layout stretch="1,3">'])


class Program(unittest.TestCase):
    def test_each_changes_its_file_and_is_another(self) -> None:
        found = mutants(TOP)
        self.assertGreater(len(found), 1000)
        for mutant in found:
            self.assertNotEqual(mutant.mutated, mutant.source, str(mutant))
        self.assertEqual(len({(m.file, m.start, m.end, m.replacement) for m in found}), len(found))

    def test_every_folder_has_some(self) -> None:
        self.assertEqual({mutant.file.partition("/")[0] for mutant in mutants(TOP)}, set(FOLDERS))

    def test_says_where(self) -> None:
        mutant = Mutant("a.cpp", 12, 13, "2", "above\nbelow 1, a long line\n")
        self.assertEqual(str(mutant), "a.cpp:2\n    - below 1, a long line\n    + below 2, a long line")

    def test_says_what_is_above_a_short_line(self) -> None:
        mutant = Mutant("a.cpp", 22, 28, "", "    if (everything)\n  return;\n")
        self.assertEqual(mutant.change, ("    if (everything)\n  return;", "    if (everything)\n  ;"))


if __name__ == "__main__":
    unittest.main()
