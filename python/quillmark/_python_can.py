# SPDX-License-Identifier: MIT
"""Buses of python-can, which is imported once the first of them is used."""

from __future__ import annotations

import threading
import time

from quillmark._types import BusError

_LAST_STANDARD_IDENTIFIER = 0x7FF


class CanBus:
    """A bus of python-can as a Runner, a Programmer and a TracingBus take it: plain CAN, in real time.

    Closing it, or the end of a with block, shuts the bus of python-can down. Raises BusError where that fails.
    """

    form = "can"

    def __init__(self, bus):
        import can

        self._bus = bus
        self._can = can
        self._receive_id = 0
        self._send_id = 0

    def select(self, receive, send):
        """Says on which identifiers, above 0x7FF extended ones, the following frames are received and sent."""
        self._receive_id = receive
        self._send_id = send

    def send(self, frame):
        """Sends a frame of 1 to 8 bytes."""
        message = self._can.Message(
            arbitration_id=self._send_id, is_extended_id=self._send_id > _LAST_STANDARD_IDENTIFIER, data=frame
        )
        self._do(self._bus.send, message)

    def receive(self, timeout):
        """The next frame of the exchange; None if none comes within so many seconds."""
        deadline = time.monotonic() + timeout
        while (message := self._do(self._bus.recv, max(0.0, deadline - time.monotonic()))) is not None:
            if is_data_frame(message, self._receive_id):
                return bytes(message.data)
        return None

    def close(self):
        """Shuts the bus of python-can down."""
        self._do(self._bus.shutdown)

    def __enter__(self):
        return self

    def __exit__(self, *raised):
        self.close()

    def _do(self, work, *arguments):
        try:
            return work(*arguments)
        except self._can.CanError as error:
            raise BusError(str(error)) from error


def can_bus(bus):
    """A bus of python-can, whatever its adapter, as a Runner and a Programmer take it: can_bus(can.Bus(...)).

    Closing it shuts that bus down.
    """
    return CanBus(bus)


def is_data_frame(message, identifier):
    """Whether a message of python-can is a data frame of classic CAN with this identifier."""
    return (
        message.arbitration_id == identifier
        and message.is_extended_id == (identifier > _LAST_STANDARD_IDENTIFIER)
        and not (message.is_error_frame or message.is_remote_frame or message.is_fd)
    )


class EcuServer:
    """A SimulatedEcu on a bus of python-can, in real time, while a with block lasts; plain CAN.

        with quillmark.EcuServer(ecu, can.Bus("channel", interface="virtual")):
            ...

    It works on a thread of its own. What that thread raises, for example because the bus is gone, is raised at the
    end of the block.
    """

    def __init__(self, ecu, bus):
        if ecu.form != "can":
            raise ValueError(f"ecu: expected one in the form can, found {ecu.form}")
        import can

        self._message = can.Message
        self._ecu = ecu
        self._bus = bus
        self._send_id, self._receive_id = ecu.canids
        self._stop = threading.Event()
        self._raised = None
        self._thread = threading.Thread(target=self._run, name="quillmark ECU", daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *raised):
        self._stop.set()
        self._thread.join()
        if self._raised is not None:
            raise self._raised

    def _run(self):
        try:
            while not self._stop.is_set():
                self._serve()
        except Exception as error:
            self._raised = error

    def _serve(self):
        longest = 0.05
        due = self._ecu._next_due()
        timeout = longest if due is None else min(longest, max(0.0, due - time.monotonic()))
        message = self._bus.recv(timeout)
        if message is not None and is_data_frame(message, self._receive_id):
            self._ecu._on_frame(bytes(message.data), time.monotonic())
        while (due := self._ecu._next_due()) is not None and due <= time.monotonic():
            data = self._ecu._take_frame(time.monotonic())
            is_extended = self._send_id > _LAST_STANDARD_IDENTIFIER
            self._bus.send(self._message(arbitration_id=self._send_id, is_extended_id=is_extended, data=data))


for _public in (CanBus, EcuServer, can_bus):
    _public.__module__ = "quillmark"
