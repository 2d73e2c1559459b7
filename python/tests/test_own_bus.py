# SPDX-License-Identifier: MIT
"""A bus that a Python object is."""
import threading

import can
import pytest

import quillmark

ASK_FOR_SEED = bytes.fromhex("0227810000000000")
SEED = bytes.fromhex("06678111223344AA")


class ScriptedBus:
    """Answers each frame with what it is told, and keeps what it is told to do."""

    def __init__(self, answer):
        self.answer = answer
        self.calls = []
        self.arrived = []

    def select(self, receive, send):
        self.calls.append(("select", receive, send))

    def send(self, frame):
        self.calls.append(("send", frame))
        self.arrived += self.answer()

    def receive(self, timeout):
        return self.arrived.pop(0) if self.arrived else None


def raising(error):
    def answer():
        raise error

    return answer


def test_a_document_runs_on_it(reprog):
    bus = ScriptedBus(lambda: [SEED])
    document = quillmark.Runner(bus).run(reprog.readseed())
    assert bus.calls == [("select", 1850, 1586), ("send", ASK_FOR_SEED)]
    assert reprog.getseed(document) == bytes.fromhex("11223344")


def test_what_came_before_a_request_is_no_answer(reprog):
    bus = ScriptedBus(lambda: [SEED])
    bus.arrived = [b"\x00", b"\x01"]
    assert quillmark.Runner(bus).run(reprog.readseed()).steps()[1].received == SEED


def test_none_is_silence(reprog):
    runner = quillmark.Runner(ScriptedBus(lambda: []))
    runner.run(reprog.readseed())
    assert runner.outcome.status == "silence"


def test_an_os_error_is_a_bus_error(reprog):
    runner = quillmark.Runner(ScriptedBus(raising(ConnectionError("unplugged"))))
    runner.run(reprog.readseed())
    assert runner.outcome.status == "bus error"
    assert "unplugged" in runner.outcome.reason


def test_what_else_it_raises_comes_out_of_the_run(reprog):
    runner = quillmark.Runner(ScriptedBus(raising(LookupError("of the bus"))))
    with pytest.raises(LookupError, match="of the bus"):
        runner.run(reprog.readseed())


def test_a_frame_is_bytes(reprog):
    with pytest.raises(TypeError, match="bytes-like"):
        quillmark.Runner(ScriptedBus(lambda: ["text"])).run(reprog.readseed())


def test_a_k_line_begins_with_its_break():
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(0, 0x11)
    bus = ScriptedBus(lambda: [])
    bus.send_break = lambda seconds: bus.calls.append(("break", seconds))
    quillmark.Runner(bus, "kline").run(reprog.StartDiag())
    assert [call[0] for call in bus.calls] == ["select", "break", "send"]


def test_what_has_not_its_methods_is_no_bus():
    with pytest.raises(TypeError, match="without select"):
        quillmark.Runner(5)


def test_a_runner_reads_a_seed_over_python_can(reprog):
    with can.Bus(interface="virtual", channel="seed") as tester, can.Bus(interface="virtual", channel="seed") as ecu:

        def answer():
            request = ecu.recv(10)
            assert (request.arbitration_id, bytes(request.data)) == (1586, ASK_FOR_SEED)
            for identifier in (0x123, 1850):
                ecu.send(can.Message(arbitration_id=identifier, is_extended_id=False, data=SEED))

        thread = threading.Thread(target=answer)
        thread.start()
        document = quillmark.Runner(quillmark.can_bus(tester)).run(reprog.readseed())
        thread.join()
    assert reprog.getseed(document) == bytes.fromhex("11223344")
