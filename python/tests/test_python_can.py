# SPDX-License-Identifier: MIT
"""Buses of python-can: as adapters of a Programmer, and with a simulated ECU behind them."""
import asyncio
import itertools
import subprocess
import sys
import threading

import can
import pytest

import quillmark

IMAGE = {0x8000: bytes(range(100))}
channels = (f"quillmark {number}" for number in itertools.count())


@pytest.fixture
def channel():
    """Two ends of a virtual bus."""
    name = next(channels)
    with can.Bus(name, interface="virtual") as tester, can.Bus(name, interface="virtual") as other:
        yield tester, other


def patient(bus, ecu, **settings):
    """A programmer for a machine that has much else to do."""
    return quillmark.Programmer(quillmark.can_bus(bus), ecu.key, p2=30, **settings)


def test_an_ecu_in_the_same_process_is_flashed(channel):
    ecu = quillmark.SimulatedEcu(erase_time=0, check_time=0)
    with quillmark.EcuServer(ecu, channel[1]):
        result = patient(channel[0], ecu).flash(IMAGE, verify=True)
    assert result.verified_bytes == 100
    assert ecu.read(0x8000, 100) == IMAGE[0x8000]


def test_extended_identifiers_are_extended_frames(channel):
    ecu = quillmark.SimulatedEcu(request_id=0x18DA10F1, reply_id=0x18DAF110)
    with quillmark.EcuServer(ecu, channel[1]):
        assert patient(channel[0], ecu, ids=ecu.canids).identify().text == "SIMULATED ECU 001 REV A"


def test_frames_that_are_none_of_the_exchange_are_left_out(channel):
    adapter = quillmark.can_bus(channel[0])
    adapter.select(0x73A, 0x632)
    for other in (
        can.Message(arbitration_id=0x73B, is_extended_id=False, data=b"1"),
        can.Message(arbitration_id=0x73A, is_extended_id=True, data=b"2"),
        can.Message(arbitration_id=0x73A, is_extended_id=False, is_remote_frame=True),
        can.Message(arbitration_id=0x73A, is_extended_id=False, is_error_frame=True),
        can.Message(arbitration_id=0x73A, is_extended_id=False, is_fd=True, data=b"3"),
        can.Message(arbitration_id=0x73A, is_extended_id=False, data=b"4"),
    ):
        channel[1].send(other)
    assert adapter.receive(30) == b"4"
    assert adapter.receive(0) is None


def test_a_frame_goes_out_as_it_is(channel):
    adapter = quillmark.can_bus(channel[0])
    adapter.select(0x73A, 0x632)
    adapter.send(b"\x02\x27")
    message = channel[1].recv(30)
    assert (message.arbitration_id, message.is_extended_id, bytes(message.data)) == (0x632, False, b"\x02\x27")


def test_an_adapter_that_fails_is_a_failure_of_the_bus(channel):
    class Unplugged:
        def recv(self, timeout=None):
            raise can.CanOperationError("unplugged")

    with pytest.raises(quillmark.ProgrammingError, match="unplugged") as caught:
        quillmark.Programmer(quillmark.can_bus(Unplugged())).identify()
    assert caught.value.cause == "bus"


def test_a_with_block_shuts_the_bus_down():
    class Bus:
        is_open = True

        def shutdown(self):
            self.is_open = False

    bus = Bus()
    with quillmark.can_bus(bus):
        assert bus.is_open
    assert not bus.is_open


def test_a_flash_is_stopped_from_an_event_loop(channel):
    ecu = quillmark.SimulatedEcu(erase_time=0)
    stop = asyncio.Event()

    async def main():
        loop = asyncio.get_running_loop()

        def progress(progress):
            if progress.phase == "download":
                loop.call_soon_threadsafe(stop.set)

        with pytest.raises(quillmark.Cancelled) as caught:
            large = {0: bytes(1_000_000)}
            await asyncio.to_thread(patient(channel[0], ecu).flash, large, progress=progress, stop=stop)
        return caught.value

    with quillmark.EcuServer(ecu, channel[1]):
        assert asyncio.run(main()).memory == "partly written"


def test_a_failure_of_the_server_is_raised_at_the_end_of_its_block():
    failed = threading.Event()

    class Unplugged:
        def recv(self, timeout=None):
            failed.set()
            raise can.CanOperationError("unplugged")

    with pytest.raises(can.CanOperationError), quillmark.EcuServer(quillmark.SimulatedEcu(), Unplugged()):
        failed.wait()


@pytest.mark.parametrize("form", ["gateway", "kline"])
def test_a_server_is_for_plain_can(form, channel):
    with pytest.raises(ValueError, match=form):
        quillmark.EcuServer(quillmark.SimulatedEcu(form), channel[1])


def test_python_can_is_imported_only_where_it_is_used():
    program = "import sys, quillmark; quillmark.Programmer; sys.exit('can' in sys.modules)"
    subprocess.run([sys.executable, "-B", "-c", program], check=True)
