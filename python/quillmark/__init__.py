# SPDX-License-Identifier: MIT
"""Reprograms ECUs: builds, runs and checks request documents, and streams downloads and uploads.

    import quillmark

    ecu = quillmark.SimulatedEcu()
    programmer = quillmark.Programmer(quillmark.SimulatedBus(ecu), ecu.key)
    programmer.flash({0x8000: b"a program"}, verify=True)
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
from quillmark._programming import (
    Cancelled,
    Difference,
    HistoryEntry,
    Identification,
    NoAnswer,
    Programmer,
    ProgrammingError,
    ProgramResult,
    Progress,
    Refused,
    VerificationFailed,
    WrongEcu,
)
from quillmark._short_errors import shorten_errors
from quillmark._types import BusError, Error, History, TransferIncomplete

shorten_errors(_native)

__all__ = [
    "Bus",
    "BusError",
    "Cancelled",
    "DiagOnCANReprog",
    "Difference",
    "Document",
    "Error",
    "History",
    "HistoryEntry",
    "Identification",
    "MemoryImage",
    "NoAnswer",
    "ProgramResult",
    "Programmer",
    "ProgrammingError",
    "Progress",
    "Refused",
    "RunOutcome",
    "Runner",
    "SimulatedBus",
    "SimulatedEcu",
    "Step",
    "Transfer",
    "TransferIncomplete",
    "VerificationFailed",
    "WrongEcu",
    "__version__",
    "open_bus",
    "wait_for_workers",
]
