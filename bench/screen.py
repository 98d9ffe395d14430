"""An X client that tells when the first picture of a program is on the screen.

It asks the server to report all drawing (the Damage extension), in the X protocol itself: the
standard library has no X client.
"""

import select
import socket
import struct
import time

GET_IMAGE, QUERY_EXTENSION = 73, 98
DAMAGE_VERSION, DAMAGE_CREATE, DAMAGE_RAW = 0, 1, 0
REPLY, Z_PIXMAP, ALL_PLANES = 1, 2, 0xFFFFFFFF


class Screen:
    """Of an X server without other clients, whose empty screen is black."""

    def __init__(self, display: str) -> None:
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect("/tmp/.X11-unix/X" + display.lstrip(":"))
        self.socket.sendall(struct.pack("<BxHHHHxx", ord("l"), 11, 0, 0, 0))
        length = struct.unpack("<6xH", self._read(8))[0] * 4
        setup = self._read(length)
        first_id, vendor_length = struct.unpack_from("<4xI8xH", setup)
        screen = 32 + (vendor_length + 3) // 4 * 4 + 8 * setup[21]
        self.root, self.width, self.height = struct.unpack_from("<I16xHH", setup, screen)
        name = b"DAMAGE"
        answer = self._ask(struct.pack("<BxHHxx6s2x", QUERY_EXTENSION, 4, len(name), name))
        damage = answer[9]
        self._ask(struct.pack("<BBHII", damage, DAMAGE_VERSION, 3, 1, 1))
        create = struct.pack("<BBHIIB3x", damage, DAMAGE_CREATE, 4, first_id, self.root, DAMAGE_RAW)
        self.socket.sendall(create)
        self.await_blank()

    def await_picture(self, limit: float = 10) -> float:
        """The time of the first drawing that leaves something on the screen."""
        deadline = time.monotonic() + limit
        while True:
            if not select.select([self.socket], [], [], deadline - time.monotonic())[0]:
                raise TimeoutError("nothing was painted")
            area = struct.unpack("<16xHHHH8x", self._read(32))
            drawn = time.monotonic()
            if not self._blank(*area):
                return drawn

    def await_blank(self, limit: float = 10) -> None:
        deadline = time.monotonic() + limit
        while not self._blank(0, 0, self.width, self.height):
            if time.monotonic() > deadline:
                raise TimeoutError("the screen is not empty")

    def _blank(self, x: int, y: int, width: int, height: int) -> bool:
        area = struct.pack("<HHHH", x, y, width, height)
        request = struct.pack("<BBHI8sI", GET_IMAGE, Z_PIXMAP, 5, self.root, area, ALL_PLANES)
        return not any(self._ask(request)[32:])

    def _ask(self, request: bytes) -> bytes:
        """The reply to a request; reports of drawing that come before it are of no interest."""
        self.socket.sendall(request)
        while True:
            head = self._read(32)
            if head[0] == REPLY:
                return head + self._read(struct.unpack_from("<4xI", head)[0] * 4)
            if head[0] == 0:
                raise RuntimeError(f"X error {head[1]}")

    def _read(self, size: int) -> bytes:
        data = b""
        while len(data) < size:
            part = self.socket.recv(size - len(data))
            if not part:
                raise ConnectionError("the X server has gone")
            data += part
        return data
