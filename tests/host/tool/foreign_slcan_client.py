# SPDX-License-Identifier: MIT
"""python-can's slcan client talks to `quillmark simulate --bus slcan`.

The client comes from elsewhere and knows nothing of this project: what it can read and write, other
tools can. ISO 15765-2 is done here by hand, since the client carries frames alone.
"""

import signal
import subprocess
import sys

import can

REQUEST, REPLY = 0x632, 0x73A
PATIENCE = 20  # seconds, for a machine that is busy elsewhere


def receive(bus):
    frame = bus.recv(PATIENCE)
    assert frame is not None, "the simulated ECU does not answer"
    assert frame.arbitration_id == REPLY and not frame.is_extended_id, frame
    return bytes(frame.data)


def send(bus, data):
    padded = bytes(data).ljust(8, b"\0")
    bus.send(can.Message(arbitration_id=REQUEST, is_extended_id=False, data=padded))


def ask(bus, request):
    """Sends a request of one frame; returns the reply, joined where it has several."""
    send(bus, bytes([len(request)]) + request)
    frame = receive(bus)
    if frame[0] <= 7:
        return frame[1 : 1 + frame[0]]
    length = (frame[0] & 0x0F) << 8 | frame[1]
    message = frame[2:]
    send(bus, b"\x30\x00\x00")
    sequence = 1
    while len(message) < length:
        frame = receive(bus)
        assert frame[0] == 0x20 | sequence & 0x0F, frame.hex()
        message += frame[1:]
        sequence += 1
    return message[:length]


def talk(bus):
    assert ask(bus, b"\x10\xC0") == b"\x50\xC0"
    assert ask(bus, b"\x21\x80") == b"\x61\x80SIMULATED ECU 001 REV A "
    assert ask(bus, b"\x3E") == b"\x7E"
    assert ask(bus, b"\x31\x81\x01") == b"\x7F\x31\x80"
    bus.send(can.Message(arbitration_id=0x12345678, is_extended_id=True, data=b"\1\2"))
    assert ask(bus, b"\x10\x81") == b"\x50\x81"


def main():
    simulator = subprocess.Popen(
        [sys.argv[1], "simulate", "--bus", "slcan"], stdout=subprocess.PIPE, text=True
    )
    try:
        device = simulator.stdout.readline().split()[1]
        for _ in range(2):
            bus = can.Bus(interface="slcan", channel=device, bitrate=500000, sleep_after_open=0)
            talk(bus)
            bus.shutdown()
    finally:
        simulator.send_signal(signal.SIGINT)
    assert simulator.wait(PATIENCE) == 0
    print("a foreign client was served twice")


main()
