# SPDX-License-Identifier: MIT
"""Downloads and uploads: as a generator, and with a handler.

A worker whose documents nobody takes waits for ever, and wait_for_workers with it: that it returns is what
several tests are about.
"""
import gc
import sys
import threading
import weakref

import pytest

import quillmark

# About fifty documents.
LARGE = {0: bytes(range(256)) * 6400}


def download(reprog, image=LARGE, **handler):
    return reprog.ComputeDownload(0, image, 0xFF, 16, 128, **handler)


def test_a_generator_gives_every_document(reprog):
    documents = list(download(reprog))
    assert sum(document.totalbytes for document in documents) == len(LARGE[0])
    assert len(documents) > 40


def test_a_closed_generator_ends_its_worker(reprog):
    documents = download(reprog)
    assert next(documents).totalbytes >= 32768
    documents.close()
    quillmark.wait_for_workers()
    assert list(documents) == []


def test_a_dropped_generator_ends_its_worker(reprog):
    for taken in (0, 1):
        documents = download(reprog)
        for _ in range(taken):
            next(documents)
        del documents
        gc.collect()
        quillmark.wait_for_workers()


def test_leaving_the_loop_ends_the_worker(reprog):
    with pytest.raises(ZeroDivisionError):
        for document in download(reprog):
            document.totalbytes / 0
    quillmark.wait_for_workers()


def test_a_wrong_argument_is_raised_at_the_call(reprog):
    with pytest.raises(quillmark.Error, match="Invalid block size") as caught:
        reprog.ComputeDownload(0, LARGE, 0xFF, 16, 256)
    assert caught.value.number == 1000


def test_a_worker_that_fails_is_an_incomplete_transfer():
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(0, 0x6E)
    too_large_for_a_gateway = (0, LARGE, 0xFF, 16, 255)
    with pytest.raises(quillmark.TransferIncomplete, match="after 0 of 1638400 bytes") as caught:
        list(reprog.ComputeDownload(*too_large_for_a_gateway))
    assert (caught.value.delivered, caught.value.expected) == (0, 1638400)
    with pytest.raises(quillmark.TransferIncomplete):
        reprog.ComputeDownload(*too_large_for_a_gateway, XMLReady=lambda node: False).wait()


def test_several_transfers_of_one_object_do_not_mix(reprog):
    images = [{address: bytes([address]) * 100_000} for address in (1, 2, 3)]
    generators = [download(reprog, image) for image in images]
    handled = []
    transfer = download(reprog, {4: bytes([4]) * 100_000}, XMLReady=lambda node: handled.append(node))
    for address, documents in enumerate(generators, start=1):
        assert f"{address:02X}" * 7 in next(documents).xml
    assert transfer.wait() is False
    assert "04" * 7 in handled[0].xml


def test_a_transfer_keeps_the_settings_it_began_with(reprog):
    documents = download(reprog)
    reprog.CANIDs(1, 2)
    assert all('<x i="1850">' in document.xml for document in documents)


def test_a_transfer_outlives_its_object():
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(1850, 1586)
    documents = download(reprog)
    del reprog
    assert sum(document.totalbytes for document in documents) == len(LARGE[0])


def test_an_upload_asks_for_all_ranges(reprog):
    documents = list(reprog.ComputeUpload([(0, 100), (0x8000, 10)], 1))
    assert [document.totalbytes for document in documents] == [110]


def test_a_handler_gets_every_document_and_none_at_the_end(reprog):
    nodes = []

    def handler(node):
        nodes.append(node)
        return False

    assert download(reprog, XMLReady=handler).wait() is True
    assert nodes[-1] is None
    assert sum(node.totalbytes for node in nodes[:-1]) == len(LARGE[0])


@pytest.mark.parametrize("answer", [None, True, 1])
def test_a_handler_that_does_not_go_on_cancels(reprog, answer):
    calls = []

    def handler(node):
        calls.append(node)
        return answer

    assert download(reprog, XMLReady=handler).wait() is False
    assert len(calls) == 1


def test_a_handler_runs_on_another_thread_and_may_use_the_object(reprog):
    threads = set()

    def handler(node):
        threads.add(threading.get_ident())
        reprog.TesterPresent()
        if node:
            reprog.checkdownload(node)
        return False

    assert download(reprog, XMLReady=handler).wait() is True
    assert len(threads) == 1 and threading.get_ident() not in threads


def test_what_a_handler_raises_surfaces_in_wait(reprog):
    def handler(_):
        raise LookupError("of the handler")

    transfer = download(reprog, XMLReady=handler)
    with pytest.raises(LookupError, match="of the handler") as caught:
        transfer.wait()
    assert caught.traceback[-1].name == "handler"
    assert transfer.done
    assert transfer.wait() is False


def test_what_nobody_waits_for_is_reported(reprog, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda report: reported.append(report.exc_value))

    def handler(_):
        raise LookupError("unasked")

    download(reprog, XMLReady=handler)
    quillmark.wait_for_workers()
    assert [error.args for error in reported] == [("unasked",)]


def test_cancel_ends_a_transfer(reprog):
    entered = threading.Event()
    leave = threading.Event()

    def handler(_):
        entered.set()
        leave.wait()
        return False

    transfer = download(reprog, XMLReady=handler)
    assert entered.wait(10)
    with pytest.raises(TimeoutError):
        transfer.wait(timeout=0.05)
    transfer.cancel()
    leave.set()
    assert transfer.wait() is False


def test_a_handler_lives_until_its_transfer_ends(reprog):
    class Handler:
        """Holds its transfer, which holds it."""

        transfer = None

        def __call__(self, node):
            return False

    handler = Handler()
    alive = weakref.ref(handler)
    handler.transfer = download(reprog, XMLReady=handler)
    transfer = handler.transfer
    del handler
    assert transfer.wait() is True
    quillmark.wait_for_workers()
    gc.collect()
    assert alive() is None


def test_what_cannot_be_called_is_no_handler(reprog):
    with pytest.raises(TypeError):
        download(reprog, XMLReady=5)


def test_threads_take_turns_with_one_object_and_document(reprog):
    document = reprog.StartDiag()
    failures = []

    def work():
        try:
            for _ in range(300):
                assert document.xml == reprog.StartDiag().xml
                document.steps()
        except Exception as error:
            failures.append(error)

    workers = [threading.Thread(target=work) for _ in range(4)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    assert failures == []


def test_a_handler_cannot_wait_for_its_own_transfer(reprog):
    for wait in (lambda: transfer.wait(), lambda: transfer.wait(0.1), quillmark.wait_for_workers):
        started = threading.Event()

        def handler(node):
            started.wait()
            wait()

        transfer = download(reprog, XMLReady=handler)
        started.set()
        with pytest.raises(RuntimeError, match="handler"):
            transfer.wait()


def test_a_handler_may_wait_for_another_transfer(reprog):
    first = download(reprog, XMLReady=lambda node: False)
    second = download(reprog, XMLReady=lambda node: not first.wait())
    assert second.wait() is True
