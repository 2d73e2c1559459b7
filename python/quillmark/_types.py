# SPDX-License-Identifier: MIT
"""The exceptions and tuples of the package. The extension module raises and returns them."""

from __future__ import annotations

from typing import NamedTuple


class History(NamedTuple):
    """What gethisto found: records of 24 bytes; eight entries per list, None for each that the ECU did not send."""

    RepHisto: list[bytes | None]
    RepReprog: list[bytes | None]
    RepIdent: bytes | None


class TraceEntry(NamedTuple):
    """Something that passed on a bus.

    kind: "send" for a frame of the tester, "receive" for one of the ECU, "break" for a K line that the tester held
    low. seconds: since the trace began. data: of the frame. duration: of the break, in seconds.
    """

    kind: str
    seconds: float
    data: bytes
    duration: float


class TraceMessage(NamedTuple):
    """A diagnostic message that frames of a trace make up.

    kind: "send" or "receive". seconds, end: of its first and its last frame, since the trace began. data: the service
    bytes. text: what they say, and what is wrong with the message. frames: how many, those that steer included.
    """

    kind: str
    seconds: float
    end: float
    data: bytes
    text: str
    frames: int


class Error(Exception):
    """An error of the component, with its number and description.

    history is what gethisto found before it failed; None for every other error.
    """

    def __init__(self, number: int, description: str) -> None:
        super().__init__(number, description)
        self.number = number
        self.description = description
        self.history: History | None = None

    def __str__(self) -> str:
        return f"{self.description} (error {self.number})"


class BusError(OSError):
    """The bus itself failed: the adapter is gone, the port cannot be opened."""


class TransferIncomplete(Exception):
    """A transfer ended before it had delivered documents for every byte."""

    def __init__(self, delivered: int, expected: int) -> None:
        super().__init__(delivered, expected)
        self.delivered = delivered
        self.expected = expected

    def __str__(self) -> str:
        return f"the transfer ended after {self.delivered} of {self.expected} bytes"


for _type in (History, TraceEntry, TraceMessage, Error, BusError, TransferIncomplete):
    _type.__module__ = "quillmark"
