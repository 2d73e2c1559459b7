# SPDX-License-Identifier: MIT
"""Flashes from an event loop, which goes on meanwhile and stops it after a while: event_loop.py BUS IMAGE SECONDS"""
import asyncio
import sys
import threading

import quillmark


async def flash(programmer: quillmark.Programmer, path: str) -> quillmark.ProgramResult:
    """Works on a thread. A task that is cancelled, also by Ctrl-C, ends once the session with the ECU is closed."""
    stop = threading.Event()
    image = quillmark.MemoryImage.from_file(path)
    work = asyncio.create_task(asyncio.to_thread(programmer.flash, image, verify=True, stop=stop))
    try:
        return await asyncio.shield(work)
    except asyncio.CancelledError:
        stop.set()
        await asyncio.wait([work])
        if isinstance(error := work.exception(), quillmark.Cancelled):
            print(f"stopped in phase {error.phase}, memory {error.memory}")
        raise


async def main(uri: str, path: str, seconds: float) -> None:
    key = quillmark.SimulatedEcu().key  # for a real ECU, your own function
    with quillmark.open_bus(uri) as bus:
        try:
            result = await asyncio.wait_for(flash(quillmark.Programmer(bus, key), path), seconds)
            print(result.verified_bytes, "bytes read back and found equal")
        except asyncio.TimeoutError:
            print("there was no time left")


asyncio.run(main(sys.argv[1], sys.argv[2], float(sys.argv[3])))
