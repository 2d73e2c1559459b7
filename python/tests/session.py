# SPDX-License-Identifier: MIT
"""A host for the tests."""
import quillmark


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
