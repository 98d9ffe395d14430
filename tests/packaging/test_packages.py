"""The Debian packages: the same bytes wherever and whenever they are built, clean, and fit to be installed."""

import functools
import hashlib
import os
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
EMULATORS = {"armhf": "qemu-arm-static", "arm64": "qemu-aarch64-static", "amd64": ""}
TRIPLETS = {"armhf": "arm-linux-gnueabihf", "arm64": "aarch64-linux-gnu", "amd64": "x86_64-linux-gnu"}
FOREIGN = "armhf"


def run(*command: str | Path, **variables: str) -> str:
    done = subprocess.run(
        command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False, env={**os.environ, **variables}
    )
    if done.returncode != 0:
        raise AssertionError(f"{command[0]}: {done.stdout[-2000:]}{done.stderr[-2000:]}")
    return done.stdout + done.stderr


@functools.lru_cache(maxsize=None)
def packages(architecture: str) -> Path:
    """Where the packages of an architecture lie, built once for all tests."""
    directory = REPOSITORY / "build/packages" / architecture
    run(REPOSITORY / "packaging/build-package", architecture, directory)
    return directory


def sums(directory: Path) -> dict[str, str]:
    return {file.name: hashlib.sha256(file.read_bytes()).hexdigest() for file in directory.glob("*.deb")}


class Packages(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)

    def test_built_elsewhere_and_later(self) -> None:
        first = sums(packages(FOREIGN))
        copy = self.scratch / "elsewhere"
        run("git", "-c", "safe.directory=*", "clone", "--quiet", REPOSITORY, copy)
        # what has not been committed belongs to the build too
        for line in run(
            "git", "-C", REPOSITORY, "-c", "safe.directory=*", "status", "--porcelain", "-uall"
        ).splitlines():
            name = line[3:]
            (copy / name).unlink(missing_ok=True)
            if (REPOSITORY / name).is_file():
                (copy / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(REPOSITORY / name, copy / name)
        (copy / "build/sysroot").mkdir(parents=True)
        run("cp", "-a", REPOSITORY / "build/sysroot" / FOREIGN, copy / "build/sysroot")  # it holds devices
        time.sleep(1.1)  # a later second
        run(copy / "packaging/build-package", FOREIGN, copy / "packages", CCACHE_DISABLE="1")
        self.assertEqual(sums(copy / "packages"), first)
        self.assertTrue(any((copy / "packages").glob("*.buildinfo")))

    def test_lintian(self) -> None:
        for architecture in EMULATORS:
            with self.subTest(architecture):
                changes = next(packages(architecture).glob("*.changes"))
                self.assertEqual(run("lintian", "--allow-root", "--fail-on", "error,warning", changes).strip(), "")

    def test_starts_in_a_fresh_root(self) -> None:
        """With nothing but what the package itself asks for."""
        for architecture, emulator in EMULATORS.items():
            with self.subTest(architecture):
                root = self.scratch / architecture
                package = next(packages(architecture).glob("teskupdater_*.deb"))
                depends = run("dpkg-deb", "--field", package, "Depends")
                wanted = [word.split("(")[0].split("|")[0].strip() for word in depends.split(",")]
                run(
                    "sh",
                    "-c",
                    '. "$1"; debian_sources | unpack_debian "$2" "$3" "$4"',
                    "sh",
                    REPOSITORY / "packaging/archive.sh",
                    architecture,
                    root,
                    ",".join(wanted),
                )
                run("dpkg-deb", "--extract", package, root)
                plugins = root / "usr/lib" / TRIPLETS[architecture] / "qt5/plugins"
                start = [emulator, "-L", str(root)] if emulator else self.native(root)
                said = run(
                    *start,
                    root / "usr/bin/teskupdater",
                    "--version",
                    QT_QPA_PLATFORM="offscreen",
                    QT_PLUGIN_PATH=str(plugins),
                )
                self.assertIn("teskupdater V4.05.00", said)

    @staticmethod
    def native(root: Path) -> list[str]:
        """This machine's own architecture, but with the libraries of the root."""
        loader = next(root.glob("lib*/ld-linux*.so.2"))
        folders = [root / top / "x86_64-linux-gnu" for top in ("lib", "usr/lib")]
        return [str(loader), "--library-path", ":".join(map(str, folders))]


if __name__ == "__main__":
    unittest.main()
