# SPDX-License-Identifier: MIT
"""A runner of plain CAN documents that needs nothing but Python, and the lines by which it is tested:

quillmark conformance --form can /usr/bin/python3 examples/python/runner.py

Your own host has a bus of its own in place of KitBus.
"""
import sys
import xml.etree.ElementTree as ET

# What this runner waits for, in milliseconds and frames.
P2, P2_STAR, PENDING_LIMIT, MAX_PENDING, MAX_WAITS = 1000, 5000, 60_000, 1000, 10


class KitBus:
    """The bus of the kit: each operation is a line, and so is its result."""

    @staticmethod
    def ask(*words: object) -> str:
        print(*words, flush=True)
        answer = sys.stdin.readline().rstrip("\n")
        if not answer or answer.startswith("error"):
            raise OSError(answer)
        return answer

    def select(self, receive: str, send: str) -> None:
        self.ask("select", receive, send)

    def send(self, frame: bytes) -> None:
        self.ask("send", frame.hex())

    def receive(self, time: int) -> bytes | None:
        word, _, frame = self.ask("receive", max(0, time)).partition(" ")
        return bytes.fromhex(frame) if word == "frame" else None

    def wait(self, time: int) -> None:
        self.ask("wait", time)

    def now(self) -> int:
        return int(self.ask("now").partition(" ")[2])


class Failure(Exception):
    """Why a run ends, and the frame that came."""

    def __init__(self, reason: str, frame: bytes = b"") -> None:
        super().__init__(reason)
        self.frame = frame


def milliseconds(code: int) -> int:
    """A separation time of ISO 15765-2; F1 to F9 are hundreds of microseconds."""
    return 1 if 0xF1 <= code <= 0xF9 else code


class Run:
    """One run of one document."""

    def __init__(self, bus: KitBus) -> None:
        self.bus = bus
        self.service = 0
        self.request_left = 0  # bytes of the request that are not sent yet
        self.answer_left = 0  # bytes of the answer that have not come yet
        self.separation = 0
        self.last = b""

    def document(self, root: ET.Element) -> None:
        exchange = root.find("x")
        assert exchange is not None
        identifier, *steps = exchange
        if any(step.find("e") is not None or step.tag == "r" and step.find("d") is not None for step in steps):
            return  # it was run before
        self.bus.select(exchange.get("i", ""), identifier.text or "")
        for step in steps:
            try:
                self.step(step)
            except (Failure, OSError) as failure:
                if step.tag == "r" and isinstance(failure, Failure) and failure.frame:
                    ET.SubElement(step, "d").text = failure.frame.hex().upper()
                ET.SubElement(step, "e").text = str(failure)
                return

    def step(self, step: ET.Element) -> None:
        if step.tag == "s":
            self.send(bytes.fromhex(step.findtext("d", "")))
        elif step.tag == "r":
            frame = self.receive(step.findtext("c", ""))
            ET.SubElement(step, "d").text = frame.hex().upper()
        else:
            self.bus.wait(milliseconds(int(step.text or "")))

    def send(self, frame: bytes) -> None:
        kind = frame[0] >> 4
        if kind < 2:
            self.begin_request(frame)
        elif kind == 2:
            self.bus.wait(self.separation)
            self.request_left -= 7
        self.bus.send(frame)

    def begin_request(self, frame: bytes) -> None:
        while (late := self.bus.receive(0)) is not None:
            if late[1:3] == bytes([0x7F, self.service]) and late[3] != 0x78:
                raise Failure("the request before was refused after its answer")
        single = frame[0] < 0x10
        self.service = frame[1 if single else 2]
        self.request_left = 0 if single else (frame[0] % 16 * 256 + frame[1]) - 6
        self.answer_left = self.separation = 0

    def receive(self, expected: str) -> bytes:
        begun = self.bus.now()
        until = begun + P2
        pendings = waits = 0
        while (frame := self.bus.receive(until - self.bus.now())) is not None:
            as_expected = frame.hex().upper().startswith(expected)
            kind = frame[0] >> 4
            if self.request_left > 0:  # a flow control
                if as_expected:
                    self.separation = milliseconds(frame[2])
                    return frame
                if frame[0] == 0x31 and waits < MAX_WAITS:
                    waits += 1
                    until = self.bus.now() + P2
                elif kind == 3:
                    raise Failure("another flow control", frame)
            elif self.answer_left > 0:  # a consecutive frame
                if kind != 2 or frame == self.last:
                    continue  # of others, or twice
                size = min(7, self.answer_left)
                if not as_expected or len(frame) <= size:
                    raise Failure("a damaged answer", frame)
                self.answer_left -= size
                self.last = frame
                return frame
            else:  # the first frame of the answer
                data = frame[1:1 + frame[0]] if kind == 0 else frame[2:] if kind == 1 else b""
                if data[:2] == bytes([0x7F, self.service]):
                    if data[2] != 0x78 or pendings >= MAX_PENDING or self.bus.now() >= begun + PENDING_LIMIT:
                        raise Failure("refused, or pending for too long", frame)
                    pendings += 1
                    until = self.bus.now() + P2_STAR
                elif data and data[0] == self.service + 0x40:
                    if not as_expected:
                        raise Failure("another answer", frame)
                    if kind == 1:
                        self.answer_left = frame[0] % 16 * 256 + frame[1] - 6
                        self.last = frame
                    return frame
        raise Failure("no frame in time")


def main() -> None:
    for line in sys.stdin:
        _, form, _, text = line.split(" ", 3)  # "run can 1 <?xml …"; 1 is how often a request may be sent
        root = ET.fromstring(text)
        Run(KitBus()).document(root)
        print("done", ET.tostring(root, "unicode"), flush=True)


main()
