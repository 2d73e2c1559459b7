# SPDX-License-Identifier: MIT
"""Programmer: whole sessions with an ECU in one call each, with their results and failures."""

from __future__ import annotations

import logging
import os
from dataclasses import dataclass

from quillmark import _native

_log = logging.getLogger("quillmark")
# A host that sets up no logging gets exceptions alone.
_log.addHandler(logging.NullHandler())

_LOG_RECORD_SIZE = 48
_DEFAULT_LOG_RECORD = b"PROGRAMMED BY QUILLMARK".ljust(_LOG_RECORD_SIZE)
_LAST_IDENTIFIER = 0x1FFFFFFF
_DEFAULT_IDS = (0x73A, 0x632)
_DEFAULT_ADDRESSES = {"can": 0, "gateway": 0x6E, "kline": 0x11}
_LARGEST_COUNT = 1_000_000


@dataclass(frozen=True)
class HistoryEntry:
    """An entry of an ECU's history: two records of 24 bytes, None for one that it did not send."""

    history: bytes | None
    reprogramming: bytes | None


@dataclass(frozen=True)
class Identification:
    """What an ECU says of itself: a record of 24 bytes, and up to eight entries of its history."""

    record: bytes
    entries: list[HistoryEntry]

    @property
    def text(self) -> str:
        """The record without its padding: as text, or in hexadecimal digits if it is none."""
        record = _without_padding(self.record)
        is_text = all(0x20 <= byte < 0x7F for byte in record)
        return record.decode("ascii") if is_text else record.hex().upper()


@dataclass(frozen=True)
class Progress:
    """How far a call is.

    phase: "prepare", "identify", "unlock", "backup", "erase", "download", "check", "upload", "verify", "log zone" or
    "close". bytes_done, bytes_total: of the image or the ranges, fill included; 0 in a phase that moves none.
    phase_seconds, seconds: of the bus's time, since the phase and since the call began. memory: what the ECU's would
    be if the call ended here, as in ProgrammingError. repeated: how many requests were sent again; passed_over: how
    many frames answered nothing.
    """

    phase: str
    bytes_done: int
    bytes_total: int
    phase_seconds: float
    seconds: float
    memory: str
    repeated: int
    passed_over: int


@dataclass(frozen=True)
class ProgramResult:
    """What a flash or a verification did.

    image_bytes: of the image, of which sent_bytes were sent and the rest is fill; verified_bytes were read back and
    found equal. log_record_is_unanswered: whether the log record is written is not known. repeated, passed_over: as
    in Progress. download_seconds, seconds: of the bus's time, for the download alone and in all.
    """

    identification: Identification
    image_bytes: int
    sent_bytes: int
    verified_bytes: int
    log_record_is_unanswered: bool
    repeated: int
    passed_over: int
    download_seconds: float
    seconds: float


@dataclass(frozen=True)
class Difference:
    """A byte of memory that differs from the image; found is None if the ECU sent none."""

    address: int
    expected: int
    found: int | None


class ProgrammingError(Exception):
    """A call of a Programmer that failed. str() is a sentence for its user.

    phase: as in Progress. cause: "argument", "silence", "unexpected reply", "still busy", "bus", "component", "key",
    "incomplete", "difference", "cancelled", "wrong ECU" or "battery". number: of the component's error, 0 if it raised
    none. text: what happened. address: the one concerned; response_code: of the ECU's negative response; service: of
    the request that failed; each None if there is none. document_step: of that request's document, from 1; 0 if none.

    memory: what became of the ECU's, "untouched", "perhaps erased", "partly written" (then written_bytes of
    image_bytes are confirmed), "written" or "checked". session_open: whether the ECU's session may still be open.
    state: both in words. advice: what to do next. repeated, passed_over: as in Progress.
    """

    phase: str = "prepare"
    cause: str = "argument"
    number: int = 0
    text: str = ""
    address: int | None = None
    response_code: int | None = None
    service: int | None = None
    document_step: int = 0
    memory: str = "untouched"
    written_bytes: int = 0
    image_bytes: int = 0
    session_open: bool = False
    state: str = ""
    advice: str = ""
    repeated: int = 0
    passed_over: int = 0


