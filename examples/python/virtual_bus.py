# SPDX-License-Identifier: MIT
"""Flashes and verifies over python-can's virtual bus: the ECU at its other end is in the same process."""
import can

import quillmark

ecu = quillmark.SimulatedEcu()
with can.Bus("example", interface="virtual") as other_end, quillmark.EcuServer(ecu, other_end):
    with quillmark.can_bus(can.Bus("example", interface="virtual")) as bus:
        result = quillmark.Programmer(bus, ecu.key).flash({0x8000: b"a program"}, verify=True)
print(f"{result.verified_bytes} bytes read back and found equal")
