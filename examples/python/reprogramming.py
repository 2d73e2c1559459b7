# SPDX-License-Identifier: MIT
"""A whole reprogramming, document by document, into a simulated ECU: reprogramming.py IMAGE"""
import sys

import quillmark

image = quillmark.MemoryImage.from_file(sys.argv[1])
ecu = quillmark.SimulatedEcu()
bus = quillmark.SimulatedBus(ecu)  # or quillmark.open_bus("slcan:/dev/ttyACM0")
runner = quillmark.Runner(bus)
reprog = quillmark.DiagOnCANReprog()
reprog.CANIDs(*ecu.canids)
reprog.gethisto(runner.run(reprog.StartDiag()))
seed = reprog.getseed(runner.run(reprog.readseed()))
reprog.checkunlock(runner.run(reprog.dounlock(ecu.key(seed))))
reprog.checkstarterase(runner.run(reprog.starterase(RL=0)))
while not reprog.checkcheckerase(runner.run(reprog.checkerase())):
    pass
for document in reprog.ComputeDownload(0, image, FillByte=0xFF, IMod=16, MaxSize=128):
    reprog.checkdownload(runner.run(document))
runner.run(reprog.stopcomm())
print(f"flashed {image.size} bytes in {bus.now:.2f} s of the bus's time")