class Cancelled(ProgrammingError):
    """A call that ended because its host asked to stop, or did not confirm."""


class NoAnswer(ProgrammingError):
    """The ECU did not answer."""


class Refused(ProgrammingError):
    """The ECU refused a request with a negative response, whose code is response_code."""


class VerificationFailed(ProgrammingError):
    """Memory differs from the image in different_bytes bytes; differences has the first of them, at most 16."""

    differences: list[Difference]
    different_bytes: int = 0


class WrongEcu(ProgrammingError):
    """The ECU has another identification than expect_ecu; nothing was changed."""


class LowBattery(ProgrammingError):
    """The battery has less than min_voltage, or the adapter cannot tell; nothing was changed."""


_BY_CAUSE = {"cancelled": Cancelled, "silence": NoAnswer, "difference": VerificationFailed}


def error_of_failure(message, **failure):
    """The exception for a failure; the extension module raises it."""
    by_code = Refused if failure["response_code"] is not None else ProgrammingError
    return _with_attributes(_BY_CAUSE.get(failure["cause"], by_code)(message), failure)


def _with_attributes(error, attributes):
    is_difference = isinstance(error, VerificationFailed)
    for name, value in attributes.items():
        if is_difference or name not in {"differences", "different_bytes"}:
            setattr(error, name, value)
    return error


def _without_padding(record):
    return record.rstrip(b" \0")


def _number(name, value, lowest, highest):
    """An integer within its range; ValueError names the keyword."""
    if not lowest <= value.__index__() <= highest:
        raise ValueError(f"{name}: expected {lowest} to {highest}, found {value}")
    return value.__index__()


def _expected_record(expected):
    if expected is None:
        return None
    record = _without_padding(expected.encode() if isinstance(expected, str) else bytes(expected))
    if not record:
        raise ValueError("expect_ecu: expected the text or the bytes of an identification, found none")
    return record


