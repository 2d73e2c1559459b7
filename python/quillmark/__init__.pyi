# SPDX-License-Identifier: MIT
from collections.abc import Callable, Generator, Iterable, Iterator, Mapping, Set
from dataclasses import dataclass
from os import PathLike
from typing import Literal, NamedTuple, Protocol, TypeAlias, overload
from xml.etree.ElementTree import Element, ElementTree

_Form: TypeAlias = Literal["can", "gateway", "kline"]
_Bytes: TypeAlias = bytes | bytearray | memoryview
_Path: TypeAlias = str | PathLike[str]
_Segments: TypeAlias = Mapping[int, _Bytes] | Iterable[tuple[int, _Bytes]]

__version__: str

class Error(Exception):
    number: int
    description: str
    history: History | None
    def __init__(self, number: int, description: str) -> None: ...

class BusError(OSError): ...

class TransferIncomplete(Exception):
    delivered: int
    expected: int
    def __init__(self, delivered: int, expected: int) -> None: ...

class History(NamedTuple):
    RepHisto: list[bytes | None]
    RepReprog: list[bytes | None]
    RepIdent: bytes | None

class Step:
    @property
    def kind(self) -> Literal["send", "receive", "wait", "break"]: ...
    @property
    def frame(self) -> bytes: ...
    @property
    def expected(self) -> str: ...
    @property
    def milliseconds(self) -> int: ...
    @property
    def received(self) -> bytes | None: ...
    @property
    def failure(self) -> str | None: ...
    def answer(self, frame: _Bytes) -> None: ...
    def fail(self, reason: str) -> None: ...

class Document:
    def __init__(self, xml: str) -> None: ...
    @property
    def xml(self) -> str: ...
    @property
    def totalbytes(self) -> int | None: ...
    def steps(self) -> list[Step]: ...
    def to_etree(self) -> Element: ...
    @staticmethod
    def from_etree(tree: Element | ElementTree) -> Document: ...
    def copy(self) -> Document: ...

class MemoryImage:
    def __init__(self, segments: _Segments = ...) -> None: ...
    @staticmethod
    def from_file(path: _Path, base: int | None = ...) -> MemoryImage: ...
    def save(self, path: _Path, fill: int = ...) -> None: ...
    def add(self, address: int, data: _Bytes) -> None: ...
    @property
    def segments(self) -> list[tuple[int, bytes]]: ...
    def joined(self) -> dict[int, bytes]: ...
    def copy(self) -> MemoryImage: ...
    def __copy__(self) -> MemoryImage: ...
    def __deepcopy__(self, memo: object) -> MemoryImage: ...
    def __eq__(self, other: object) -> bool: ...
    def __len__(self) -> int: ...
    def __iter__(self) -> Iterator[tuple[int, bytes]]: ...
    def __getitem__(self, addresses: slice) -> MemoryImage: ...
    @property
    def size(self) -> int: ...

class Transfer:
    def wait(self, timeout: float | None = ...) -> bool: ...
    def cancel(self) -> None: ...
    @property
    def done(self) -> bool: ...

class DiagOnCANReprog:
    def __init__(self) -> None: ...
    def CANIDs(self, RCANId: int, XCANId: int) -> None: ...
    def StartDiag(self) -> Document: ...
    def gethisto(self, root: Document) -> History: ...
    def readseed(self) -> Document: ...
    def getseed(self, root: Document) -> bytes: ...
    def dounlock(self, key: _Bytes) -> Document: ...
    def checkunlock(self, root: Document) -> None: ...
    def starterase(self, RL: int) -> Document: ...
    def checkstarterase(self, root: Document) -> None: ...
    def checkerase(self) -> Document: ...
    def checkcheckerase(self, root: Document) -> bool: ...
    def checkdownload(self, root: Document) -> None: ...
    def startroutine(self, Routine: int) -> Document: ...
    def checkstartroutine(self, root: Document, Routine: int) -> None: ...
    def routinestatus(self, Routine: int) -> Document: ...
    def checkroutine(self, root: Document, Routine: int) -> bool: ...
    def writelogzone(self, Histo: _Bytes) -> Document: ...
    def checkwritelogzone(self, root: Document) -> None: ...
    def checkupload(self, root: Document, Image: MemoryImage) -> None: ...
    def stopcomm(self) -> Document: ...
    @overload
    def ComputeDownload(
        self, RL: int, Image: MemoryImage | _Segments, FillByte: int, IMod: int, MaxSize: int, XMLReady: None = ...
    ) -> Generator[Document, None, None]: ...
    @overload
    def ComputeDownload(
        self,
        RL: int,
        Image: MemoryImage | _Segments,
        FillByte: int,
        IMod: int,
        MaxSize: int,
        XMLReady: Callable[[Document | None], bool | None],
    ) -> Transfer: ...
    @overload
    def ComputeUpload(
        self, Map: Iterable[tuple[int, int]], RL: int, XMLReady: None = ...
    ) -> Generator[Document, None, None]: ...
    @overload
    def ComputeUpload(
        self, Map: Iterable[tuple[int, int]], RL: int, XMLReady: Callable[[Document | None], bool | None]
    ) -> Transfer: ...
    def TesterPresent(self) -> Document: ...
    def FlowControl(self, BS: int, STMin: int) -> None: ...

