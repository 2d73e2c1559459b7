# SPDX-License-Identifier: MIT
"""The interpreter ends in order whatever a worker does then."""
import subprocess
import sys
import textwrap

import pytest

PREAMBLE = """
import signal, threading, time
import quillmark
reprog = quillmark.DiagOnCANReprog()
reprog.CANIDs(1850, 1586)
image = {0: bytes(range(256)) * 20_000}
def handler(node):
    return False
def download(**handler):
    return reprog.ComputeDownload(0, image, 0xFF, 16, 128, **handler)
"""


def run(script, status=0):
    """What a script of its own prints on standard error."""
    done = subprocess.run(
        [sys.executable, "-c", PREAMBLE + textwrap.dedent(script)], capture_output=True, text=True, timeout=60
    )
    assert done.returncode == status, done.stderr
    return done.stderr


@pytest.mark.parametrize(
    "script",
    [
        "documents = download()",
        "documents = download(); next(documents)",
        "transfer = download(XMLReady=handler)",
        "transfer = download(XMLReady=lambda node: time.sleep(0.2))",
        "transfers = [download(XMLReady=handler) for _ in range(8)]",
        "cycle = [download()]; cycle.append(cycle)",
    ],
)
def test_ends_quietly_while_a_worker_runs(script):
    assert run(script) == ""


FLASH = """
def checksum(block):
    return sum(block) & 0xFFFF
ecu = quillmark.SimulatedEcu()
started = threading.Event()
def progress(now):
    if now.phase == "download":
        started.set()
def flash(**settings):
    programmer = quillmark.Programmer(quillmark.SimulatedBus(ecu), ecu.key, **settings)
    threading.Thread(target=programmer.flash, args=(image,), kwargs={"progress": progress}, daemon=True).start()
    started.wait()
"""


@pytest.mark.parametrize("settings", ["", "checksum=checksum"])
def test_ends_while_a_daemon_thread_flashes(settings):
    run(FLASH + f"flash({settings})")


def test_a_child_does_not_wait_for_the_call_of_its_parent():
    script = """
    import os, sys
    flash()
    child = os.fork()
    if child == 0:
        sys.exit()
    assert os.waitpid(child, 0)[1] == 0
    """
    run(FLASH + textwrap.dedent(script))


def test_ends_while_a_daemon_thread_waits_for_documents():
    script = """
    def forever():
        while True:
            for document in download():
                time.sleep(0.001)
    threading.Thread(target=forever, daemon=True).start()
    time.sleep(0.3)
    """
    run(script)


def test_a_transfer_that_starts_too_late_is_refused():
    script = """
    import sys
    class Late:
        def __del__(self):
            try:
                download()
            except RuntimeError as error:
                print(error, file=sys.stderr)
    late = Late()
    """
    assert "interpreter ends" in run(script)


def test_ctrl_c_ends_a_wait():
    script = """
    import os
    def interrupt():
        time.sleep(0.3)
        os.kill(os.getpid(), signal.SIGINT)
    leave = threading.Event()
    transfer = download(XMLReady=lambda node: leave.wait())
    threading.Thread(target=interrupt).start()
    try:
        transfer.wait()
    except KeyboardInterrupt:
        leave.set()
        raise SystemExit(42)
    """
    run(script, status=42)


FORK = """
import os
def fork(child):
    process = os.fork()
    if process == 0:
        child()
        sys.exit(7)
    _, status = os.waitpid(process, 0)
    assert os.waitstatus_to_exitcode(status) == 7, status
import sys
"""


@pytest.mark.parametrize(
    "script",
    [
        # What the parent left to its threads ends without them.
        "documents = download(); next(documents); fork(lambda: None)",
        "transfer = download(XMLReady=lambda node: time.sleep(0.1)); fork(lambda: None)",
        "documents = download(); fork(lambda: documents.close())",
        "transfer = download(XMLReady=handler); fork(quillmark.wait_for_workers)",
        # The child may start its own.
        "documents = download(); fork(lambda: next(download()))",
        "documents = download(); fork(lambda: download(XMLReady=handler).wait())",
    ],
)
def test_a_forked_child_ends(script):
    for _ in range(5):
        assert run(FORK + script) == ""


@pytest.mark.parametrize("use", ["next(documents)", "transfer.wait()"])
def test_a_transfer_of_the_parent_is_refused_in_a_forked_child(use):
    script = """
    documents = download()
    transfer = download(XMLReady=lambda node: time.sleep(0.1))
    def child():
        try:
            USE
        except RuntimeError as error:
            assert "another process" in str(error), error
        else:
            raise SystemExit(1)
    fork(child)
    """
    assert run(FORK + textwrap.dedent(script.replace("USE", use))) == ""
