"""An nbdkit plugin: a storage whose writes are lost with the power until it is told to flush them.

Parameters: file, the storage itself; seed, of what is lost. When the connection ends, which is the power
cut, each write since the last flush is kept, lost, or torn: of the last kind only some sectors arrive.
"""

import io
import random

import nbdkit

API_VERSION = 2
SECTOR = 512
FATES = ("kept", "lost", "torn")

storage = None
fate = random.Random(0)
waiting = []  # writes since the last flush, as (offset, content), in their order


def config(key, value):
    global storage, fate
    if key == "file":
        storage = io.FileIO(value, "r+")
    elif key == "seed":
        fate = random.Random(int(value))
    else:
        raise RuntimeError(f"there is no parameter {key}")


def thread_model():
    return nbdkit.THREAD_MODEL_SERIALIZE_ALL_REQUESTS


def open(readonly):  # nbdkit wants this name
    return 1


def can_flush(handle):
    return True


def can_fua(handle):
    return nbdkit.FUA_NATIVE


def get_size(handle):
    return storage.seek(0, 2)


def pread(handle, buffer, offset, flags):
    storage.seek(offset)
    content = bytearray(storage.read(len(buffer)))
    for start, written in waiting:
        first, end = max(start, offset), min(start + len(written), offset + len(buffer))
        if first < end:
            content[first - offset:end - offset] = written[first - start:end - start]
    buffer[:] = content


def pwrite(handle, buffer, offset, flags):
    if flags & nbdkit.FLAG_FUA:
        # what was written before to the same place must not come after it
        flush(handle, 0)
        store(offset, bytes(buffer))
    else:
        waiting.append((offset, bytes(buffer)))


def flush(handle, flags):
    for offset, content in waiting:
        store(offset, content)
    waiting.clear()


def close(handle):
    counts = dict.fromkeys(FATES, 0)
    for offset, content in waiting:
        happens = fate.choice(FATES)
        counts[happens] += 1
        if happens == "kept":
            store(offset, content)
        elif happens == "torn":
            for at in range(0, len(content), SECTOR):
                if fate.random() < 0.5:
                    store(offset + at, content[at:at + SECTOR])
    waiting.clear()
    print(", ".join(f"{count} {what}" for what, count in counts.items()), flush=True)


def store(offset, content):
    storage.seek(offset)
    storage.write(content)
