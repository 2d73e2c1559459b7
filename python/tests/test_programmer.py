# SPDX-License-Identifier: MIT
"""Whole sessions in one call each: what they do, tell and ask, and how they end."""
import asyncio
import logging
import os
import signal
import threading
import time

import pytest

import quillmark

FORMS = ["can", "gateway", "kline"]
IMAGE = {0x8000: bytes(range(1, 251)) * 2, 0x9000: b"second"}
SEED_SERVICE = 0x27
WRITE_SERVICE = 0x36


def programmer_of(ecu, *, wire=None, key=None, **settings):
    bus = quillmark.SimulatedBus(ecu, **(wire or {}))
    return quillmark.Programmer(bus, key or ecu.key, **settings)


class Recorder:
    """Keeps every Progress; stops in a phase, once a share of its bytes is done."""

    def __init__(self, stop_in=None, share=0.0):
        self.seen = []
        self.stop_in = stop_in
        self.share = share
        self.event = threading.Event()

    def __call__(self, progress):
        self.seen.append(progress)
        if progress.phase == self.stop_in and progress.bytes_done >= self.share * progress.bytes_total:
            self.event.set()

    @property
    def phases(self):
        return list(dict.fromkeys(progress.phase for progress in self.seen))


@pytest.mark.parametrize("form", FORMS)
def test_flash_verifies_in_one_call(form):
    ecu = quillmark.SimulatedEcu(form)
    result = programmer_of(ecu).flash(IMAGE, verify=True)
    assert ecu.read(0x8000, 500) == IMAGE[0x8000]
    assert ecu.read(0x9000, 6) == b"second"
    assert (result.image_bytes, result.sent_bytes, result.verified_bytes) == (506, 506, 506)
    assert result.identification.text == "SIMULATED ECU 001 REV A"
    assert 0 < result.download_seconds < result.seconds
    assert not result.log_record_is_unanswered


@pytest.mark.parametrize("form", FORMS)
def test_what_was_flashed_reads_back_and_verifies(form):
    ecu = quillmark.SimulatedEcu(form)
    programmer = programmer_of(ecu)
    programmer.flash(IMAGE)
    assert programmer.read([(0x8000, 500), (0x9000, 6)]) == quillmark.MemoryImage(IMAGE)
    assert programmer.verify(IMAGE).verified_bytes == 506


def test_identify_needs_no_key():
    ecu = quillmark.SimulatedEcu()
    identification = quillmark.Programmer(quillmark.SimulatedBus(ecu)).identify()
    assert identification.record == b"SIMULATED ECU 001 REV A "
    assert identification.entries[0].history.startswith(b"HISTORY 0")


def test_a_record_that_is_no_text_is_shown_in_hexadecimal():
    assert quillmark.Identification(b"\x01\xfe  \0", []).text == "01FE"


def test_the_settings_reach_the_ecu():
    ecu = quillmark.SimulatedEcu(
        request_id=0x18DA10F1, reply_id=0x18DAF110, memory=3, check_routine=9, flow_control=(4, 2)
    )
    record = b"BY A TEST".ljust(48)
    programmer = programmer_of(
        ecu, ids=(0x18DAF110, 0x18DA10F1), memory=3, check_routine=9, flow_control=(4, 2), log_record=record, block=32
    )
    result = programmer.flash({0: bytes(32) + b"\xff" * 64 + bytes(32)})
    assert (result.image_bytes, result.sent_bytes) == (128, 64)
    assert ecu.blocks_written == 2
    assert programmer.identify().entries[0].history == record[:24]


def test_no_log_record_leaves_the_history_as_it_is():
    ecu = quillmark.SimulatedEcu()
    programmer = programmer_of(ecu, log_record=None)
    programmer.flash(IMAGE)
    assert programmer.identify().entries[0].history.startswith(b"HISTORY 0")


