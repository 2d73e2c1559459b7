# SPDX-License-Identifier: MIT
"""Flashes over a K line adapter, shows how far it is, and records every message: k_line.py DEVICE IMAGE TRACE"""
import sys

import quillmark

device, image, trace = sys.argv[1:]
ecu = quillmark.SimulatedEcu("kline")  # of which the key is known; for a real one, your own function


def show(progress: quillmark.Progress) -> None:
    if progress.bytes_total:
        print(f"{progress.phase} {100 * progress.bytes_done // progress.bytes_total} %")


with quillmark.open_bus(f"kline:{device}?baud=10400") as line, quillmark.TracingBus(line, trace) as bus:
    programmer = quillmark.Programmer(bus, ecu.key, address=0x11)
    programmer.flash(quillmark.MemoryImage.from_file(image), verify=True, progress=show)
print("\n".join(str(quillmark.read_trace(trace)).splitlines()[:3]))
