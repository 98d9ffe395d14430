"""The monitor's protocol, with a test in the place of the emulator."""

import json
import socket
import threading
import unittest

import places  # noqa: F401  makes the board known

from board.monitor import Gone, Message, Monitor
from rehearsal.stage import StageError


class FakeEmulator(threading.Thread):
    """Greets, then answers each command with the next of the messages it was given."""

    def __init__(self, *answers: list[Message]) -> None:
        super().__init__(daemon=True)
        self.end, self._connection = socket.socketpair()
        self._answers = list(answers)
        self.asked: list[Message] = []
        self.start()

    def run(self) -> None:
        self._connection.sendall(b'{"QMP": {"version": {}}}\r\n')
        for answers in [[{"return": {}}], *self._answers]:
            self.asked.append(json.loads(self._connection.makefile().readline()))
            for answer in answers:
                # in two pieces: messages do not come as they were sent
                text = json.dumps(answer).encode() + b"\r\n"
                self._connection.sendall(text[:5])
                self._connection.sendall(text[5:])
        self._connection.close()


class Protocol(unittest.TestCase):
    def monitor(self, *answers: list[Message]) -> Monitor:
        self.emulator = FakeEmulator(*answers)
        monitor = Monitor(self.emulator.end)
        self.addCleanup(monitor.close)
        return monitor

    def test_command_and_its_answer(self) -> None:
        monitor = self.monitor([{"return": {"running": True}}])
        self.assertEqual(monitor.do("query-status"), {"running": True})
        self.assertEqual([words["execute"] for words in self.emulator.asked], ["qmp_capabilities", "query-status"])

    def test_arguments_have_dashes(self) -> None:
        self.monitor([{"return": {}}]).do("blockdev-add", node_name="stick1")
        self.assertEqual(self.emulator.asked[-1]["arguments"], {"node-name": "stick1"})

    def test_error_is_told(self) -> None:
        with self.assertRaisesRegex(StageError, "device_add: no such bus"):
            self.monitor([{"error": {"desc": "no such bus"}}]).do("device_add")

    def test_event_before_an_answer_is_kept(self) -> None:
        event = {"event": "SHUTDOWN", "data": {"reason": "guest-reset"}}
        monitor = self.monitor([event, {"return": {}}])
        monitor.do("stop")
        self.assertEqual(monitor.events(), [event])
        self.assertEqual(monitor.events(), [])

    def test_event_that_is_waited_for(self) -> None:
        monitor = self.monitor([{"return": {}}, {"event": "OTHER"}, {"event": "DEVICE_DELETED"}])
        monitor.do("device_del")
        self.assertEqual(monitor.await_event("DEVICE_DELETED", 10.0), {"event": "DEVICE_DELETED"})
        self.assertEqual(monitor.events(), [{"event": "OTHER"}])

    def test_end_of_the_emulator(self) -> None:
        monitor = self.monitor()
        self.emulator.join()
        with self.assertRaises(Gone):
            monitor.do("screendump")


if __name__ == "__main__":
    unittest.main()