def test_a_download_adapts_to_the_flow_control_unless_it_is_fixed():
    ecu = quillmark.SimulatedEcu(flow_control=(8, 1))
    with pytest.raises(quillmark.ProgrammingError, match="block size 8"):
        programmer_of(ecu, flow_control=(1, 0)).flash(IMAGE)
    assert programmer_of(ecu).flash(IMAGE).image_bytes == 506


@pytest.mark.parametrize(
    "setting",
    [
        {"ids": (0, 1)},
        {"ids": (5, 5)},
        {"form": "lin"},
        {"form": "gateway", "address": 0x11},
        {"block": 0},
        {"form": "gateway", "block": 248},
        {"align": 0},
        {"fill": 256},
        {"memory": -1},
        {"flow_control": (256, 0)},
        {"log_record": b"short"},
        {"expect_ecu": "  "},
        {"p2": -1},
        {"repeat": -1},
        {"max_pending": -1},
    ],
)
def test_a_setting_that_cannot_work_is_refused_at_once(setting):
    with pytest.raises(ValueError):
        programmer_of(quillmark.SimulatedEcu(), **setting)


def test_progress_comes_with_every_request():
    ecu = quillmark.SimulatedEcu()
    record = Recorder()
    programmer_of(ecu, block=16).flash({0: bytes(160)}, verify=True, progress=record)
    download = [progress.bytes_done for progress in record.seen if progress.phase == "download"]
    assert download == list(range(0, 161, 16))
    assert record.phases == ["identify", "unlock", "erase", "download", "check", "verify", "log zone", "close"]
    assert [progress.memory for progress in record.seen][-1] == "checked"


@pytest.mark.parametrize("form", FORMS)
def test_stop_ends_a_download_at_half(form):
    ecu = quillmark.SimulatedEcu(form)
    record = Recorder("download", 0.5)
    with pytest.raises(quillmark.Cancelled) as caught:
        programmer_of(ecu, block=20).flash({0: bytes(400)}, progress=record, stop=record.event)
    error = caught.value
    assert (error.phase, error.cause, error.memory) == ("download", "cancelled", "partly written")
    assert (error.written_bytes, error.image_bytes) == (200, 400)
    assert ecu.blocks_written == 10
    assert not error.session_open
    assert "flash the whole image again" in error.advice
    assert "200 of 400 bytes" in error.state
    assert programmer_of(ecu).flash({0: bytes(400)}).sent_bytes == 400


def test_stop_may_be_a_function():
    record = Recorder("erase")
    with pytest.raises(quillmark.Cancelled):
        programmer_of(quillmark.SimulatedEcu()).flash(IMAGE, progress=record, stop=record.event.is_set)


class SilentBus:
    """An adapter with nobody behind it, in real time. It knows for how long it was still asked for the answer to its
    first request after a stop; the next request closes the session.
    """

    def __init__(self):
        self.stop = threading.Event()
        self.waiting = threading.Event()
        self.requests = 0
        self.waited_since_stop = 0.0

    def select(self, receive, send):
        pass

    def send(self, frame):
        self.requests += 1

    def receive(self, timeout):
        if timeout > 0:
            self.waiting.set()
        if self.stop.is_set() and self.requests == 1:
            self.waited_since_stop += timeout
        time.sleep(timeout)
        return None

    def programmer(self):
        return quillmark.Programmer(self, p2=3600)


def test_stop_from_another_thread_is_noticed_while_an_answer_is_awaited():
    bus = SilentBus()

    def stop():
        bus.waiting.wait()
        bus.stop.set()

    thread = threading.Thread(target=stop)
    thread.start()
    with pytest.raises(quillmark.Cancelled):
        bus.programmer().identify(stop=bus.stop)
    thread.join()
    assert bus.waited_since_stop <= 2


def test_stop_from_an_event_loop_is_noticed_while_an_answer_is_awaited():
    bus = SilentBus()

    async def main():
        call = asyncio.create_task(asyncio.to_thread(bus.programmer().identify, stop=bus.stop))
        await asyncio.to_thread(bus.waiting.wait)
        bus.stop.set()
        with pytest.raises(quillmark.Cancelled):
            await call

    asyncio.run(main())
    assert bus.waited_since_stop <= 2


