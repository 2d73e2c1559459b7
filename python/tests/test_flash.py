# SPDX-License-Identifier: MIT
"""Whole sessions with the simulated ECU, in the three transport forms."""
import pytest
from session import Session

import quillmark

IMAGE = {0x8000: bytes(range(256)) * 150, 0x20000: b"second segment"}
LOG_RECORD = bytes(range(48))


@pytest.fixture(params=["can", "gateway", "kline"])
def form(request):
    return request.param


def test_flashes_checks_and_reads_back(form):
    session = Session(form)
    assert session.identify().RepIdent == b"SIMULATED ECU 001 REV A "
    session.unlock()
    session.erase()
    session.download(IMAGE)
    session.check()
    assert session.upload([(address, len(data)) for address, data in IMAGE.items()]) == IMAGE
    session.reprog.checkwritelogzone(session.runner.run(session.reprog.writelogzone(LOG_RECORD)))
    session.runner.run(session.reprog.stopcomm())
    assert session.runner.outcome.complete
    assert {address: session.ecu.read(address, len(data)) for address, data in IMAGE.items()} == IMAGE


def test_a_refused_key_is_an_error_with_its_number(form):
    session = Session(form, refuses_key=True)
    session.identify()
    with pytest.raises(quillmark.Error) as caught:
        session.unlock()
    assert caught.value.number == 2037
    assert session.runner.outcome.response_code == 0x35


def test_a_refused_block_ends_the_download_with_its_error():
    session = Session("can", bad_checksum_at_block=3)
    session.identify()
    session.unlock()
    session.erase()
    with pytest.raises(quillmark.Error, match="Download error") as caught:
        session.download(IMAGE)
    assert caught.value.number == 4005
    assert session.ecu.blocks_written == 2


def test_a_silent_ecu_is_an_outcome():
    session = Session("can", silent=True)
    document = session.runner.run(session.reprog.readseed())
    assert session.runner.outcome.status == "silence"
    assert session.runner.outcome.step == 2
    assert document.steps()[1].failure == session.runner.outcome.reason


def test_a_document_runs_once():
    session = Session("can")
    document = session.runner.run(session.reprog.TesterPresent())
    with pytest.raises(quillmark.Error, match="run before"):
        session.runner.run(document)


def test_bus_time_is_computed_not_waited_for():
    bus = quillmark.SimulatedBus(quillmark.SimulatedEcu())
    before = bus.now
    bus.wait(3600)
    assert bus.now - before >= 3600


@pytest.mark.parametrize("seconds", [-1, float("nan"), float("inf"), 1e10])
def test_a_time_is_seconds_that_can_pass(reprog, seconds):
    bus = quillmark.SimulatedBus(quillmark.SimulatedEcu())
    transfer = reprog.ComputeUpload([], 0, XMLReady=lambda node: None)
    for use in (bus.wait, transfer.wait, lambda p2: quillmark.Runner(bus, p2=p2)):
        with pytest.raises(ValueError, match="seconds"):
            use(seconds)


def test_what_is_no_bus_or_form_is_refused():
    with pytest.raises(ValueError, match="slcan"):
        quillmark.open_bus("usb:0")
    with pytest.raises(quillmark.BusError):
        quillmark.open_bus("slcan:/nowhere/at/all")
    with pytest.raises(ValueError, match="gateway"):
        quillmark.SimulatedEcu("lin")
    with pytest.raises(IndexError):
        quillmark.SimulatedEcu().read(0x1000000, 1)
