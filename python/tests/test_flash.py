"""Whole sessions with the simulated ECU, in the three transport forms."""
import pytest

import quillmark

IMAGE = {0x8000: bytes(range(256)) * 150, 0x20000: b"second segment"}
LOG_RECORD = bytes(range(48))


class Session:
    """A host: an ECU, an object that reaches it and a runner between the two."""

    def __init__(self, form, **misbehaviour):
        self.ecu = quillmark.SimulatedEcu(form, **misbehaviour)
        self.runner = quillmark.Runner(quillmark.SimulatedBus(self.ecu))
        self.reprog = quillmark.DiagOnCANReprog()
        self.reprog.CANIDs(*self.ecu.canids)

    def identify(self):
        document = self.runner.run(self.reprog.StartDiag())
        try:
            return self.reprog.gethisto(document)
        except quillmark.Error as error:
            assert self.ecu.form == "kline" and error.number == 4000
            return error.history

    def unlock(self):
        seed = self.reprog.getseed(self.runner.run(self.reprog.readseed()))
        self.reprog.checkunlock(self.runner.run(self.reprog.dounlock(self.ecu.key(seed))))

    def erase(self):
        self.reprog.checkstarterase(self.runner.run(self.reprog.starterase(0)))
        while not self.reprog.checkcheckerase(self.runner.run(self.reprog.checkerase())):
            pass

    def download(self, image):
        for document in self.reprog.ComputeDownload(0, image, 0xFF, 16, 128):
            self.reprog.checkdownload(self.runner.run(document))

    def check(self):
        routine = self.ecu.check_routine
        self.reprog.checkstartroutine(self.runner.run(self.reprog.startroutine(routine)), routine)
        while not self.reprog.checkroutine(self.runner.run(self.reprog.routinestatus(routine)), routine):
            pass

    def upload(self, ranges):
        image = quillmark.MemoryImage()
        for document in self.reprog.ComputeUpload(ranges, 0):
            self.reprog.checkupload(self.runner.run(document), image)
        return image.joined()


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


def test_what_is_no_bus_or_form_is_refused():
    with pytest.raises(ValueError, match="slcan"):
        quillmark.open_bus("usb:0")
    with pytest.raises(quillmark.BusError):
        quillmark.open_bus("slcan:/nowhere/at/all")
    with pytest.raises(ValueError, match="gateway"):
        quillmark.SimulatedEcu("lin")
    with pytest.raises(IndexError):
        quillmark.SimulatedEcu().read(0x1000000, 1)
