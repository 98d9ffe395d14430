"""A connection to an X server that can do two things: say when the screen changed, and take its picture.

Written against the protocol itself, since a command started for every picture is slower than the
screen changes: a step's screen may last for a few hundredths of a second.
"""

import socket
import struct

QUERY_EXTENSION, GET_IMAGE = 98, 73
GET_ATTRIBUTES, QUERY_TREE, GET_PROPERTY = 3, 15, 20
VIEWABLE, ANY_TYPE, TITLE = 2, 0, 39
DAMAGE_QUERY_VERSION, DAMAGE_CREATE, DAMAGE_SUBTRACT = 0, 1, 3
REPORT_NON_EMPTY = 3
Z_PIXMAP = 2
ERROR, REPLY = 0, 1


class RequestError(ConnectionError):
    """The X server could not do what was asked of it."""


class XConnection:
    """The root window of the display with the given number, as long as the object is not closed."""

    def __init__(self, number: int, timeout: float = 30.0):
        self.damaged = True  # nothing has been seen of the screen yet
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.settimeout(timeout)
        self._socket.connect(f"/tmp/.X11-unix/X{number}")
        self._open()
        self._watch_damage()

    def fileno(self) -> int:
        return self._socket.fileno()

    def close(self) -> None:
        self._socket.close()

    def read_events(self) -> None:
        """Takes what has arrived, at least one message; `damaged` tells what it meant."""
        self._read_message()

    def picture(self) -> bytes:
        """The whole screen as it is now: four bytes a pixel, blue, green, red and one unused."""
        self.damaged = False
        self._send(self._damage_opcode, DAMAGE_SUBTRACT, struct.pack("<III", self._damage, 0, 0))
        self._send(GET_IMAGE, Z_PIXMAP, struct.pack("<IhhHHI", self._root, 0, 0, self.width, self.height, 0xFFFFFFFF))
        return self._reply()[32:32 + self.width * self.height * 4]

    def top_window(self) -> tuple[int, str]:
        """The window in front: its number and title; 0 if there is none, or if it has just gone."""
        try:
            self._send(QUERY_TREE, 0, struct.pack("<I", self._root))
            reply = self._reply()
            count, = struct.unpack_from("<H", reply, 16)
            shown = (window for window in reversed(struct.unpack_from(f"<{count}I", reply, 32)) if self._shows(window))
            window = next(shown, 0)
            return window, self._title(window) if window else ""
        except RequestError:
            return 0, ""

    def _shows(self, window: int) -> bool:
        self._send(GET_ATTRIBUTES, 0, struct.pack("<I", window))
        return self._reply()[26] == VIEWABLE

    def _title(self, window: int) -> str:
        self._send(GET_PROPERTY, 0, struct.pack("<IIIII", window, TITLE, ANY_TYPE, 0, 256))
        reply = self._reply()
        length, = struct.unpack_from("<I", reply, 16)
        return reply[32:32 + length].decode(errors="replace")

    def _open(self) -> None:
        self._socket.sendall(struct.pack("<BxHHHHxx", ord("l"), 11, 0, 0, 0))
        status, length = struct.unpack("<BxxxxxH", self._receive(8))
        setup = self._receive(length * 4)
        if status != 1:
            raise ConnectionError("the X server refused the connection")
        self._next_id, = struct.unpack_from("<I", setup, 4)
        vendor_length, = struct.unpack_from("<H", setup, 16)
        screen = 32 + (vendor_length + 3) // 4 * 4 + setup[21] * 8
        self._root, = struct.unpack_from("<I", setup, screen)
        self.width, self.height = struct.unpack_from("<HH", setup, screen + 20)
        if setup[screen + 38] != 24:
            raise ConnectionError("the X server's screen is not 24 bits deep")

    def _watch_damage(self) -> None:
        self._send(QUERY_EXTENSION, 0, struct.pack("<Hxx", 6) + b"DAMAGE\0\0")
        present, self._damage_opcode, self._damage_event = struct.unpack_from("<BBB", self._reply(), 8)
        if not present:
            raise ConnectionError("the X server cannot report changes of its screen")
        self._send(self._damage_opcode, DAMAGE_QUERY_VERSION, struct.pack("<II", 1, 1))
        self._reply()
        self._damage = self._next_id
        self._send(self._damage_opcode, DAMAGE_CREATE,
                   struct.pack("<IIBxxx", self._damage, self._root, REPORT_NON_EMPTY))

    def _send(self, opcode: int, detail: int, body: bytes) -> None:
        self._socket.sendall(struct.pack("<BBH", opcode, detail, 1 + len(body) // 4) + body)

    def _reply(self) -> bytes:
        """The next reply; events that come before it are taken."""
        while (message := self._read_message()) is None:
            pass
        return message

    def _read_message(self) -> bytes | None:
        head = self._receive(32)
        if head[0] == ERROR:
            raise RequestError(f"the X server reported error {head[1]}")
        if head[0] == REPLY:
            return head + self._receive(struct.unpack_from("<I", head, 4)[0] * 4)
        if head[0] & 0x7F == self._damage_event:
            self.damaged = True
        return None

    def _receive(self, size: int) -> bytes:
        data = bytearray(size)
        view, received = memoryview(data), 0
        while received < size:
            count = self._socket.recv_into(view[received:])
            if count == 0:
                raise ConnectionError("the X server went away")
            received += count
        return bytes(data)
