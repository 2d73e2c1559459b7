# SPDX-License-Identifier: MIT
"""Traces of what passes on a bus: written, read, converted, explained; and the page of a folder of artifacts."""
import os
import re
import subprocess
from pathlib import Path

import pytest

import quillmark

IMAGE = {0x8000: bytes(range(200))}
TOOL = Path(quillmark.__file__).parents[2] / "host" / "tool" / "quillmark"


def trace_of_flash(path, form="can"):
    ecu = quillmark.SimulatedEcu(form)
    with quillmark.TracingBus(quillmark.SimulatedBus(ecu), path) as bus:
        quillmark.Programmer(bus, ecu.key).flash(IMAGE)
    return quillmark.read_trace(path)


FILES = [("can", "a.log"), ("can", "a.asc"), ("gateway", "a.log"), ("kline", "a.txt")]


@pytest.mark.parametrize(("form", "name"), FILES)
def test_a_trace_that_is_written_is_read_again(tmp_path, form, name):
    trace = trace_of_flash(tmp_path / name, form)
    assert trace.damage == ""
    assert trace.form == form
    texts = [message.text for message in trace.messages]
    assert any("SIMULATED ECU 001" in text for text in texts)
    assert any("request download" in text for text in texts)
    kinds = {entry.kind for entry in trace.entries}
    assert kinds == {"send", "receive", "break"} if form == "kline" else {"send", "receive"}
    times = [entry.seconds for entry in trace.entries]
    assert times == sorted(times)


@pytest.mark.parametrize(("source", "copy"), [("a.log", "b.asc"), ("a.asc", "b.log")])
def test_a_trace_is_converted_by_saving_it(tmp_path, source, copy):
    trace = trace_of_flash(tmp_path / source)
    trace.save(tmp_path / copy)
    converted = quillmark.read_trace(tmp_path / copy)
    assert [entry.data for entry in converted.entries] == [entry.data for entry in trace.entries]
    assert [message.text for message in converted.messages] == [message.text for message in trace.messages]
    assert converted.ids == trace.ids == (0x73A, 0x632)


def test_a_message_has_its_bytes_and_its_words(tmp_path):
    first = trace_of_flash(tmp_path / "a.log").messages[0]
    assert (first.kind, first.data, first.frames) == ("send", b"\x10\xc0", 1)
    assert "start diagnostic session" in first.text
    assert 0 <= first.seconds <= first.end


def test_an_own_bus_is_traced_as_well(tmp_path):
    class Own:
        def __init__(self, bus):
            self.select, self.send, self.receive = bus.select, bus.send, bus.receive

    own = Own(quillmark.SimulatedBus(quillmark.SimulatedEcu()))
    with quillmark.TracingBus(own, tmp_path / "a.log") as bus:
        quillmark.Programmer(bus).identify()
    assert len(quillmark.read_trace(tmp_path / "a.log").messages) > 10


def test_what_an_own_bus_raises_comes_through_a_trace(tmp_path, reprog):
    class Broken:
        def select(self, receive, send):
            raise LookupError("of the adapter")

        send = receive = None

    with quillmark.TracingBus(Broken(), tmp_path / "a.log") as bus, pytest.raises(LookupError):
        quillmark.Runner(bus).run(reprog.readseed())


def test_what_has_passed_is_in_the_file_at_once(tmp_path):
    ecu = quillmark.SimulatedEcu()
    bus = quillmark.TracingBus(quillmark.SimulatedBus(ecu), tmp_path / "a.log")
    quillmark.Programmer(bus).identify()
    before = (tmp_path / "a.log").read_text()
    bus.close()
    assert before and (tmp_path / "a.log").read_text() == before


def test_a_trace_of_nothing_leaves_no_file(tmp_path):
    quillmark.TracingBus(quillmark.SimulatedBus(quillmark.SimulatedEcu()), tmp_path / "a.log").close()
    assert list(tmp_path.iterdir()) == []


def test_the_bus_behind_a_trace_stays_open(tmp_path):
    bus = quillmark.SimulatedBus(quillmark.SimulatedEcu())
    with quillmark.TracingBus(bus, tmp_path / "a.log"):
        pass
    assert bus.receive(0) is None


def test_a_name_without_a_format_is_refused(tmp_path):
    bus = quillmark.SimulatedBus(quillmark.SimulatedEcu())
    with pytest.raises(ValueError, match=r"\.log"):
        quillmark.TracingBus(bus, tmp_path / "a.pcap")
    with pytest.raises(FileNotFoundError):
        quillmark.TracingBus(bus, tmp_path / "nowhere" / "a.log")


