"""How the board's internal storage is divided; storage.txt says it."""

from dataclasses import dataclass, replace
from pathlib import Path

from rehearsal.description import Description

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


def described(instrument: Description) -> Description:
    """The simulated instrument with the partitions of the board, which are larger where a version has to start."""
    sizes = {part.device.removeprefix("dev/"): part.size for part in LAYOUT}
    partitions = {name: replace(part, size=sizes[name]) for name, part in instrument.partitions.items()}
    return replace(instrument, partitions=partitions)


def file_systems() -> str:
    """The partitions with a file system, and where each is mounted."""
    return "".join(f"p{part.number} {part.mount}\n" for part in LAYOUT if part.mount)


def slot_sizes() -> str:
    """The partitions that hold an image each, for scripts that have to know them before there are any."""
    return "".join(
        f"{part.name if part.name.startswith('boot') else f'p{part.number}'} {part.size // UNITS['M']}M\n"
        for part in LAYOUT
        if not part.mount
    )


def partition_table() -> str:
    """What sfdisk makes the table from."""
    rows = [
        f"{part.number}: start={part.start // SECTOR}, size={part.size // SECTOR}, name={part.name}" for part in LAYOUT
    ]
    return "\n".join(["label: gpt", *rows, ""])
