"""The description of an instrument: what it leaves out is empty, and each mistake is told with its line and key."""

import subprocess
import tempfile
import unittest
from collections.abc import Iterator
from pathlib import Path

import rehearsals
from rehearsal.description import Description as Instrument
from rehearsal.reader import DescriptionError, ours, read

PARTITIONS = """[partitions]
mmcblk0p2 = { size = "1M" }
mmcblk0p3 = { size = "64K", holds = "kernel" }
mmcblk0p5 = { size = "2G" }
"""
SIGNED = "[signature]\nkeys = '/b'\nlist = 'c'\nlist_signature = 'd'\n"
RING = '[versions]\nring = ["1", "8"]\n'


class Described(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory(prefix="test-description-")
        self.addCleanup(directory.cleanup)
        self.file = Path(directory.name) / "mine.toml"

    def read(self, text: str) -> Instrument:
        self.file.write_text(text)
        return read(self.file)

    def assert_mistake(self, text: str, line: int, words: str) -> None:
        with self.assertRaises(DescriptionError) as raised:
            self.read(text)
        self.assertEqual(str(raised.exception), f"{self.file}:{line}: {words}")


class Content(Described):
    def test_nothing_but_partitions(self) -> None:
        told = self.read(PARTITIONS)
        self.assertEqual(
            {device: partition.size for device, partition in told.partitions.items()},
            {"mmcblk0p2": 2**20, "mmcblk0p3": 2**16, "mmcblk0p5": 2**31},
        )
        self.assertEqual((told.name, told.images, told.versions.ring, told.survives.files), ("mine", {}, (), ()))
        self.assertFalse(told.update.tells)
        self.assertFalse(told.signature.keys)
        self.assertIsNone(told.maintenance.touch_reset)

    def test_slots(self) -> None:
        told = self.read(
            PARTITIONS + RING + '[images]\n"a.img" = ["mmcblk0p2"]\n' '"b.img" = { 1 = "mmcblk0p3", 8 = "mmcblk0p5" }\n'
        )
        self.assertEqual(told.slots_of("8"), {"mmcblk0p2": "a.img", "mmcblk0p5": "b.img"})
        self.assertEqual([told.version_of(device) for device in told.partitions], ["", "1", "8"])

    def test_ring(self) -> None:
        told = self.read(PARTITIONS + RING)
        self.assertEqual([told.after(active) for active in ("", "1", "8", "7")], ["1", "8", "1", None])

    def test_signature(self) -> None:
        signature = self.read(PARTITIONS + SIGNED).signature
        self.assertEqual((signature.keys, signature.list, signature.list_signature), ("/b", "c", "d"))
        self.assertEqual(self.read(PARTITIONS).signature.keys, "")

    def test_overlay(self) -> None:
        (self.file.parent / "more").mkdir()
        told = self.read('overlay = "more"\n' + PARTITIONS)
        self.assertEqual(told.overlay, (self.file.parent / "more").resolve())

    def test_our_own_agrees_with_what_its_scripts_know(self) -> None:
        """The scripts run where there is no description; they have lists of their own."""
        told = ours()
        listed = dict(line.split() for line in (rehearsals.SCRIPTS / "partitions.txt").read_text().splitlines())
        units = {"K": 2**10, "M": 2**20}
        self.assertEqual(
            {f"mmcblk0{name}": int(size[:-1]) * units[size[-1]] for name, size in listed.items()},
            {device: partition.size for device, partition in told.partitions.items() if not partition.fixed},
        )
        removed = [
            line
            for line in (rehearsals.SCRIPTS / "backup-files.txt").read_text().splitlines()
            if line and not line.startswith("#")
        ]
        believed = (rehearsals.SCRIPTS / "signature.sh").read_text()
        self.assertIn(f"\nkeys={told.signature.keys} ", believed)
        self.assertIn(f"\nlist={told.signature.list}\n", believed)
        self.assertEqual(sorted(removed), sorted(told.maintenance.system_reset or ()))
        self.assertEqual(
            set(self.slots_of_scripts(told)),
            {
                (version, device, image)
                for version in told.versions.ring
                for device, image in told.slots_of(version).items()
            },
        )

    def slots_of_scripts(self, told: Instrument) -> Iterator[tuple[str, str, str]]:
        """What the scripts' own table says, asked on an instrument that runs each version."""
        asked = 'for image in $images; do for slot in $(slots_of $image); do echo "$target $slot $image"; done; done'
        for active in told.versions.ring:
            with tempfile.TemporaryDirectory(prefix="test-description-") as tree:
                subprocess.run([rehearsals.SIMULATOR / "make-instrument", "--active", active, f"{tree}/i"], check=True)
                done = subprocess.run(
                    [
                        rehearsals.SIMULATOR / "sandbox",
                        f"{tree}/i",
                        "sh",
                        "-c",
                        f". /etc/update/instrument.sh; trap - EXIT; {asked}",
                    ],
                    stdin=subprocess.DEVNULL,
                    capture_output=True,
                    text=True,
                    check=True,
                )
                for line in done.stdout.splitlines():
                    version, slot, image = line.split()
                    yield version, slot.removeprefix("/dev/"), image


class Mistakes(Described):
    def test_no_file(self) -> None:
        with self.assertRaisesRegex(DescriptionError, "nowhere.toml: No such file or directory"):
            read(self.file.parent / "nowhere.toml")

    def test_no_text(self) -> None:
        self.file.write_bytes(b'name = "\xff"\n')
        with self.assertRaisesRegex(DescriptionError, "mine.toml: it is no text in UTF-8"):
            read(self.file)

    def test_no_toml(self) -> None:
        self.assert_mistake(PARTITIONS + "\nring = [\n", 6, "Invalid value")
        self.assert_mistake('name = "a"\nname = "b"\n', 2, "Cannot overwrite a value")

    def test_each(self) -> None:
        slots = PARTITIONS + RING + "[images]\n"
        for text, line, words in (
            ("name = 5\n" + PARTITIONS, 1, "name has to be a text"),
            ("\nnmae = 'x'\n" + PARTITIONS, 2, "nmae is not known here; did you mean name?"),
            (PARTITIONS + "[updates]\n", 5, "updates is not known here; did you mean update?"),
            (PARTITIONS + "\n[update]\nsum = 'x'\n", 7, "update.sum is not known here; did you mean sums?"),
            (
                PARTITIONS + "[logs]\nfoo = 'x'\n",
                6,
                "logs.foo is not known here; there are update, override, download, fallback, maintenance, every_script",
            ),
            (
                "[partitions]\nmmcblk0p3 = { size = '1M' }\n",
                1,
                "partitions lacks mmcblk0p2: without it the program takes every board for a blank one",
            ),
            (
                PARTITIONS + "mmcblk0p7 = '1M'\n",
                5,
                'partitions.mmcblk0p7 has to be a table such as { size = "4M", holds = "kernel" }',
            ),
            (
                PARTITIONS + "mmcblk0p7 = { size = '1MB' }\n",
                5,
                'partitions.mmcblk0p7.size is "1MB", not a size such as "512K" or "4M"',
            ),
            (
                PARTITIONS + "mmcblk0p7 = { size = '0' }\n",
                5,
                'partitions.mmcblk0p7.size is "0", not a size such as "512K" or "4M"',
            ),
            (
                PARTITIONS + "mmcblk0p7 = { }\n",
                5,
                'partitions.mmcblk0p7.size has to be a size such as "512K" or "4M", and has to be there',
            ),
            (
                PARTITIONS + "mmcblk0p7 = { size = '1M', hold = 'x' }\n",
                5,
                "partitions.mmcblk0p7.hold is not known here; did you mean holds?",
            ),
            (PARTITIONS + "'../x' = { size = '1M' }\n", 5, "partitions.../x is not the name of a device below /dev"),
            (slots + "'a.img' = ['mmcblk0p9']\n", 8, "images.a.img goes to mmcblk0p9, which is not in [partitions]"),
            (
                slots + "'a.img' = ['mmcblk0p2']\n'b.img' = [\n  'mmcblk0p3',\n  'mmcblk0p2',\n]\n",
                11,
                "images.b.img goes to mmcblk0p2, and so does a.img",
            ),
            (slots + "'a.img' = []\n", 8, "images.a.img goes to no partition"),
            (slots + "'a b.img' = ['mmcblk0p2']\n", 8, "images.a b.img is not the name of a file of an update"),
            (
                slots + "'a.img' = 'mmcblk0p2'\n",
                8,
                "images.a.img has to be a list of partitions, or a table of one for each version",
            ),
            (slots + "'a.img' = { 1 = 'mmcblk0p2' }\n", 8, "images.a.img names no partition for version 8"),
            (
                slots + "'a.img' = { 1 = 'mmcblk0p2', 7 = 'mmcblk0p3', 8 = 'mmcblk0p5' }\n",
                8,
                "images.a.img.7 is not in the ring of [versions]",
            ),
            (PARTITIONS + "[versions]\nring = ['1', '2']\n", 6, 'versions.ring names "2"; the program knows 1, 7, 8'),
            (PARTITIONS + "[versions]\nring = ['1', '1']\n", 6, "versions.ring names a version twice"),
            (PARTITIONS + "[versions]\nring = [1]\n", 6, "versions.ring has to be a list of texts"),
            (
                PARTITIONS + "[versions]\nactive = '/x'\n",
                5,
                "versions says where versions lie, but not which there are: ring is missing",
            ),
            (PARTITIONS + RING + "user_files = '/data'\n", 7, 'versions.user_files is "/data", which needs {version}'),
            (
                PARTITIONS + RING + "active = '/data/{version}'\n",
                7,
                'versions.active is "/data/{version}", which cannot have {version}',
            ),
            (PARTITIONS + RING + "home = 'home'\n", 7, 'versions.home is "home", which is no full path'),
            (
                PARTITIONS + "[survives]\nfiles = [\n  '/etc/a',\n  '/etc/../b',\n]\n",
                8,
                'survives.files is "/etc/../b", which is no full path',
            ),
            (PARTITIONS + "[update]\nsums = 'a/b'\n", 6, 'update.sums is "a/b", which is not a name'),
            (PARTITIONS + "[signature]\nlist = 'a/b'\n", 6, 'signature.list is "a/b", which is not a name'),
            (PARTITIONS + "[signature]\nkeys = 'keys'\n", 6, 'signature.keys is "keys", which is no full path'),
            (PARTITIONS + "[signature]\nlist = 'b'\n", 5, "signature lacks keys"),
            (PARTITIONS + "[signature]\nkeys = '/b'\n", 5, "signature lacks list"),
            (PARTITIONS + "[signature]\nkeys = '/b'\nlist = 'c'\n", 5, "signature lacks list_signature"),
            (
                PARTITIONS + SIGNED + "[update]\ndownload = '/e'\n",
                5,
                "signature lacks download_signature, which an update that is downloaded needs",
            ),
            (
                PARTITIONS + SIGNED + "[update]\nsums = 'e'\n",
                7,
                'signature.list is "c", but the sums of [update] are "e"',
            ),
            (PARTITIONS + "[update]\nbootloader_key = 'b'\n", 6, "update.bootloader_key needs a manifest in [update]"),
            (PARTITIONS + "[logs]\nevery_script = 'yes'\n", 6, "logs.every_script has to be true or false"),
            ("scripts = [\n 'x.sh'\n]\n" + PARTITIONS, 2, "scripts names x.sh, which no update runs"),
            (
                "scripts = ['3-USB-Uboot.sh']\n" + PARTITIONS,
                1,
                "scripts names 3-USB-Uboot.sh, which no update runs; did you mean 3-USB-UBoot.sh?",
            ),
            (
                "overlay = 'nowhere'\n" + PARTITIONS,
                1,
                f"overlay there is no directory {self.file.parent.resolve() / 'nowhere'}",
            ),
        ):
            with self.subTest(words=words):
                self.assert_mistake(text, line, words)


if __name__ == "__main__":
    unittest.main()