@pytest.mark.skipif(not Path("/dev/full").exists(), reason="the system has no device that is full")
def test_a_disk_that_is_full_is_an_os_error_at_the_end(tmp_path):
    (tmp_path / "a.log").symlink_to("/dev/full")
    ecu = quillmark.SimulatedEcu()
    bus = quillmark.TracingBus(quillmark.SimulatedBus(ecu), tmp_path / "a.log")
    quillmark.Programmer(bus, ecu.key).flash(IMAGE)
    with pytest.raises(OSError) as caught:
        bus.close()
    assert caught.value.filename == str(tmp_path / "a.log")
    assert ecu.read(0x8000, 200) == IMAGE[0x8000]


def test_a_trace_that_was_cut_off_is_read_as_far_as_it_goes(tmp_path):
    whole = trace_of_flash(tmp_path / "a.log")
    text = (tmp_path / "a.log").read_text()
    (tmp_path / "a.log").write_text(text[: len(text) // 2] + "\ngarbage\n")
    cut = quillmark.read_trace(tmp_path / "a.log")
    assert "line " in cut.damage
    assert 0 < len(cut.entries) < len(whole.entries)
    with pytest.warns(UserWarning, match="a.log: line"):
        quillmark.decode(tmp_path / "a.log")


def test_what_is_no_trace_is_refused(tmp_path):
    path = tmp_path / "a.log"
    path.write_text("no trace\n")
    with pytest.raises(ValueError, match="a.log: line 1"):
        quillmark.read_trace(path)
    with pytest.raises(FileNotFoundError):
        quillmark.read_trace(tmp_path / "nowhere.log")


def test_identifiers_select_what_is_read(tmp_path):
    trace_of_flash(tmp_path / "a.log")
    assert quillmark.read_trace(tmp_path / "a.log", ids=(0x73A, 0x632)).entries
    assert not quillmark.read_trace(tmp_path / "a.log", ids=(0x100, 0x200)).entries


def test_decode_prints_what_the_tool_prints(tmp_path):
    trace = trace_of_flash(tmp_path / "a.log")
    for options, arguments in (({}, []), ({"frames": True}, ["--frames"])):
        printed = subprocess.run([TOOL, "decode", tmp_path / "a.log", *arguments], check=True, capture_output=True)
        assert quillmark.decode(trace, **options) == quillmark.decode(tmp_path / "a.log", **options)
        assert quillmark.decode(trace, **options) == printed.stdout.decode()
    assert str(trace) == quillmark.decode(trace)


def test_a_document_is_decoded(tmp_path, reprog):
    document = reprog.readseed()
    text = quillmark.decode(document)
    assert "not run yet" in text and "security access" in text
    (tmp_path / "a.xml").write_text(document.xml)
    assert quillmark.decode(tmp_path / "a.xml") == text


def test_a_document_for_a_gateway_needs_its_form():
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(0, 0x6E)
    assert "CAN gateway" in quillmark.decode(reprog.readseed(), form="gateway")


@pytest.fixture
def artifacts(tmp_path):
    folder = tmp_path / "artifacts"
    sample = Path(__file__).parents[2] / "docs" / "samples" / "hello.srec"
    subprocess.run([TOOL, "flash", sample, "--yes", "--artifacts", folder], check=True, capture_output=True)
    return folder


def test_a_report_is_the_page_that_the_tool_makes(tmp_path, artifacts):
    page = quillmark.report(artifacts, tmp_path / "a.html")
    assert page.startswith("<!DOCTYPE html>") or page.lower().startswith("<!doctype html>")
    assert (tmp_path / "a.html").read_text() == page
    subprocess.run([TOOL, "report", artifacts, "-o", tmp_path / "b.html"], check=True, capture_output=True)
    assert (tmp_path / "b.html").read_text() == page
    assert quillmark.report(artifacts) == page


def test_a_report_of_nothing_is_an_os_error(tmp_path):
    with pytest.raises(FileNotFoundError) as caught:
        quillmark.report(tmp_path)
    assert caught.value.filename == str(tmp_path)


def test_what_a_report_misses_is_a_warning(artifacts):
    os.remove(artifacts / "trace.log")
    with pytest.warns(UserWarning, match=re.escape("trace.log")):
        quillmark.report(artifacts)


def test_a_damaged_folder_has_no_report(artifacts):
    plan = artifacts / "plan.json"
    plan.write_text(plan.read_text().replace('"fill":255', '"fill":256').replace('"fill": 255', '"fill": 256'))
    with pytest.raises(ValueError, match="fill"):
        quillmark.report(artifacts)
