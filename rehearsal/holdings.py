"""What the tree of an instrument holds, to be compared before and after."""

import hashlib
import os
import stat
from pathlib import Path

from source import parse_manifest

VERSIONS = ("1", "7", "8")
RECOVERY = "mnt/recovery"
NO_FILE, UNREADABLE = "no plain file", "unreadable"
WATCHED = ("dev/mmcblk0*", "etc/pointercal", "etc/display-size", "home", "media", "mnt", "var/log")


def fingerprint(path: Path) -> str:
    """A file's permissions and content, or where a link points to."""
    status = path.lstat()
    if stat.S_ISLNK(status.st_mode):
        return f"link to {os.readlink(path)}"
    if not stat.S_ISREG(status.st_mode):
        return NO_FILE
    try:
        with path.open("rb") as file:
            content = hashlib.file_digest(file, "sha256").hexdigest()
    except OSError as error:
        content = f"{UNREADABLE}: {error.strerror}"
    return f"{stat.S_IMODE(status.st_mode):o} {content}"


def files_below(path: Path) -> list[Path]:
    """All that is no directory, or a closed one, below a directory or the path itself."""
    if path.is_symlink() or not path.is_dir():
        return [path] if os.path.lexists(path) else []
    try:
        entries = sorted(path.iterdir())
    except PermissionError:
        return [path]
    return [file for entry in entries for file in files_below(entry)]


class Holdings:
    """The state of everything that lasts, taken when the object is made; texts are read from the tree as it is."""

    def __init__(self, tree: Path):
        self.tree = tree
        self.files = {str(file.relative_to(tree)): fingerprint(file)
                      for pattern in WATCHED for top in tree.glob(pattern) for file in files_below(top)}
        self.active = self.text(f"{RECOVERY}/download/partition_c").strip()
        self.manifests = {version: self.text(self.manifest_path(version)) for version in VERSIONS}
        home = tree / "home/tesk"
        self.home = os.path.normpath(os.path.join("/home", os.readlink(home))) if home.is_symlink() else ""
        self.reboots = len(self.text("run/rebooted").splitlines())

    @staticmethod
    def manifest_path(version: str) -> str:
        return f"{RECOVERY}/update_files/{version}manifest.txt"

    def manifest(self, version: str) -> dict[str, str]:
        return parse_manifest(self.manifests[version])

    def text(self, path: str) -> str:
        """A file's text; empty if there is none to read. Whatever is no plain file might never end."""
        file = self.tree / path
        try:
            return file.read_text(errors="replace") if stat.S_ISREG(file.lstat().st_mode) else ""
        except OSError:
            return ""

    def user_files(self, owner: str) -> dict[str, str]:
        """The user files of a version, or the factory's, by their path below its directory."""
        top = f"mnt/userdata/{owner}/"
        return {path.removeprefix(top): mark for path, mark in self.files.items() if path.startswith(top)}
