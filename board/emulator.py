"""The ARM board as a process: powered on when the object is made, cut off when it is killed."""

import math
import os
import signal
import socket
import subprocess
import time
from contextlib import suppress
from dataclasses import dataclass
from pathlib import Path

from PIL import Image

from board.monitor import Gone, Message, Monitor
from rehearsal.leash import Leash
from rehearsal.lines import Lines

MEMORY = 128  # MiB
TABLET_RANGE = 32767
FINGER_RESTS = 0.12  # seconds on the screen
UNPLUGS_WITHIN = 60.0
MEDIUM_PARAMETER = "board.medium=/dev/vda"
COMMAND_LINE = "console=ttyAMA0 quiet loglevel=1 vt.global_cursor_default=0 logo.nologo"


@dataclass(frozen=True)
class Machine:
    """What a board is put together from."""

    kernel: Path
    initrd: Path
    storage: Path  # the internal one, as a file
    size: tuple[int, int]  # of the screen
    scratch: Path
    parameters: str = ""  # of the kernel, besides those that every start has
    medium: Path | None = None  # what a blank board starts from
    cache: Path | None = None  # the socket of a server that plays a storage with a volatile cache


class Emulator:
    """A board under power. It ends by itself when the instrument restarts: `restarted` then, and whoever
    wants to see it come back powers on another on the same storage."""

    def __init__(self, machine: Machine, leash: Leash):
        self._machine = machine
        self.restarted = False
        self._shot = machine.scratch / "screen.ppm"
        self._lift_at: float | None = None
        self._finger = (0, 0)
        self._sticks = 0
        ours, theirs = zip(*(socket.socketpair() for _ in range(3)))
        console, journal, monitor = (end.fileno() for end in theirs)
        self.errors_log = machine.scratch / "emulator.log"
        with self.errors_log.open("ab") as errors:
            self._process = subprocess.Popen(
                self._command(console, journal, monitor),
                stdin=subprocess.DEVNULL,
                stdout=errors,
                stderr=errors,
                pass_fds=[console, journal, monitor, leash.end],
                start_new_session=True,
            )
        for end in theirs:
            end.close()
        self._console_end, self._journal_end, monitor_end = ours
        self.console, self.journal = Lines(self._console_end.fileno()), Lines(self._journal_end.fileno())
        self._exited = os.pidfd_open(self._process.pid)
        self._monitor = Monitor(monitor_end)

    def descriptors(self) -> list[int]:
        pipes = [lines.pipe for lines in (self.console, self.journal) if not lines.ended]
        return [*pipes, self._exited, *([] if self.ended() is not None else [self._monitor.fileno()])]

    def ended(self) -> int | None:
        """The emulator's exit status; None while it is under power."""
        return self._process.poll()

    def worked(self) -> float:
        """Seconds of processor time that it has taken, whatever else this machine is busy with."""
        try:
            fields = Path(f"/proc/{self._process.pid}/stat").read_text().rpartition(")")[2].split()
        except OSError:
            return math.inf
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def turn(self) -> None:
        """Does what is due, and looks at what has happened."""
        if self.ended() is None and self._lift_at is not None and time.monotonic() >= self._lift_at:
            self._lift_at = None
            with suppress(Gone):
                self._monitor.do("input-send-event", events=[button(False)])
        for event in self._monitor.events():
            self._happened(event)

    def type(self, text: str) -> None:
        self._console_end.sendall(text.encode())

    def let_go(self) -> None:
        self._journal_end.send(b"g")

    def picture(self) -> Image.Image:
        self._monitor.do("screendump", filename=str(self._shot))
        with Image.open(self._shot) as image:
            return image.convert("RGB")

    def touch(self, x: int, y: int) -> None:
        """Puts a finger there; it is lifted by a later turn()."""
        width, height = self._machine.size
        self._monitor.do(
            "input-send-event",
            events=[
                position("x", x * TABLET_RANGE // (width - 1)),
                position("y", y * TABLET_RANGE // (height - 1)),
                button(True),
            ],
        )
        self._lift_at = time.monotonic() + FINGER_RESTS

    def plug(self, image: Path) -> None:
        self._sticks += 1
        name = f"stick{self._sticks}"
        self._monitor.do("blockdev-add", driver="raw", node_name=name, file={"driver": "file", "filename": str(image)})
        self._monitor.do("device_add", driver="usb-storage", drive=name, id=f"device-{name}", bus="usb.0")

    def pull(self) -> None:
        name = f"stick{self._sticks}"
        self._monitor.do("device_del", id=f"device-{name}")
        self._monitor.await_event("DEVICE_DELETED", UNPLUGS_WITHIN)
        self._monitor.do("blockdev-del", node_name=name)

    def freeze(self) -> None:
        """Stops time on the board, so that its storage can be read as it is."""
        self._monitor.do("stop")

    def thaw(self) -> None:
        self._monitor.do("cont")

    def halt(self) -> None:
        """Stops the emulator itself: what the board has not flushed stays so, which freeze() would flush."""
        self._process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self._process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)

    def go_on(self) -> None:
        self._process.send_signal(signal.SIGCONT)

    def cut(self) -> None:
        """Takes the power away, at once."""
        self._process.kill()
        self._process.wait()

    def close(self) -> None:
        self.cut()
        self._monitor.close()
        os.close(self._exited)
        for end in (self._console_end, self._journal_end):
            end.close()

    def _happened(self, event: Message) -> None:
        if event.get("event") == "SHUTDOWN" and event["data"].get("reason") == "guest-reset":
            self.restarted = True

    def _command(self, console: int, journal: int, monitor: int) -> list[str]:
        machine = self._machine
        width, height = machine.size
        return [
            "qemu-system-arm",
            "-M",
            "virt,highmem=off",
            "-cpu",
            "cortex-a15",
            "-accel",
            "tcg,tb-size=64",
            "-smp",
            "1",
            "-m",
            str(MEMORY),
            "-nodefaults",
            "-no-user-config",
            "-display",
            "none",
            "-no-reboot",
            "-kernel",
            str(machine.kernel),
            "-initrd",
            str(machine.initrd),
            "-append",
            f"{COMMAND_LINE} {machine.parameters} {MEDIUM_PARAMETER if machine.medium else ''}".strip(),
            "-device",
            f"virtio-gpu-pci,xres={width},yres={height}",
            *self._storage(),
            *self._medium(),
            "-device",
            "qemu-xhci,id=usb",
            "-device",
            "virtio-tablet-pci",
            "-device",
            "virtio-rng-pci",
            "-chardev",
            f"socket,id=console,fd={console}",
            "-serial",
            "chardev:console",
            "-device",
            "virtio-serial-pci",
            "-chardev",
            f"socket,id=journal,fd={journal}",
            "-device",
            "virtserialport,chardev=journal,name=journal",
            "-chardev",
            f"socket,id=monitor,fd={monitor}",
            "-mon",
            "chardev=monitor,mode=control",
        ]

    def _medium(self) -> list[str]:
        if not self._machine.medium:
            return []
        return [
            "-drive",
            f"if=none,id=medium,format=raw,readonly=on,file={self._machine.medium}",
            "-device",
            "virtio-blk-pci,drive=medium",
        ]

    def _storage(self) -> list[str]:
        """A card that writes through, or a disk that is told when to flush; the bootloader gives it the card's name."""
        if self._machine.cache is None:
            return [
                "-drive",
                f"if=none,id=card,format=raw,cache=unsafe,file={self._machine.storage}",
                "-device",
                "sdhci-pci",
                "-device",
                "sd-card,drive=card",
            ]
        server = f"file.driver=nbd,file.server.type=unix,file.server.path={self._machine.cache}"
        return ["-drive", f"if=none,id=card,format=raw,{server}", "-device", "virtio-blk-pci,drive=card"]


def position(axis: str, value: int) -> Message:
    return {"type": "abs", "data": {"axis": axis, "value": value}}


def button(down: bool) -> Message:
    return {"type": "btn", "data": {"button": "left", "down": down}}