class SimulatedEcu:
    def __init__(
        self,
        form: _Form = ...,
        *,
        address: int | None = ...,
        request_id: int = ...,
        reply_id: int = ...,
        flow_control: tuple[int, int] = ...,
        memory: int = ...,
        check_routine: int = ...,
        erase_time: float = ...,
        check_time: float = ...,
        silent: bool = ...,
        refuses_key: bool = ...,
        bad_checksum_at_block: int | None = ...,
        pending: Mapping[int, int] = ...,
        busy: Mapping[int, int] = ...,
        refused: Mapping[int, int] = ...,
        bad_cells: Set[int] = ...,
        blind_check: bool = ...,
        write_once: bool = ...,
        checksum: Callable[[bytes], int] | None = ...,
    ) -> None: ...
    @property
    def form(self) -> _Form: ...
    @property
    def canids(self) -> tuple[int, int]: ...
    @property
    def check_routine(self) -> int: ...
    def key(self, seed: _Bytes) -> bytes: ...
    def read(self, address: int, count: int) -> bytes: ...
    @property
    def blocks_written(self) -> int: ...

class Bus:
    def select(self, receive: int, send: int) -> None: ...
    def send(self, frame: _Bytes) -> None: ...
    def receive(self, timeout: float) -> bytes | None: ...
    def send_break(self, seconds: float) -> None: ...
    def wait(self, seconds: float) -> None: ...
    @property
    def now(self) -> float: ...
    @property
    def form(self) -> _Form: ...
    @property
    def battery_voltage(self) -> float | None: ...
    def close(self) -> None: ...
    def __enter__(self) -> Bus: ...
    def __exit__(self, *raised: object) -> None: ...

class _OwnBus(Protocol):
    def select(self, receive: int, send: int) -> None: ...
    def send(self, frame: bytes) -> None: ...
    def receive(self, timeout: float) -> bytes | None: ...

class _CanMessage(Protocol):
    @property
    def arbitration_id(self) -> int: ...

class _PythonCanBus(Protocol):
    def recv(self, timeout: float | None = ...) -> _CanMessage | None: ...
    def shutdown(self) -> None: ...

class CanBus:
    form: Literal["can"]
    def __init__(self, bus: _PythonCanBus) -> None: ...
    def select(self, receive: int, send: int) -> None: ...
    def send(self, frame: bytes) -> None: ...
    def receive(self, timeout: float) -> bytes | None: ...
    def close(self) -> None: ...
    def __enter__(self) -> CanBus: ...
    def __exit__(self, *raised: object) -> None: ...

def can_bus(bus: _PythonCanBus) -> CanBus: ...

class EcuServer:
    def __init__(self, ecu: SimulatedEcu, bus: _PythonCanBus) -> None: ...
    def __enter__(self) -> EcuServer: ...
    def __exit__(self, *raised: object) -> None: ...

class TraceEntry(NamedTuple):
    kind: Literal["send", "receive", "break"]
    seconds: float
    data: bytes
    duration: float

class TraceMessage(NamedTuple):
    kind: Literal["send", "receive"]
    seconds: float
    end: float
    data: bytes
    text: str
    frames: int

class Trace:
    @property
    def form(self) -> _Form: ...
    @property
    def ids(self) -> tuple[int, int]: ...
    @property
    def entries(self) -> list[TraceEntry]: ...
    @property
    def messages(self) -> list[TraceMessage]: ...
    @property
    def damage(self) -> str: ...
    def save(self, path: _Path) -> None: ...

def TracingBus(bus: Bus | _OwnBus, path: _Path) -> Bus: ...
def read_trace(path: _Path, *, ids: tuple[int, int] | None = ...) -> Trace: ...
def decode(
    source: Trace | Document | _Path,
    *,
    form: _Form | None = ...,
    ids: tuple[int, int] | None = ...,
    frames: bool = ...,
) -> str: ...
def report(folder: _Path, output: _Path | None = ...) -> str: ...

class _Event(Protocol):
    def is_set(self) -> bool: ...

_Stop: TypeAlias = _Event | Callable[[], bool] | None

def SimulatedBus(
    ecu: SimulatedEcu,
    *,
    bit_rate: int | None = ...,
    lost_frame: int | None = ...,
    lost_every: int | None = ...,
    flipped_frame: int | None = ...,
    silent_from: int | None = ...,
    unplugged_at: int | None = ...,
) -> Bus: ...
def open_bus(uri: str) -> Bus: ...

