# SPDX-License-Identifier: MIT
"""Reprograms ECUs: builds, runs and checks request documents, and streams downloads and uploads.

    import quillmark

    ecu = quillmark.SimulatedEcu()
    runner = quillmark.Runner(quillmark.SimulatedBus(ecu))
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(*ecu.canids)
    seed = reprog.getseed(runner.run(reprog.readseed()))
"""

from quillmark import _native
from quillmark._native import (
    Bus,
    DiagOnCANReprog,
    Document,
    MemoryImage,
    RunOutcome,
    Runner,
    SimulatedBus,
    SimulatedEcu,
    Step,
    Transfer,
    __version__,
    open_bus,
    wait_for_workers,
)
from quillmark._short_errors import shorten_errors
from quillmark._types import BusError, Error, History, TransferIncomplete

shorten_errors(_native)

__all__ = [
    "Bus",
    "BusError",
    "DiagOnCANReprog",
    "Document",
    "Error",
    "History",
    "MemoryImage",
    "RunOutcome",
    "Runner",
    "SimulatedBus",
    "SimulatedEcu",
    "Step",
    "Transfer",
    "TransferIncomplete",
    "__version__",
    "open_bus",
    "wait_for_workers",
]
