# SPDX-License-Identifier: MIT
"""A host with a checksum of its own: it stops a flash at half, then flashes and verifies: host.py IMAGE"""
import sys

import quillmark


def checksum(block: bytes) -> int:
    return 0xFFFF - sum(block) & 0xFFFF


ecu = quillmark.SimulatedEcu(checksum=checksum, pending={0x34: 1})  # "response pending" before each block
programmer = quillmark.Programmer(quillmark.SimulatedBus(ecu), ecu.key, checksum=checksum, block=4)
image = quillmark.MemoryImage.from_file(sys.argv[1])
seen: list[quillmark.Progress] = []
try:
    programmer.flash(image, progress=seen.append, stop=lambda: seen[-1].bytes_done * 2 >= image.size)
except quillmark.Cancelled as error:
    print(error, error.advice, sep="\n")
result = programmer.flash(image, verify=True, progress=lambda now: print(now.phase, now.bytes_done, now.bytes_total))
print(result.verified_bytes, "bytes read back and found equal")
