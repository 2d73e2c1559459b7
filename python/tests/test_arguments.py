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
