"""How the board's internal storage is divided; storage.txt says it."""

from dataclasses import dataclass
from pathlib import Path

HERE = Path(__file__).resolve().parent
UNITS = {"K": 1024, "M": 1024**2}
FIRST = ALIGNED_TO = UNITS["M"]
STORAGE_SIZE = 1024 * UNITS["M"]  # the emulated card's: a power of two
SECTOR = 512


@dataclass(frozen=True)
class Partition:
    number: int
    start: int  # in bytes, as the size
    size: int
    name: str
    mount: str  # where the instrument mounts it; empty if it does not

    @property
    def device(self) -> str:
        """Its path on the instrument, without the first slash, by the name that scripts know."""
        return f"dev/mmcblk0{self.name}" if self.name.startswith("boot") else f"dev/mmcblk0p{self.number}"


def read_layout(file: Path = HERE / "storage.txt") -> tuple[Partition, ...]:
    partitions = []
    start = FIRST
    for line in file.read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        number, size_text, name, *mount = line.split()
        size = int(size_text[:-1]) * UNITS[size_text[-1]]
        partitions.append(Partition(int(number), start, size, name, mount[0] if mount else ""))
        start += -(-size // ALIGNED_TO) * ALIGNED_TO
    return tuple(partitions)


LAYOUT = read_layout()
BY_NAME = {partition.name: partition for partition in LAYOUT}


def file_systems() -> str:
    """The partitions with a file system, and where each is mounted."""
    return "".join(f"p{part.number} {part.mount}\n" for part in LAYOUT if part.mount)


def partition_table() -> str:
    """What sfdisk makes the table from."""
    rows = [
        f"{part.number}: start={part.start // SECTOR}, size={part.size // SECTOR}, name={part.name}" for part in LAYOUT
    ]
    return "\n".join(["label: gpt", *rows, ""])
