# SPDX-License-Identifier: MIT
"""What members take, and what they raise for what they do not."""
import pytest

import quillmark


def test_byte_strings_are_bytes_both_ways(reprog):
    document = quillmark.Document("<can><x><r><c/><d>06678111223344</d></r></x></can>")
    assert reprog.getseed(document) == b"\x11\x22\x33\x44"
    for key in (b"\x01\x02", bytearray(b"\x01\x02"), memoryview(b"\x01\x02")):
        assert "2782" + "0102" in reprog.dounlock(key).xml


def test_text_is_no_byte_string(reprog):
    with pytest.raises(TypeError):
        reprog.dounlock("0102")


@pytest.mark.parametrize("number", [-1, 256, 2**70])
def test_a_number_out_of_its_range_raises_overflow(reprog, number):
    with pytest.raises(quillmark.Error, match=f"Overflow: expected 0 to 255, found {number}") as caught:
        reprog.starterase(number)
    assert caught.value.number == 6


def test_a_number_that_is_too_long_to_be_shown_raises_overflow(reprog):
    with pytest.raises(quillmark.Error, match="Overflow: expected 0 to 255, found one of type int"):
        reprog.starterase(1 << 100_000)


def test_a_float_is_no_number(reprog):
    with pytest.raises(TypeError):
        reprog.starterase(1.0)


def test_parameters_have_the_names_of_the_members(reprog):
    assert reprog.startroutine(Routine=2).xml == reprog.startroutine(2).xml
    reprog.FlowControl(BS=8, STMin=20)


def test_an_error_has_number_and_description():
    with pytest.raises(quillmark.Error) as caught:
        quillmark.DiagOnCANReprog().readseed()
    assert caught.value.number == 91
    assert caught.value.description == "Object variable or With block variable not set"
    assert str(caught.value) == "Object variable or With block variable not set (error 91)"


def test_none_is_no_document(reprog):
    with pytest.raises(TypeError):
        reprog.getseed(None)


def test_a_failed_history_keeps_what_was_found(reprog):
    with pytest.raises(quillmark.Error) as caught:
        reprog.gethisto(quillmark.Document("<can><x/></can>"))
    assert caught.value.number == 4000
    assert caught.value.history == quillmark.History([None] * 8, [None] * 8, None)


DATA = bytes(range(256)) * 4000
IMAGE = {0: DATA}
MISTAKES = {
    "a missing argument": lambda reprog: reprog.ComputeDownload(0, IMAGE, 0xFF, 16),
    "an unknown argument": lambda reprog: reprog.ComputeDownload(RL=0, Image=IMAGE, nope=3),
    "no pair": lambda reprog: reprog.ComputeDownload(0, [(0, DATA, 1)], 0xFF, 16, 128),
    "no pair in a map": lambda reprog: reprog.ComputeUpload([(0, 1, DATA)], 0),
    "a constructor": lambda reprog: quillmark.MemoryImage(IMAGE, 3),
    "an image without an address": lambda reprog: quillmark.MemoryImage().add(DATA),
    "data for a document": lambda reprog: reprog.getseed(DATA),
    "an image for a path": lambda reprog: quillmark.MemoryImage.from_file(IMAGE),
    "data for a tree": lambda reprog: quillmark.Document.from_etree(IMAGE),
    "text for data": lambda reprog: reprog.writelogzone(DATA.hex()),
    "text for a frame": lambda reprog: reprog.readseed().steps()[0].answer(DATA.hex()),
    "text for a form": lambda reprog: quillmark.SimulatedEcu(DATA.hex()),
}


@pytest.mark.parametrize("mistake", MISTAKES.values(), ids=MISTAKES)
def test_an_error_never_holds_a_whole_image(reprog, mistake):
    with pytest.raises((TypeError, ValueError, quillmark.Error)) as caught:
        mistake(reprog)
    assert 20 < len(str(caught.value)) < 1500


def test_an_error_of_one_s_own_is_raised_as_it_is():
    raised = TypeError("of the bus" * 1000)

    class Bus:
        def select(self, receive, send):
            raise raised

        send = receive = select

    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(1850, 1586)
    with pytest.raises(TypeError) as caught:
        quillmark.Runner(Bus()).run(reprog.readseed())
    assert caught.value is raised