def test_control_c_comes_out_with_what_it_leaves():
    bus = SilentBus()

    def interrupt():
        bus.waiting.wait()
        os.kill(os.getpid(), signal.SIGINT)

    thread = threading.Thread(target=interrupt)
    thread.start()
    with pytest.raises(KeyboardInterrupt) as caught:
        bus.programmer().identify()
    thread.join()
    assert caught.value.__context__.memory == "untouched"


class Trouble(Exception):
    pass


def raise_trouble(*_):
    raise Trouble("of the host")


def raise_in_download(progress):
    if progress.phase == "download":
        raise_trouble()


@pytest.mark.parametrize(
    ("callbacks", "memory"),
    [
        ({"progress": raise_in_download}, "partly written"),
        ({"stop": raise_trouble}, "untouched"),
        ({"confirm": raise_trouble}, "untouched"),
        ({"backup": raise_trouble}, "untouched"),
    ],
)
def test_an_exception_of_a_callback_comes_out_as_it_is(callbacks, memory):
    ecu = quillmark.SimulatedEcu()
    with pytest.raises(Trouble, match="of the host") as caught:
        programmer_of(ecu).flash(IMAGE, **callbacks)
    context = caught.value.__context__
    assert isinstance(context, quillmark.ProgrammingError)
    assert (context.memory, context.session_open) == (memory, False)
    assert programmer_of(ecu).flash(IMAGE).image_bytes == 506


def test_an_exception_of_the_key_function_comes_out_as_it_is():
    with pytest.raises(Trouble) as caught:
        programmer_of(quillmark.SimulatedEcu(), key=raise_trouble).read([(0, 1)])
    assert caught.value.__context__.cause == "key"


def test_a_key_is_bytes():
    with pytest.raises(TypeError, match="bytes-like"):
        programmer_of(quillmark.SimulatedEcu(), key=lambda seed: "text").read([(0, 1)])


def test_without_a_key_function_what_needs_a_key_says_so():
    with pytest.raises(ValueError, match="Programmer needs a function"):
        quillmark.Programmer(quillmark.SimulatedBus(quillmark.SimulatedEcu())).read([(0, 1)])


def test_a_key_that_is_not_ready_is_asked_for_again():
    ecu = quillmark.SimulatedEcu()
    seeds = []

    def key(seed):
        seeds.append(seed)
        return ecu.key(seed) if len(seeds) == 3 else None

    assert programmer_of(ecu, key=key).read([(0, 1)]).size == 1
    assert len(seeds) == 3 and len(set(seeds)) == 1


def test_confirm_is_asked_before_anything_is_changed():
    ecu = quillmark.SimulatedEcu()
    answers = [None, None, False]
    seen = []

    def confirm(identification):
        seen.append(identification.text)
        return answers.pop(0)

    with pytest.raises(quillmark.Cancelled) as caught:
        programmer_of(ecu).flash(IMAGE, confirm=confirm)
    assert caught.value.memory == "untouched"
    assert seen == ["SIMULATED ECU 001 REV A"] * 3
    assert ecu.blocks_written == 0
    programmer_of(ecu).flash(IMAGE, confirm=lambda identification: True)
    assert ecu.blocks_written > 0


def test_a_backup_is_what_the_image_replaces():
    ecu = quillmark.SimulatedEcu()
    kept = []
    programmer_of(ecu).flash(IMAGE, backup=kept.append)
    assert kept == [quillmark.MemoryImage({0x8000: b"\x5a" * 500, 0x9000: b"\x5a" * 6})]


def test_a_backup_goes_into_a_new_file(tmp_path):
    ecu = quillmark.SimulatedEcu()
    path = tmp_path / "before.hex"
    programmer_of(ecu).flash(IMAGE, backup=path)
    assert quillmark.MemoryImage.from_file(path).joined() == {0x8000: b"\x5a" * 500, 0x9000: b"\x5a" * 6}
    before = path.read_bytes()
    with pytest.raises(FileExistsError):
        programmer_of(ecu).flash(IMAGE, backup=str(path))
    assert path.read_bytes() == before


