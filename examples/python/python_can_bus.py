# SPDX-License-Identifier: MIT
"""Your own bus: any adapter that python-can knows.

python_can_bus.py INTERFACE CHANNEL [BITRATE] opens a session and reads a seed. An interface that sets the bit rate
of its adapter, such as slcan, needs it.
"""
import sys
import time

import can

import quillmark


class PythonCanBus:
    """Exchanges the frames of a Runner over a python-can bus, plain CAN only."""

    def __init__(self, bus: can.BusABC) -> None:
        self.bus = bus
        self.receive_id = 0
        self.send_id = 0

    def select(self, receive: int, send: int) -> None:
        self.receive_id = receive
        self.send_id = send

    def send(self, frame: bytes) -> None:
        is_extended = self.send_id > 0x7FF
        self.bus.send(can.Message(arbitration_id=self.send_id, is_extended_id=is_extended, data=frame))

    def receive(self, timeout: float) -> bytes | None:
        deadline = time.monotonic() + timeout
        while (message := self.bus.recv(max(0.0, deadline - time.monotonic()))) is not None:
            if message.arbitration_id == self.receive_id:
                return bytes(message.data)
        return None


def main() -> None:
    interface, channel, *bit_rate = sys.argv[1:]
    settings = {"bitrate": int(bit_rate[0])} if bit_rate else {}
    with can.Bus(channel, interface=interface, **settings) as bus:
        runner = quillmark.Runner(PythonCanBus(bus))
        reprog = quillmark.DiagOnCANReprog()
        reprog.CANIDs(0x73A, 0x632)
        reprog.gethisto(runner.run(reprog.StartDiag()))
        print("seed", reprog.getseed(runner.run(reprog.readseed())).hex())
        runner.run(reprog.stopcomm())


if __name__ == "__main__":
    main()