class RunOutcome:
    @property
    def status(
        self,
    ) -> Literal[
        "complete",
        "silence",
        "damaged reply",
        "flow control",
        "late refusal",
        "unexpected frame",
        "pending too long",
        "bus error",
        "stopped",
    ]: ...
    @property
    def complete(self) -> bool: ...
    @property
    def step(self) -> int: ...
    @property
    def reason(self) -> str: ...
    @property
    def request(self) -> bytes: ...
    @property
    def frame(self) -> bytes: ...
    @property
    def response_code(self) -> int | None: ...
    @property
    def elapsed(self) -> float: ...

class Runner:
    def __init__(
        self,
        bus: Bus | _OwnBus,
        form: _Form | None = ...,
        *,
        p2: float = ...,
        p2_star: float = ...,
        max_pending: int = ...,
        pending_limit: float = ...,
        max_wait_frames: int = ...,
    ) -> None: ...
    def run(self, document: Document, *, stop: _Stop = ...) -> Document: ...
    @property
    def outcome(self) -> RunOutcome | None: ...

_Phase: TypeAlias = Literal[
    "prepare",
    "identify",
    "unlock",
    "backup",
    "erase",
    "download",
    "check",
    "upload",
    "verify",
    "log zone",
    "close",
]
_Memory: TypeAlias = Literal["untouched", "perhaps erased", "partly written", "written", "checked"]

@dataclass(frozen=True)
class HistoryEntry:
    history: bytes | None
    reprogramming: bytes | None

@dataclass(frozen=True)
class Identification:
    record: bytes
    entries: list[HistoryEntry]
    @property
    def text(self) -> str: ...

@dataclass(frozen=True)
class Progress:
    phase: _Phase
    bytes_done: int
    bytes_total: int
    phase_seconds: float
    seconds: float
    memory: _Memory
    repeated: int
    passed_over: int

@dataclass(frozen=True)
class ProgramResult:
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
    address: int
    expected: int
    found: int | None

class ProgrammingError(Exception):
    phase: _Phase
    cause: Literal[
        "argument",
        "silence",
        "unexpected reply",
        "still busy",
        "bus",
        "component",
        "key",
        "incomplete",
        "difference",
        "cancelled",
        "wrong ECU",
        "battery",
    ]
    number: int
    text: str
    address: int | None
    response_code: int | None
    service: int | None
    document_step: int
    memory: _Memory
    written_bytes: int
    image_bytes: int
    session_open: bool
    state: str
    advice: str
    repeated: int
    passed_over: int

class Cancelled(ProgrammingError): ...
class NoAnswer(ProgrammingError): ...
class Refused(ProgrammingError): ...

class VerificationFailed(ProgrammingError):
    differences: list[Difference]
    different_bytes: int

class WrongEcu(ProgrammingError): ...
class LowBattery(ProgrammingError): ...

class Programmer:
    def __init__(
        self,
        bus: Bus | _OwnBus,
        key: Callable[[bytes], _Bytes | None] | None = ...,
        *,
        form: _Form | None = ...,
        ids: tuple[int, int] = ...,
        address: int | None = ...,
        memory: int = ...,
        fill: int = ...,
        align: int = ...,
        block: int = ...,
        check_routine: int = ...,
        checksum: Callable[[bytes], int] | None = ...,
        flow_control: Literal["auto"] | tuple[int, int] = ...,
        log_record: _Bytes | None = ...,
        expect_ecu: str | _Bytes | None = ...,
        p2: float = ...,
        p2_star: float = ...,
        max_pending: int = ...,
        pending_limit: float = ...,
        max_wait_frames: int = ...,
        repeat: int = ...,
        busy_interval: float = ...,
        busy_limit: float = ...,
        poll_interval: float = ...,
        routine_limit: float = ...,
        tester_present: float = ...,
    ) -> None: ...
    def identify(
        self, *, progress: Callable[[Progress], object] | None = ..., stop: _Stop = ...
    ) -> Identification: ...
    def flash(
        self,
        image: MemoryImage | _Segments,
        *,
        verify: bool = ...,
        confirm: Callable[[Identification], bool | None] | None = ...,
        backup: Callable[[MemoryImage], object] | _Path | None = ...,
        min_voltage: float | None = ...,
        progress: Callable[[Progress], object] | None = ...,
        stop: _Stop = ...,
    ) -> ProgramResult: ...
    def read(
        self,
        ranges: Iterable[tuple[int, int]],
        *,
        progress: Callable[[Progress], object] | None = ...,
        stop: _Stop = ...,
    ) -> MemoryImage: ...
    def verify(
        self,
        image: MemoryImage | _Segments,
        *,
        progress: Callable[[Progress], object] | None = ...,
        stop: _Stop = ...,
    ) -> ProgramResult: ...

def wait_for_workers() -> None: ...
