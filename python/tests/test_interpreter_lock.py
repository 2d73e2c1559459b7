# SPDX-License-Identifier: MIT
"""What takes long leaves the interpreter to other threads."""
import signal
import sys
import threading
import time

import pytest
from session import Session

import quillmark

LARGE = {0: bytes(range(256)) * 6400}


class Ticker:
    """A thread that counts whenever it is let."""

    def __init__(self):
        self.ticks = 0
        self.running = True
        self.thread = threading.Thread(target=self.run)

    def run(self):
        while self.running:
            self.ticks += 1
            time.sleep(0)


@pytest.fixture
def ticker():
    """No thread but the ticker gives up the interpreter by itself."""
    interval = sys.getswitchinterval()
    sys.setswitchinterval(100)
    made = Ticker()
    made.thread.start()
    yield made
    made.running = False
    made.thread.join()
    sys.setswitchinterval(interval)


def ticks_during(ticker, work):
    before = ticker.ticks
    work()
    return ticker.ticks - before


def is_let_run(ticker, work, tries=200):
    """Whether the ticker counts during one of some tries: a busy machine may have no time for it."""
    return any(ticks_during(ticker, work) > 0 for _ in range(tries))


def test_nothing_runs_during_what_is_short(ticker, reprog):
    assert not is_let_run(ticker, reprog.readseed)


def test_threads_run_while_a_document_is_run(ticker, reprog):
    runner = quillmark.Runner(quillmark.SimulatedBus(quillmark.SimulatedEcu()))
    assert is_let_run(ticker, lambda: runner.run(reprog.StartDiag()))


def test_threads_run_while_a_programmer_works(ticker):
    ecu = quillmark.SimulatedEcu()
    programmer = quillmark.Programmer(quillmark.SimulatedBus(ecu), ecu.key)
    assert is_let_run(ticker, lambda: programmer.read([(0, 4096)]))


def test_threads_run_while_a_programmer_works_and_tells_how_far_it_is(ticker):
    ecu = quillmark.SimulatedEcu()
    programmer = quillmark.Programmer(quillmark.SimulatedBus(ecu), ecu.key)
    assert is_let_run(ticker, lambda: programmer.flash({0: bytes(range(256)) * 16}, progress=lambda progress: None))


def test_threads_run_while_a_transfer_starts(ticker, reprog):
    image = quillmark.MemoryImage(LARGE)
    assert is_let_run(ticker, lambda: reprog.ComputeDownload(0, image, 0xFF, 16, 128).close())


class Interrupted(Exception):
    pass


@pytest.fixture
def alarm():
    """Raises Interrupted in the main thread after so many seconds."""

    def handler(*_):
        raise Interrupted

    before = signal.signal(signal.SIGALRM, handler)
    yield lambda seconds: signal.setitimer(signal.ITIMER_REAL, seconds)
    signal.setitimer(signal.ITIMER_REAL, 0)
    signal.signal(signal.SIGALRM, before)


def outcome_of_an_interrupted_run(session, document, alarm):
    """None where the alarm came too early or too late."""
    try:
        alarm(0.002)
        session.runner.run(document)
        alarm(0)
    except Interrupted:
        return session.runner.outcome.status
    return None


def test_a_signal_handler_ends_a_run(alarm):
    session = Session("can")
    session.identify()
    session.unlock()
    session.erase()
    document = next(session.reprog.ComputeDownload(0, {0: bytes(range(256)) * 128}, 0xFF, 16, 16))
    outcomes = (outcome_of_an_interrupted_run(session, document.copy(), alarm) for _ in range(100))
    assert "stopped" in outcomes
