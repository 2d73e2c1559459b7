# SPDX-License-Identifier: MIT
"""Buses by themselves: frames, with blocks, and what is left of a closed one."""
import signal
import threading

import pytest

import quillmark

ASK_FOR_SEED = bytes.fromhex("0227810000000000")
SESSION = bytes.fromhex("0210C00000000000")


@pytest.fixture
def bus():
    made = quillmark.SimulatedBus(quillmark.SimulatedEcu())
    made.select(0x73A, 0x632)
    return made


def test_frames_go_both_ways(bus):
    bus.send(SESSION)
    assert bus.receive(1)[:3] == bytes.fromhex("0250C0")
    assert bus.receive(0.5) is None


def test_a_receive_without_time_takes_what_has_arrived(bus):
    assert bus.receive(0) is None
    bus.send(SESSION)
    bus.wait(1)
    assert bus.receive(0)[:3] == bytes.fromhex("0250C0")


def test_time_passes_while_nothing_comes(bus):
    before = bus.now
    assert bus.receive(2.5) is None
    bus.wait(0.25)
    assert bus.now == pytest.approx(before + 2.75)


@pytest.mark.parametrize("frame", [b"", bytes(9)])
def test_a_can_frame_has_one_to_eight_bytes(bus, frame):
    with pytest.raises(ValueError, match="expected 1 to 8 bytes"):
        bus.send(frame)


def test_a_k_line_is_woken_by_a_break():
    ecu = quillmark.SimulatedEcu("kline")
    bus = quillmark.SimulatedBus(ecu)
    bus.select(0, 0)
    start_communication = bytes.fromhex("8111F18104")
    bus.send(start_communication)
    assert bus.receive(1) is None
    bus.send_break(0.025)
    bus.wait(0.025)
    bus.send(start_communication)
    assert bus.receive(1)[3] == 0xC1


def test_a_can_bus_carries_no_break(bus):
    with pytest.raises(quillmark.BusError):
        bus.send_break(0.025)


@pytest.mark.parametrize("form", ["can", "gateway", "kline"])
def test_a_bus_knows_its_form(form):
    assert quillmark.SimulatedBus(quillmark.SimulatedEcu(form)).form == form


def test_a_with_block_closes_the_bus(bus):
    with bus as inside:
        assert inside is bus
        inside.send(SESSION)
        now = bus.now
    assert bus.now == now
    for use in (
        lambda: bus.select(0x73A, 0x632),
        lambda: bus.send(SESSION),
        lambda: bus.receive(0),
        lambda: bus.wait(0),
        lambda: bus.send_break(0.025),
    ):
        with pytest.raises(quillmark.BusError, match="the bus is closed"):
            use()
    bus.close()


def test_a_programmer_on_a_closed_bus_fails(bus):
    programmer = quillmark.Programmer(bus)
    bus.close()
    with pytest.raises(quillmark.ProgrammingError, match="the bus is closed") as caught:
        programmer.identify()
    assert caught.value.cause == "bus"


def test_a_bus_that_is_closed_during_a_run_goes_on_to_its_end():
    ecu = quillmark.SimulatedEcu()
    bus = quillmark.SimulatedBus(ecu)
    quillmark.Programmer(bus, ecu.key).flash({0: bytes(100)}, progress=lambda progress: bus.close())
    assert ecu.read(0, 100) == bytes(100)
    with pytest.raises(quillmark.BusError):
        bus.receive(0)


def test_an_adapter_that_is_not_there_is_a_bus_error():
    with pytest.raises(quillmark.BusError, match="no-such-adapter"):
        quillmark.open_bus("slcan:no-such-adapter")


def test_what_is_no_bus_is_refused():
    with pytest.raises(ValueError, match="slcan:DEVICE"):
        quillmark.open_bus("canoe:1")


def test_control_c_ends_a_wait_for_a_frame():
    ecu = quillmark.SimulatedEcu(silent=True)
    bus = quillmark.SimulatedBus(ecu)
    bus.select(0x73A, 0x632)
    timer = threading.Timer(0.05, signal.raise_signal, [signal.SIGINT])
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        while True:
            assert bus.receive(2_000_000) is None
    timer.join()


def test_every_limit_of_a_runner_counts(reprog):
    def outcome_of(limits, **misbehaviour):
        runner = quillmark.Runner(quillmark.SimulatedBus(quillmark.SimulatedEcu(**misbehaviour)), **limits)
        runner.run(reprog.StartDiag())
        runner.run(reprog.readseed())
        return runner.outcome

    assert outcome_of({}, pending={0x27: 5}).complete
    assert outcome_of({"max_pending": 4}, pending={0x27: 5}).status == "pending too long"
    assert outcome_of({"pending_limit": 0.5}, pending={0x27: 5}).status == "pending too long"
    assert outcome_of({"p2_star": 0.1}, pending={0x27: 5}).status == "silence"
    assert outcome_of({"p2": 0.001}).status == "silence"
    assert outcome_of({"p2": 3, "max_wait_frames": 0}).complete


@pytest.mark.parametrize("limits", [{"max_pending": -1}, {"max_wait_frames": -1}, {"p2": -1}, {"pending_limit": -1}])
def test_a_limit_below_nothing_is_refused(limits):
    with pytest.raises(ValueError):
        quillmark.Runner(quillmark.SimulatedBus(quillmark.SimulatedEcu()), **limits)


@pytest.mark.parametrize("make", [lambda event: event, lambda event: event.is_set])
def test_a_run_stops_when_it_is_told_to(reprog, make):
    event = threading.Event()
    runner = quillmark.Runner(quillmark.SimulatedBus(quillmark.SimulatedEcu()))
    runner.run(reprog.StartDiag(), stop=make(event))
    assert runner.outcome.complete
    event.set()
    runner.run(reprog.readseed(), stop=make(event))
    assert runner.outcome.status == "stopped"


def test_what_a_stop_function_raises_comes_out_of_the_run(reprog):
    def stop():
        raise LookupError("of the host")

    runner = quillmark.Runner(quillmark.SimulatedBus(quillmark.SimulatedEcu()))
    with pytest.raises(LookupError):
        runner.run(reprog.readseed(), stop=stop)