def test_a_backup_file_that_is_not_needed_is_not_left_behind(tmp_path):
    ecu = quillmark.SimulatedEcu()
    with pytest.raises(quillmark.Cancelled):
        programmer_of(ecu).flash(IMAGE, confirm=lambda _: False, backup=tmp_path / "before.hex")
    assert list(tmp_path.iterdir()) == []


def test_the_advice_names_the_backup(tmp_path):
    path = tmp_path / "before.hex"
    record = Recorder("download")
    with pytest.raises(quillmark.Cancelled) as caught:
        programmer_of(quillmark.SimulatedEcu()).flash(IMAGE, backup=path, progress=record, stop=record.event)
    assert str(path) in caught.value.advice


@pytest.mark.parametrize("expected", ["SIMULATED ECU 001 REV A", b"SIMULATED ECU 001 REV A \0"])
def test_the_expected_ecu_is_accepted(expected):
    assert programmer_of(quillmark.SimulatedEcu(), expect_ecu=expected).flash(IMAGE).image_bytes == 506


def test_another_ecu_than_the_expected_one_is_refused():
    ecu = quillmark.SimulatedEcu()
    with pytest.raises(quillmark.WrongEcu, match="expected the ECU OTHER, found SIMULATED ECU") as caught:
        programmer_of(ecu, expect_ecu="OTHER").flash(IMAGE)
    assert (caught.value.phase, caught.value.cause, caught.value.memory) == ("identify", "wrong ECU", "untouched")
    assert ecu.blocks_written == 0


class BatteryBus:
    """An adapter that knows the voltage of the battery."""

    def __init__(self, bus, volts):
        self.select, self.send, self.receive = bus.select, bus.send, bus.receive
        self.battery_voltage = volts


def test_a_battery_that_is_too_low_is_refused_before_anything_is_changed():
    ecu = quillmark.SimulatedEcu()
    bus = BatteryBus(quillmark.SimulatedBus(ecu), 11.4)
    with pytest.raises(quillmark.LowBattery, match="at least 11.5 V, found 11.4 V") as caught:
        quillmark.Programmer(bus, ecu.key).flash(IMAGE, min_voltage=11.5)
    assert (caught.value.cause, caught.value.memory) == ("battery", "untouched")
    assert ecu.blocks_written == 0


def test_a_battery_that_suffices_is_no_obstacle():
    ecu = quillmark.SimulatedEcu()
    bus = BatteryBus(quillmark.SimulatedBus(ecu), 11.5)
    with pytest.raises(quillmark.Cancelled):
        quillmark.Programmer(bus, ecu.key).flash(IMAGE, min_voltage=11.5, confirm=lambda identification: False)


def test_a_bus_that_knows_no_voltage_is_refused_where_one_is_demanded():
    ecu = quillmark.SimulatedEcu()
    assert quillmark.SimulatedBus(ecu).battery_voltage is None
    with pytest.raises(quillmark.LowBattery, match="this bus cannot tell"):
        programmer_of(ecu).flash(IMAGE, min_voltage=11.5)
    assert ecu.blocks_written == 0


def test_silence_is_no_answer():
    with pytest.raises(quillmark.NoAnswer) as caught:
        programmer_of(quillmark.SimulatedEcu(silent=True), repeat=0).flash(IMAGE)
    error = caught.value
    assert (error.phase, error.cause, error.memory, error.response_code) == ("identify", "silence", "untouched", None)
    assert "wiring" in error.advice


def test_a_negative_response_has_its_code():
    ecu = quillmark.SimulatedEcu(refused={0x31: 0x22})
    with pytest.raises(quillmark.Refused) as caught:
        programmer_of(ecu).flash(IMAGE)
    error = caught.value
    assert (error.phase, error.response_code, error.service) == ("erase", 0x22, 0x31)
    assert error.number != 0 and str(error.number) in str(error)