class Programmer:
    """Whole sessions with one ECU.

        with quillmark.open_bus("slcan:/dev/ttyACM0") as bus:
            programmer = quillmark.Programmer(bus, key)
            programmer.flash(quillmark.MemoryImage.from_file("image.hex"), verify=True)

    bus: a Bus, what can_bus gives, or an object of your own, as for Runner. key: a function that computes the key of
    a seed, both bytes; it returns None while it has none yet, and is called again soon. The session is kept alive
    meanwhile, so a call should take less than a second. identify needs no key.

    The others are the options of the command line, times in seconds. form: "can", "gateway" or "kline"; None takes
    that of the bus. ids: the identifiers to receive and to send on, plain CAN. address: of the ECU behind the gateway
    or on the K line; None is 0x6E or 0x11. memory: to erase and to write. fill: the byte of erased memory, left out in
    units of align bytes. block: most data bytes of a request. check_routine: its identifier. checksum: a function of
    the bytes of a block that gives 16 bits; None is their sum. flow_control: block size and separation time in ms, or
    "auto", which adapts to the ECU. log_record: 48 bytes, None writes none. expect_ecu:
    the identification that the ECU must have, as text or bytes without padding.

    p2, p2_star, max_pending, pending_limit, max_wait_frames: as for Runner. repeat: how often a request is sent again
    after silence or damage. busy_interval, busy_limit: how soon and for how long while the ECU says that it is busy.
    poll_interval, routine_limit: how often erase and check routine are asked for, and how long they may take.
    tester_present: silence after which the session is kept alive.

    Raises ValueError for a setting that cannot work.

    Each call opens a session, does its work and closes the session. It has done everything or raises a
    ProgrammingError. An exception that a function of yours raises ends the call and comes out of it as it is, with
    the ProgrammingError as its __context__. Functions are called on the thread of the call, checksum also on another
    one. Other Python threads run meanwhile.

    progress gets a Progress at the beginning of each phase and after each request that moved bytes. stop, an event
    with is_set() or a function, is asked before each request and ten times a second while an answer is awaited; that
    request then ends within two seconds. Another thread or an event loop may set it. Ctrl-C does the same and is
    raised as KeyboardInterrupt once the session is closed. Phases, warnings and failures are logged as "quillmark",
    requests at the level DEBUG.
    """

    def __init__(
        self,
        bus,
        key=None,
        *,
        form=None,
        ids=_DEFAULT_IDS,
        address=None,
        memory=0,
        fill=0xFF,
        align=16,
        block=128,
        check_routine=2,
        checksum=None,
        flow_control="auto",
        log_record=_DEFAULT_LOG_RECORD,
        expect_ecu=None,
        p2=1.0,
        p2_star=5.0,
        max_pending=1000,
        pending_limit=60.0,
        max_wait_frames=10,
        repeat=2,
        busy_interval=0.2,
        busy_limit=25.0,
        poll_interval=0.1,
        routine_limit=120.0,
        tester_present=2.0,
    ):
        if form is None:
            form = bus.form if isinstance(bus, _native.Bus) else "can"
        if log_record is not None and len(log_record) != _LOG_RECORD_SIZE:
            raise ValueError(f"log_record: expected {_LOG_RECORD_SIZE} bytes, found {len(log_record)}")
        self._bus = bus
        self._key = key
        self._checksum = checksum
        self._expected = _expected_record(expect_ecu)
        receive_id, send_id = ids
        adapts = isinstance(flow_control, str) and flow_control == "auto"
        block_size, separation_time = (1, 0) if adapts else flow_control
        settings = {
            "receive_id": _number("ids", receive_id, 1, _LAST_IDENTIFIER),
            "send_id": _number("ids", send_id, 1, _LAST_IDENTIFIER),
            "address": _DEFAULT_ADDRESSES.get(form, 0) if address is None else _number("address", address, 0, 0xFF),
            "memory": _number("memory", memory, 0, 0xFF),
            "fill": _number("fill", fill, 0, 0xFF),
            "align": _number("align", align, 1, 0x7FFFFFFF),
            "block": _number("block", block, 1, 255 if form == "can" else 247),
            "check_routine": _number("check_routine", check_routine, 0, 0xFF),
            "has_checksum": checksum is not None,
            "adapts_flow_control": adapts,
            "block_size": _number("flow_control", block_size, 0, 0xFF),
            "separation_time": _number("flow_control", separation_time, 0, 0xFF),
            "log_record": log_record,
            "p2": p2,
            "p2_star": p2_star,
            "max_pending": _number("max_pending", max_pending, 0, _LARGEST_COUNT),
            "pending_limit": pending_limit,
            "max_wait_frames": _number("max_wait_frames", max_wait_frames, 0, _LARGEST_COUNT),
            "repeat": _number("repeat", repeat, 0, 100),
            "busy_interval": busy_interval,
            "busy_limit": busy_limit,
            "poll_interval": poll_interval,
            "routine_limit": routine_limit,
            "tester_present": tester_present,
        }
        self._native = _native.Programmer(bus, form, settings)

    def identify(self, *, progress=None, stop=None):
        """Reads what the ECU says of itself, an Identification."""
        return _Call("identify", self, progress, stop).run(self._native.identify)

    def flash(self, image, *, verify=False, confirm=None, backup=None, min_voltage=None, progress=None, stop=None):
        """Erases the memory and writes an image, a MemoryImage or what one is made of; a ProgramResult.

        verify: read it back and compare. confirm: a function that gets the Identification before anything is changed
        and returns whether to go on; None means that it does not know yet, and is asked again soon. backup: a function
        that gets what the image will replace as a MemoryImage, or the path of a new file for it, in the format of its
        extension, as MemoryImage.save writes; an existing file is refused. An exception of either, and a file that
        cannot be written, ends the call before anything is erased. min_voltage: volts below which the battery of the
        vehicle is LowBattery, as the bus's battery_voltage tells it.
        """
        to_file = isinstance(backup, (str, bytes, os.PathLike))
        where = os.fsdecode(backup) if to_file else backup
        call = _Call("flash", self, progress, stop, confirm, None if to_file else backup, min_voltage)
        return call.run(self._native.flash, image, verify, where)

    def read(self, ranges, *, progress=None, stop=None):
        """Reads memory, pairs of start and count, into a MemoryImage."""
        return _Call("read", self, progress, stop).run(self._native.read, ranges)

    def verify(self, image, *, progress=None, stop=None):
        """Reads the memory back and compares it with an image; a ProgramResult, or VerificationFailed."""
        return _Call("verify", self, progress, stop).run(self._native.verify, image)


