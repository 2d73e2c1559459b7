# SPDX-License-Identifier: MIT
"""Flashes an image file into a simulated ECU, and reads it back: flash.py IMAGE"""
import sys

import quillmark

image = quillmark.MemoryImage.from_file(sys.argv[1])
ecu = quillmark.SimulatedEcu()
with quillmark.SimulatedBus(ecu) as bus:  # or quillmark.open_bus("slcan:/dev/ttyACM0")
    result = quillmark.Programmer(bus, ecu.key).flash(image, verify=True)
print(f"flashed {result.image_bytes} bytes in {result.seconds:.2f} s of the bus's time")