def test_a_block_that_fails_has_its_address():
    ecu = quillmark.SimulatedEcu(bad_checksum_at_block=2)
    with pytest.raises(quillmark.ProgrammingError) as caught:
        programmer_of(ecu, block=64, repeat=0).flash(IMAGE)
    assert (caught.value.phase, caught.value.address) == ("download", 0x8040)


def test_memory_that_differs_is_listed():
    ecu = quillmark.SimulatedEcu(bad_cells={0x8002}, blind_check=True)
    with pytest.raises(quillmark.VerificationFailed) as caught:
        programmer_of(ecu).flash({0x8000: bytes(8)}, verify=True)
    assert caught.value.differences == [quillmark.Difference(0x8002, 0, 0xFF)]
    assert caught.value.different_bytes == 1
    assert caught.value.memory == "checked"


@pytest.mark.parametrize("image", [{}, {0xFFFFFF: b"12"}, {-1: b"1"}])
def test_an_image_that_no_ecu_can_hold_is_refused_before_anything_is_sent(image):
    with pytest.raises(quillmark.ProgrammingError) as caught:
        programmer_of(quillmark.SimulatedEcu(silent=True)).flash(image)
    assert (caught.value.phase, caught.value.cause) == ("prepare", "argument")


def test_every_failure_has_one_base_class():
    for error in (
        quillmark.Cancelled,
        quillmark.NoAnswer,
        quillmark.Refused,
        quillmark.VerificationFailed,
        quillmark.WrongEcu,
        quillmark.LowBattery,
    ):
        assert issubclass(error, quillmark.ProgrammingError)
    assert not issubclass(quillmark.ProgrammingError, (quillmark.Error, OSError))


@pytest.mark.parametrize(
    ("misbehaviour", "wire"),
    [
        ({"pending": {WRITE_SERVICE: 3, SEED_SERVICE: 2}}, {}),
        ({"busy": {SEED_SERVICE: 2}}, {}),
        ({"write_once": True}, {}),
        ({}, {"lost_frame": 60}),
        ({}, {"lost_every": 101}),
        ({}, {"flipped_frame": 60}),
        ({}, {"bit_rate": 125_000}),
    ],
)
def test_a_flash_survives_what_can_be_repeated(misbehaviour, wire):
    ecu = quillmark.SimulatedEcu(**misbehaviour)
    assert programmer_of(ecu, wire=wire).flash(IMAGE, verify=True).verified_bytes == 506


@pytest.mark.parametrize(
    ("misbehaviour", "wire", "cause"),
    [
        ({"refuses_key": True}, {}, "unexpected reply"),
        ({"bad_cells": {0x8001}}, {}, "unexpected reply"),
        ({"pending": {SEED_SERVICE: 2000}}, {}, "still busy"),
        ({}, {"silent_from": 60}, "silence"),
        ({}, {"unplugged_at": 60}, "bus"),
    ],
)
def test_a_flash_says_what_it_did_not_survive(misbehaviour, wire, cause):
    with pytest.raises(quillmark.ProgrammingError) as caught:
        programmer_of(quillmark.SimulatedEcu(**misbehaviour), wire=wire).flash(IMAGE)
    assert caught.value.cause == cause


def test_repetitions_are_counted():
    record = Recorder()
    result = programmer_of(quillmark.SimulatedEcu(), wire={"lost_frame": 60}).flash(IMAGE, progress=record)
    assert result.repeated == record.seen[-1].repeated == 1


def test_other_threads_work_during_a_call():
    ecu = quillmark.SimulatedEcu()
    done = threading.Event()
    thread = threading.Thread(target=done.set)

    def key(seed):
        thread.start()
        done.wait()
        return ecu.key(seed)

    assert programmer_of(ecu, key=key).read([(0, 1)]).size == 1


def own_checksum(block):
    return 0xFFFF - sum(block) & 0xFFFF