class _Call:
    """One call of a Programmer, as the extension module tells and asks it."""

    def __init__(self, name, programmer, progress, stop, confirm=None, backup=None, min_voltage=None):
        self._name = name
        self._programmer = programmer
        self._progress = progress
        self._stop = getattr(stop, "is_set", stop)
        self._confirm = confirm
        self._min_voltage = min_voltage
        self._phase = None
        self.backup = backup

    def run(self, work, *arguments):
        try:
            result = work(*arguments, self)
        except (WrongEcu, LowBattery) as error:
            _log.error("%s: %s", self._name, error)
            raise error from None
        except BaseException as error:
            _log.error("%s: %s", self._name, error if str(error) else type(error).__name__)
            raise
        _log.info("%s: done", self._name)
        return result

    def key(self, seed):
        if self._programmer._key is None:
            raise ValueError("the ECU asks for a key: Programmer needs a function that computes it")
        return self._programmer._key(seed)

    def checksum(self, block):
        return _number("checksum", self._programmer._checksum(block), 0, 0xFFFF)

    def confirm(self, identification):
        if self._min_voltage is not None:
            _require_battery(self._min_voltage, getattr(self._programmer._bus, "battery_voltage", None))
            self._min_voltage = None
        return True if self._confirm is None else self._confirm(identification)

    def stop_requested(self):
        return self._stop is not None and self._stop()

    def identified(self, identification):
        _log.info("%s: the ECU is %s", self._name, identification.text)
        expected = self._programmer._expected
        found = _without_padding(identification.record)
        if expected not in (None, found):
            raise _wrong_ecu(expected, identification)

    def progress(self, progress):
        if progress.phase != self._phase:
            self._phase = progress.phase
            _log.info("%s: %s", self._name, progress.phase)
        if self._progress is not None:
            self._progress(progress)

    def warning(self, text):
        _log.warning("%s: %s", self._name, text)

    def document(self, phase, request, reason, seconds):
        _log.debug("%s: %s: %s in %.3f s%s", self._name, phase, request.hex(" "), seconds, reason and f": {reason}")


def _wrong_ecu(expected, identification):
    wanted = Identification(expected, []).text
    text = f"expected the ECU {wanted}, found {identification.text}; nothing was changed"
    return _refusal(WrongEcu, "wrong ECU", text, "look at which ECU is connected, and at expect_ecu")


def _require_battery(least, volts):
    if volts is None:
        text = f"expected a battery of at least {least:g} V, but this bus cannot tell; nothing was erased"
        raise _refusal(LowBattery, "battery", text, "measure the voltage and leave out min_voltage")
    if volts < least:
        text = f"expected a battery of at least {least:g} V, found {volts:g} V; nothing was erased"
        raise _refusal(LowBattery, "battery", text, "charge the battery or connect a supply, and flash again")


def _refusal(kind, cause, text, advice):
    """Why the host itself goes no further, after the ECU was identified."""
    facts = {
        "phase": "identify",
        "cause": cause,
        "text": text,
        "state": "as before, nothing was erased or written; no session is open",
        "advice": advice,
    }
    return _with_attributes(kind("identify: " + text), facts)


PUBLIC = (
    Cancelled,
    Difference,
    HistoryEntry,
    Identification,
    LowBattery,
    NoAnswer,
    ProgramResult,
    Programmer,
    ProgrammingError,
    Progress,
    Refused,
    VerificationFailed,
    WrongEcu,
)
for _type in PUBLIC:
    _type.__module__ = "quillmark"
