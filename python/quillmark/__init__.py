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
    Trace,
    TracingBus,
    Transfer,
    __version__,
    open_bus,
    read_trace,
    report,
    wait_for_workers,
)
from quillmark._programming import (
    Cancelled,
    Difference,
    HistoryEntry,
    Identification,
    LowBattery,
    NoAnswer,
    Programmer,
    ProgrammingError,
    ProgramResult,
    Progress,
    Refused,
    VerificationFailed,
    WrongEcu,
)
from quillmark._python_can import CanBus, EcuServer, can_bus
from quillmark._short_errors import shorten_errors
from quillmark._tracing import decode
from quillmark._types import BusError, Error, History, TraceEntry, TraceMessage, TransferIncomplete

shorten_errors(_native)

__all__ = [
    "Bus",
    "BusError",
    "CanBus",
    "Cancelled",
    "DiagOnCANReprog",
    "Difference",
    "Document",
    "EcuServer",
    "Error",
    "History",
    "HistoryEntry",
    "Identification",
    "LowBattery",
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
    "Trace",
    "TraceEntry",
    "TraceMessage",
    "TracingBus",
    "Transfer",
    "TransferIncomplete",
    "VerificationFailed",
    "WrongEcu",
    "__version__",
    "can_bus",
    "decode",
    "open_bus",
    "read_trace",
    "report",
    "wait_for_workers",
]