@pytest.mark.parametrize("form", FORMS)
def test_the_ecu_may_have_a_checksum_of_its_own(form):
    ecu = quillmark.SimulatedEcu(form, checksum=own_checksum)
    result = programmer_of(ecu, checksum=own_checksum).flash(IMAGE, verify=True)
    assert (result.verified_bytes, result.repeated) == (506, 0)
    with pytest.raises(quillmark.Refused) as caught:
        programmer_of(ecu).flash(IMAGE)
    assert (caught.value.phase, caught.value.response_code) == ("download", 0x77)


def test_an_exception_of_a_checksum_comes_out_before_a_block_is_sent():
    ecu = quillmark.SimulatedEcu()
    with pytest.raises(Trouble) as caught:
        programmer_of(ecu, checksum=raise_trouble).flash(IMAGE)
    assert caught.value.__context__.memory == "partly written"
    assert ecu.blocks_written == 0


def test_a_checksum_has_16_bits():
    with pytest.raises(ValueError, match="checksum: expected 0 to 65535, found 65536"):
        programmer_of(quillmark.SimulatedEcu(), checksum=lambda block: 65536).flash(IMAGE)


def test_callbacks_may_use_the_bus_of_the_call():
    ecu = quillmark.SimulatedEcu()
    bus = quillmark.SimulatedBus(ecu)
    times = []
    quillmark.Programmer(bus, ecu.key).flash(IMAGE, progress=lambda progress: times.append(bus.now))
    assert times == sorted(times) and times[-1] > times[0]


def test_what_happens_is_logged(caplog):
    caplog.set_level(logging.DEBUG, logger="quillmark")
    ecu = quillmark.SimulatedEcu(refused={0x31: 0x22})
    with pytest.raises(quillmark.Refused):
        programmer_of(ecu).flash(IMAGE)
    by_level = {level: [r.getMessage() for r in caplog.records if r.levelno == level] for level in (10, 20, 40)}
    assert "flash: identify" in by_level[logging.INFO]
    assert "flash: the ECU is SIMULATED ECU 001 REV A" in by_level[logging.INFO]
    assert any("unlock: 27 8" in line for line in by_level[logging.DEBUG])
    assert any("erase" in line for line in by_level[logging.ERROR])
    assert {record.name for record in caplog.records} == {"quillmark"}


class RefusingBus:
    """Answers a request like an ECU that cannot do it now."""

    def __init__(self, ecu, request):
        self.bus = quillmark.SimulatedBus(ecu)
        self.request = request
        self.refusals = []

    def select(self, receive, send):
        self.bus.select(receive, send)

    def send(self, frame):
        if frame.startswith(self.request):
            self.refusals.append(bytes([3, 0x7F, frame[1], 0x22, 0, 0, 0, 0]))
        else:
            self.bus.send(frame)

    def receive(self, timeout):
        return self.refusals.pop() if self.refusals else self.bus.receive(timeout)


def test_a_warning_is_logged(caplog):
    late_record = bytes.fromhex("0221FA")
    quillmark.Programmer(RefusingBus(quillmark.SimulatedEcu(), late_record)).identify()
    warnings = [record.getMessage() for record in caplog.records if record.levelno == logging.WARNING]
    assert len(warnings) == 1 and "refused record FA with 22" in warnings[0]


def test_an_exception_of_an_own_bus_comes_out_as_it_is():
    class Broken(SilentBus):
        def receive(self, timeout):
            raise Trouble("of the adapter")

    with pytest.raises(Trouble, match="of the adapter") as caught:
        Broken().programmer().identify()
    assert caught.value.__context__.cause == "bus"


def test_an_os_error_of_an_own_bus_is_a_failure_of_the_bus():
    class Unplugged(SilentBus):
        def send(self, frame):
            raise ConnectionError("unplugged")

    with pytest.raises(quillmark.ProgrammingError, match="unplugged") as caught:
        Unplugged().programmer().identify()
    assert caught.value.cause == "bus"
