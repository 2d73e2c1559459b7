# SPDX-License-Identifier: MIT
import xml.etree.ElementTree

import pytest

import quillmark


def test_steps_read_as_words(reprog):
    reprog.FlowControl(1, 20)
    assert [str(step) for step in reprog.readseed().steps()] == [
        "send 0227810000000000",
        "receive 066781",
        "wait 20 ms",
    ]


def test_a_k_line_document_begins_with_a_break():
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(0, 0x11)
    kinds = [step.kind for step in reprog.StartDiag().steps()]
    assert kinds[0] == "break"
    assert {"send", "receive"} < set(kinds)


def test_a_step_is_its_parts(reprog):
    send, receive = reprog.readseed().steps()
    assert (send.kind, send.frame) == ("send", bytes.fromhex("0227810000000000"))
    assert (receive.kind, receive.expected, receive.received) == ("receive", "066781", None)


def test_an_answer_is_what_the_check_reads(reprog):
    document = reprog.readseed()
    document.steps()[1].answer(bytes.fromhex("06678111223344AA"))
    assert str(document.steps()[1]) == "receive 066781: 06678111223344AA"
    assert reprog.getseed(document) == bytes.fromhex("11223344")


def test_a_failure_is_what_the_check_reads(reprog):
    document = next(reprog.ComputeDownload(0, {0: b"abc"}, 0xFF, 16, 128))
    document.steps()[1].fail("no answer")
    assert repr(document.steps()[1]).endswith("failed: no answer>")
    with pytest.raises(quillmark.Error) as caught:
        reprog.checkdownload(document)
    assert caught.value.number == 4005


def test_a_frame_goes_into_one_receive_step_once(reprog):
    send, receive = reprog.readseed().steps()
    with pytest.raises(ValueError, match="receive"):
        send.answer(b"\x00")
    receive.answer(b"\x00")
    with pytest.raises(ValueError, match="already"):
        receive.answer(b"\x00")


def test_steps_outlive_their_document(reprog):
    steps = reprog.readseed().steps()
    steps[1].answer(b"\x06")
    assert steps[1].received == b"\x06"


def test_what_is_no_document_has_no_steps():
    with pytest.raises(quillmark.Error, match="not a request document"):
        quillmark.Document("<other/>").steps()


def test_etree_and_back_is_the_same_text(reprog):
    for document in (reprog.StartDiag(), reprog.readseed()):
        assert quillmark.Document.from_etree(document.to_etree()).xml == document.xml


def test_etree_has_the_steps(reprog):
    tree = reprog.readseed().to_etree()
    assert isinstance(tree, xml.etree.ElementTree.Element)
    assert [frame.text for frame in tree.iterfind("x/s/d")] == ["0227810000000000"]
    tree.find("x/s/d").text = "023E000000000000"
    changed = quillmark.Document.from_etree(xml.etree.ElementTree.ElementTree(tree))
    assert changed.steps()[0].frame[:3] == b"\x02\x3e\x00"


def test_what_is_no_etree_is_refused():
    with pytest.raises(TypeError, match="Element"):
        quillmark.Document.from_etree("<can/>")


def test_damaged_text_is_refused_with_a_reason():
    with pytest.raises(quillmark.Error) as caught:
        quillmark.Document("<can>")
    assert caught.value.number == 13


def test_a_copy_is_independent(reprog):
    document = reprog.readseed()
    copy = document.copy()
    document.steps()[1].answer(b"\x06")
    assert copy.steps()[1].received is None


def test_only_transfer_documents_have_a_size(reprog):
    assert reprog.readseed().totalbytes is None
    assert next(reprog.ComputeDownload(0, {0: b"abc"}, 0xFF, 16, 128)).totalbytes == 3
