# SPDX-License-Identifier: MIT
"""quillmark.exe under Wine, through COM ports or through a pass-thru DLL.

Each flash is run by the tool of this machine too: both end with the same status and say the same, and their traces have
the same frames in the same order. Times may differ, and so may how often the session was kept alive and how often the
ECU was asked whether it is done.

At a COM port, the tool of this machine simulates the ECU behind a pseudo-terminal. A pass-thru library has its ECU in
itself. It counts each call that breaks the rules of the interface: none may.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import time

AT_A_TIME = 4  # cases, and COM ports: most of a case is waiting
PATIENCE = 120  # seconds, for a machine that is busy elsewhere
BASE = 0x1000
SIZE = 0x10000
IMAGE = bytes(range(250)) * 6
SMALL_IMAGE = bytes(range(200))
FIRMWARE = pathlib.Path(__file__).resolve().parents[2] / "docs/samples/firmware.srec"
NO_VIOLATIONS = "closed with 0 violations\n"


def absolute(path):
    return pathlib.Path(path).resolve()


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    launcher = pathlib.Path(__file__).resolve().parents[2] / "packaging/wine"
    parser.add_argument("--wine", default=str(launcher), metavar="COMMAND",
                        help="runs a Windows program; gets the folder of the Windows, program and arguments")
    parser.add_argument("--pass-thru", nargs=2, type=absolute, metavar=("DLL", "LIBRARY"),
                        help="test this adapter, for PROGRAM and for TOOL, and not COM ports")
    parser.add_argument("--other-width", type=absolute, metavar="DLL",
                        help="the adapter for programs of the other width; without it the header of DLL is changed")
    parser.add_argument("--runner", type=absolute, metavar="PROGRAM",
                        help="for Windows, which speaks what quillmark conformance does; with COM ports")
    parser.add_argument("folder", type=absolute, help="is made anew")
    parser.add_argument("program", type=absolute, help="quillmark.exe")
    parser.add_argument("tool", type=absolute, help="quillmark of this machine")
    parser.add_argument("cases", nargs="*", help="their names; all if none is named")
    return parser.parse_args()


class Machine:
    """This one, and the Windows that the folder holds. Its COM ports are links: a case points its own to the
    pseudo-terminal of its ECU."""

    def __init__(self, arguments):
        self.folder = arguments.folder
        self.tool = str(arguments.tool)
        self.libraries = arguments.pass_thru
        self.other_library = arguments.other_width
        self.runner = arguments.runner
        (self.bits,) = {bits for bits, mark in MACHINES.items() if mark == machine_of(arguments.program.read_bytes())}
        self.windows = [*shlex.split(arguments.wine), str(self.folder / "wine")]
        self.programs = {"windows": [*self.windows, str(arguments.program)], "linux": [self.tool]}
        self.registry = Registry(self)

    def start_windows(self):
        if (self.folder / "wine").exists():
            # An earlier run may have been ended before it came to this.
            subprocess.run([*self.windows, "wineserver", "--kill"], timeout=PATIENCE)
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        for port in range(1, AT_A_TIME + 1):
            self.register(r"HKLM\Software\Wine\Ports", f"COM{port}", str(self.link_of(port)))
        # The ports are made when Windows starts. It runs until the last case has ended, not only while a program does.
        self.control_windows("--kill")
        self.control_windows("--persistent")

    def register(self, key, name, value):
        command = [*self.windows, "reg", "add", key, "/v", name, "/d", value, "/f"]
        subprocess.run(command, stdout=subprocess.DEVNULL, timeout=PATIENCE, check=True)

    def control_windows(self, option):
        subprocess.run([*self.windows, "wineserver", option], timeout=PATIENCE, check=True)

    def link_of(self, port):
        return self.folder / f"port{port}"

    def run(self, system, *words, **options):
        return subprocess.run([*self.programs[system], *words], capture_output=True, timeout=PATIENCE, **options)


# The machine in the header of programs, by their width.
MACHINES = {32: 0x14C, 64: 0x8664}


def place_of_machine(program):
    return struct.unpack_from("<I", program, 0x3C)[0] + 4


def machine_of(program):
    return struct.unpack_from("<H", program, place_of_machine(program))[0]


def for_other_machine(program, machine):
    changed = bytearray(program)
    struct.pack_into("<H", changed, place_of_machine(program), machine)
    return changed


class AtComPort:
    """An ECU in a process of its own."""

    MEMORY = "memory"

    def __init__(self, bus, words, parameters, machine, system, folder, port):
        command = [machine.tool, "simulate", *words, "--memory", str(folder / self.MEMORY), "--size", hex(SIZE)]
        self.process = subprocess.Popen([*command, "--bus", bus], stdout=subprocess.PIPE, text=True)
        device = self.process.stdout.readline().split()[1]
        if system == "windows":
            link = machine.link_of(port)
            link.unlink(missing_ok=True)
            link.symlink_to(device)
            device = f"COM{port}"
        self.uri = f"{bus}:{device}{parameters}"
        self.environment = {}

    def end(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(PATIENCE)
        return []


class BehindLibrary:
    """An ECU in the library of an adapter. Names of files are no ASCII, as those of a user may be."""

    MEMORY = "speicher-ä"

    def __init__(self, protocol, words, parameters, machine, system, folder, _):
        library = machine.libraries[0 if system == "windows" else 1]
        name = "gerät" + library.suffix
        (folder / name).symlink_to(library)
        self.report = folder / "bericht-ö"
        settings = ["--fast", "--report", self.report.name, "--memory", self.MEMORY, *words]
        self.uri = f"j2534:./{name}?protocol={protocol}{parameters}"
        self.environment = {"QUILLMARK_PASS_THRU_SIMULATOR": " ".join(settings)}

    def end(self):
        report = self.report.read_text() if self.report.exists() else "it was never opened and closed"
        return [] if report == NO_VIOLATIONS else [f"rules of the interface: {report}"]


def frames_of(trace):
    """Without times, device, tester present, and questions that were asked again at once."""
    if not trace.exists():
        return []
    present = re.compile(r"#023E01|#017E|3E 01 \w\w$|^< \w\w \w\w \w\w 7E")
    frames = []
    for line in trace.read_text().splitlines():
        frame = re.sub(r"^(\(\S+ \S+|[\d.]+) ", "", line.strip())
        if present.search(frame):
            continue
        frames.append(frame)
        if frames[-4:-2] == frames[-2:]:
            del frames[-2:]
    return frames


def said(text):
    """Without what differs from run to run."""
    text = text.decode().replace("\r", "")
    text = re.sub(r"(slcan|kline):(\S+?)(\?\S*)? ?,", r"\1:PORT,", text)
    text = re.sub(r"(/dev/pts/\d+|COM\d+)", "PORT", text)
    text = re.sub(r"PORT is gone: .*", "PORT is gone", text)
    text = re.sub(r"gerät\.(dll|so)", "gerät", text)
    lines = [line for line in text.splitlines() if not re.match(r"(download|verify) .* %|wine: |[0-9a-f]{4}:", line)]
    return [re.sub(r" in [\d.]+ s.*", "", line) for line in lines]


def forget_last_frame(*outcomes):
    """Where one of two has one more, and where both say which step was the last."""
    longest = min(len(outcome["trace"]) for outcome in outcomes) + 1
    for outcome in outcomes:
        if len(outcome["trace"]) == longest:
            outcome["trace"].pop()
        outcome["errors"] = [re.sub(r", step \d+ of the document", "", line) for line in outcome["errors"]]


class Flash:
    """A flash in both systems. A `kept` image is in the memory before, and is only compared with."""

    def __init__(self, name, adapter, bus, faults=(), image=IMAGE, status=0, words=(), parameters="", options=(),
                 p2=2000, key_commands=None, same_trace=True, has_frames=True, kept=False,
                 last_in_doubt=False):
        self.name = name
        self.adapter = adapter
        self.bus = bus
        self.words = [*words, *(word for fault in faults for word in ("--fault", fault))]
        self.image = image
        self.status = status
        self.parameters = parameters
        self.options = ["--p2", str(p2), *options]
        self.key_commands = key_commands
        self.same_trace = same_trace
        self.has_frames = has_frames
        self.kept = kept
        self.last_in_doubt = last_in_doubt

    def run_in(self, system, machine, port):
        """Status, what was said, frames and flash; and what else is wrong."""
        folder = machine.folder / self.name / system
        folder.mkdir(parents=True)
        (folder / "größe.bin").write_bytes(self.image)
        memory = folder / self.adapter.MEMORY
        if self.kept:
            memory.write_bytes((bytes(BASE) + self.image).ljust(SIZE, b"\xFF"))
        adapter = self.adapter(self.bus, self.words, self.parameters, machine, system, folder, port)
        command = ["verify"] if self.kept else ["flash", "--verify", "--yes"]
        command += ["größe.bin", "--base", hex(BASE), *self.options, "--trace", "spur-ü.log", "--bus", adapter.uri]
        if self.key_commands:
            command += ["--key-command", self.key_commands[system]]
        result = machine.run(system, *command, cwd=folder, env={**os.environ, **adapter.environment})
        defects = adapter.end()
        content = memory.read_bytes() if memory.exists() else b""
        outcome = {"status": result.returncode, "output": said(result.stdout), "errors": said(result.stderr),
                   "trace": frames_of(folder / "spur-ü.log"), "memory": content[BASE : BASE + len(self.image)]}
        return outcome, defects

    def run(self, machine, port):
        there, defects = self.run_in("windows", machine, port)
        here, more = self.run_in("linux", machine, port)
        defects += more
        if self.last_in_doubt:
            forget_last_frame(there, here)
        for what, expected in here.items():
            if there[what] != expected and (what != "trace" or self.same_trace):
                defects.append(f"{what}: expected\n{expected}\nfound\n{there[what]}")
        if there["status"] != self.status:
            defects.append(f"expected status {self.status}, found {there['status']}: {there['errors']}")
        if self.status == 0 and there["memory"] != self.image:
            defects.append("the flash does not hold the image")
        if bool(there["trace"]) != self.has_frames:
            defects.append(f"expected {'' if self.has_frames else 'no '}frames in the trace, found {there['trace']}")
        return defects


class Registry:
    """Adapters as installers leave them, well and badly. `other` is the same for programs of the other width."""

    PASS_THRU = r"PassThruSupport.04.04"

    def __init__(self, machine):
        self.machine = machine
        self.folder = machine.folder / "registry"
        self.bits = machine.bits
        self.other_bits = 96 - machine.bits
        self.lines = ["Windows Registry Editor Version 5.00"]

    def file(self, name):
        return "Z:" + str(self.folder / name).replace("/", "\\")

    def add(self, key, values, view=""):
        self.lines.append(f"\n[HKEY_LOCAL_MACHINE\\Software\\{view}{self.PASS_THRU}\\{key}]")
        for name, value in values.items():
            if isinstance(value, int):
                written = f"dword:{value:08x}"
            elif isinstance(value, bytes):
                written = "hex(1):" + ",".join(f"{byte:02x}" for byte in value)
            elif "%" in value:
                written = "hex(2):" + ",".join(f"{byte:02x}" for byte in (value + "\0").encode("utf-16-le"))
            else:
                written = '"' + value.replace("\\", "\\\\") + '"'
            self.lines.append(f'"{name}"={written}')

    def fill(self):
        self.folder.mkdir()
        library = self.machine.libraries[0]
        (self.folder / "gerät.dll").symlink_to(library)
        if self.machine.other_library:
            (self.folder / "other.dll").symlink_to(self.machine.other_library)
        else:
            other = for_other_machine(library.read_bytes(), MACHINES[self.other_bits])
            (self.folder / "other.dll").write_bytes(other)
        (self.folder / "text.dll").write_text("no library")
        (self.folder / "cut.dll").write_bytes(library.read_bytes()[:3000])
        dll = self.file("gerät.dll")
        # A Windows of 32 bits has one view of the registry.
        view = "Wow6432Node\\" if self.bits == 64 else ""
        self.add("A1", {"Name": "Prüfstand", "Vendor": "Niemand", "FunctionLibrary": dll, "CAN": 1, "ISO14230": 2})
        self.add("A2", {"Name": "Prüfstand", "FunctionLibrary": self.file("other.dll"), "CAN": 1}, view)
        self.add("A3", {"Name": "Anderer", "FunctionLibrary": self.file("other.dll"), "CAN": 0}, view)
        self.add("By its key", {"FunctionLibrary": dll, "CAN": "yes"})
        self.add("B1", {"Name": "Prüfstand", "FunctionLibrary": self.file("none.dll")})
        self.add("B2", {"Name": "a/b", "FunctionLibrary": self.file("text.dll")})
        self.add("C1", {"Name": "Unended!".encode("utf-16-le"), "FunctionLibrary": dll})
        self.add("C2", {"Name": "Half".encode("utf-16-le") + b"\x00\xD8\x21", "FunctionLibrary": dll})
        self.add("C3", {"Name": "Bare", "FunctionLibrary": "none.dll"})
        self.add("C4", {"Name": "Expanded", "FunctionLibrary": "%SystemRoot%\\none.dll"})
        self.add("D1", {"Name": "\x1b[2J", "FunctionLibrary": dll})
        self.add("D2", {"Name": 5, "FunctionLibrary": dll})
        self.add("D3", {"Name": "D3", "FunctionLibrary": ""})
        self.add("D4", {"Name": "D4"})
        self.add("D5", {"Name": "5" * 201, "FunctionLibrary": dll})
        self.add("D6", {"Name": "D6", "FunctionLibrary": "C:\\" + "6" * 5000})
        self.add("D7", {"Name": "D7", "FunctionLibrary": dll, "Vendor": b"\x0A\x00"})
        file = self.folder / "adapters.reg"
        file.write_text("\n".join(self.lines) + "\n", encoding="utf-16")
        command = [*self.machine.windows, "reg", "import", str(file)]
        subprocess.run(command, stdout=subprocess.DEVNULL, timeout=PATIENCE, check=True)


class Says:
    """What quillmark.exe says where the registry is as above. `expected` is a function of the registry: the lines on
    standard output and on standard error, whose last one, the advice, is left out."""

    def __init__(self, name, words, status, expected):
        self.name = name
        self.words = words
        self.status = status
        self.expected = expected

    def run(self, machine, _):
        environment = {**os.environ, "QUILLMARK_PASS_THRU_SIMULATOR": "--fast"}
        result = machine.run("windows", *self.words, cwd=machine.registry.folder, env=environment)
        output, errors = said(result.stdout), said(result.stderr)
        if errors and errors[-1].startswith("next "):
            errors.pop()
        expected = (self.status, *self.expected(machine.registry))
        # This machine may have ports of its own.
        more = output[len(expected[1]) :]
        if all(re.match(r"serial port PORT|  --bus (slcan|kline):PORT", line) for line in more):
            output = output[: len(expected[1])]
        found = (result.returncode, output, errors)
        return [] if found == expected else [f"expected\n{expected}\nfound\n{found}"]


def listed(registry):
    bits, other = registry.bits, registry.other_bits
    elsewhere = f"{other}-bit: for the quillmark.exe in the folder {other}"
    dll = registry.file("gerät")
    mine = [
        f"Prüfstand, Niemand, {dll}, {bits}-bit",
        "  --bus j2534:Prüfstand?protocol=can",
        "  --bus j2534:Prüfstand?protocol=kline",
    ]
    others = [
        f"Prüfstand, {registry.file('other.dll')}, {elsewhere}",
        "  --bus j2534:Prüfstand?protocol=can",
        f"Anderer, {registry.file('other.dll')}, {elsewhere}",
        "  --bus j2534:Anderer",
    ]
    unusable = [
        f"Prüfstand, {registry.file('none.dll')}, but there is no such file",
        f"  --bus j2534:{registry.file('none.dll')}",
        f"a/b, {registry.file('text.dll')}, but that is no library for Windows on this processor",
        f"  --bus j2534:{registry.file('text.dll')}",
        f"By its key, {dll}, {bits}-bit",
        '  --bus "j2534:By its key"',
        f"Unended!, {dll}, {bits}-bit",
        "  --bus j2534:Unended!",
        f"Half\uFFFD, {dll}, {bits}-bit",
        "  --bus j2534:Half\uFFFD",
        r"Bare, C:\windows\system32\none.dll, but there is no such file",
        "  --bus j2534:Bare",
        r"Expanded, C:\windows\none.dll, but there is no such file",
        "  --bus j2534:Expanded",
    ]
    ports = [
        line
        for port in range(1, AT_A_TIME + 1)
        for line in (rf"serial port PORT, \Device\Serial{port - 1}", "  --bus slcan:PORT", "  --bus kline:PORT")
    ]
    refused = {
        "D1": "Name must have 1 to 200 bytes, without control characters",
        "D2": "expected a text Name",
        "D3": "FunctionLibrary must have 1 to 4096 bytes, without control characters",
        "D4": "expected a text FunctionLibrary",
        "D5": "Name must have 1 to 200 bytes, without control characters",
        "D6": "FunctionLibrary must have 1 to 4096 bytes, without control characters",
        "D7": "Vendor must have 1 to 200 bytes, without control characters",
    }
    place = r"HKEY_LOCAL_MACHINE\SOFTWARE\PassThruSupport.04.04"
    # With one view, all lie in it, by the names of their keys.
    adapters = mine + unusable + others if bits == 64 else mine + others + unusable
    return adapters + ports, [rf"quillmark: warning: {place}\{key}: {text}" for key, text in refused.items()]


def around_a_library():
    def refuses(name, device, expected):
        words = ["identify", "--bus", f"j2534:{device}"]
        return Says("j2534-" + name, words, 74, lambda registry: ([], ["quillmark: " + expected(registry)]))

    def of_other_width(name):
        return lambda registry: (
            f"{name(registry)} is a library for {registry.other_bits}-bit programs, this is the {registry.bits}-bit "
            f"quillmark: use the quillmark.exe in the folder {registry.other_bits}")

    def unknown(registry):
        names = ["Prüfstand", "a/b", "By its key", "Unended!", "Half\uFFFD", "Bare", "Expanded", "Anderer"]
        if registry.bits == 32:
            names = [names[0], names[-1], *names[1:-1]]
        known = ", ".join(f'"{name}"' for name in names)
        return (rf'there is no pass-thru adapter "Keiner" in HKEY_LOCAL_MACHINE\SOFTWARE\PassThruSupport.04.04; '
                f"there are {known}; the path of a library does as well")

    def of_the_ecu(_):
        history = [f"{i:5}  HISTORY {i}  REPROGRAMMING {i}" for i in range(8)]
        return ["adapter   firmware 1.0 simulated, library 1.0, API 04.04", "identification  SIMULATED ECU 001 REV A",
                "entry  history    reprogramming", *history], []

    return [
        Says("j2534-devices", ["devices"], 0, listed),
        Says("j2534-by-name", ["identify", "--bus", "j2534:Prüfstand"], 0, of_the_ecu),
        refuses("by-name-of-other-width", "Anderer", of_other_width(lambda registry: registry.file("other.dll"))),
        refuses("of-other-width", "./other.dll", of_other_width(lambda _: "./other.dll")),
        refuses("unknown", "Keiner", unknown),
        refuses("missing", "./none.dll", lambda _: "./none.dll cannot be loaded: there is no such file"),
        refuses("no-library", "./text.dll",
                lambda _: "./text.dll cannot be loaded: it is no library for Windows on this processor"),
        refuses("damaged", "./cut.dll", lambda _: "./cut.dll cannot be loaded: it is damaged, or needs a library that is"),
        refuses("other-library", "C:/windows/system32/version.dll",
                lambda _: "C:/windows/system32/version.dll is no pass-thru library of API 04.04: it has no PassThruOpen"),
    ]


class Command:
    """One that needs no adapter."""

    def __init__(self, name, *words):
        self.name = name
        self.words = words

    def run(self, machine, _):
        there, here = (machine.run(system, *self.words) for system in ("windows", "linux"))
        if there.returncode != here.returncode or said(there.stdout) != said(here.stdout) or not here.stdout:
            return [f"expected\n{here}\nfound\n{there}"]
        return []


class Conformance:
    """Our own runner, as a program for Windows, passes as it does on this machine."""

    name = "conformance"

    def run(self, machine, _):
        result = machine.run("windows", "conformance", "--form", "kline", "--can-stop", "--can-repeat", str(machine.runner))
        text = "\n".join(said(result.stdout))
        defects = [] if result.returncode == 0 else [f"status {result.returncode}: {said(result.stderr)}"]
        if "Form kline\n" not in text:
            defects.append(f"expected form kline, found\n{text}")
        return defects + [f"found {word}" for word in ("FAILED", "not claimed") if word in text]


def at_com_ports(runner):
    def can(name, *faults, **options):
        return Flash("can" + name, AtComPort, "slcan", faults, **options)

    def k_line(name, *faults, image=SMALL_IMAGE, **options):
        return Flash("kline" + name, AtComPort, "kline", faults, image, words=["--bitrate", "115200"],
                     parameters="?baud=115200&p1=1000&p3=0&p4=0", **options)

    return [
        Command("version", "--version"),
        Command("plan", "plan", str(FIRMWARE)),
        can(""),
        can("-lose-frame", "lose-frame@40"),
        # Which frames of a flash are lost depends on how often the ECU was asked whether it is done.
        can("-lose-every", "lose-every@400", "write-once", same_trace=False),
        can("-lose-every-verify", "lose-every@211", kept=True, options=["--tester-present", "60000"]),
        can("-flip-byte", "flip-byte@70"),
        can("-silent-from", "silent@60", status=69),
        can("-silent", "silent", status=69),
        # Of a confirmation and the end of the port behind it, either may be seen first, and the frame count as sent
        # or not. On a K line it is so with the echo, which cannot be left out.
        can("-unplug", "unplug@60", status=74, parameters="?confirms=no"),
        can("-negative", "negative@0x31:0x22", status=76),
        can("-pending", "pending@0x31:3"),
        can("-refuse-key", "refuse-key", status=76),
        can("-bad-checksum", "bad-checksum@2"),
        can("-bad-cell", "bad-cell@0x1010", status=76),
        can("-key-command", status=76, key_commands={"windows": "echo 11223344& rem", "linux": "echo 11223344 #"}),
        k_line(""),
        k_line("-lose-frame", "lose-frame@12"),
        k_line("-lose-every-verify", "lose-every@29", kept=True, p2=1000, options=["--tester-present", "60000"]),
        k_line("-flip-byte", "flip-byte@12"),
        k_line("-silent-from", "silent@12", status=69),
        k_line("-unplug", "unplug@12", status=74, last_in_doubt=True),
        k_line("-negative", "negative@0x31:0x22", status=76),
        k_line("-pending", "pending@0x31:3"),
        k_line("-bad-cell", "bad-cell@0x1010", status=76),
        *([Conformance()] if runner else []),
    ]


def behind_a_library():
    # The ECU is asked once: how often depends on the machine, and then other frames would be lost.
    at_once = ["--routine-time", "0"]
    once = ["--repeat", "0", "--tester-present", "60000"]

    def can(name, *faults, words=(), **options):
        return Flash("j2534-can" + name, BehindLibrary, "can", faults, words=[*at_once, *words], **options)

    def can_ends(name, fault, status, p2=5000, options=()):
        return can("-" + name, fault, status=status, p2=p2, image=IMAGE[:300], options=[*once, *options])

    def adapter(name, words, status=0, p2=5000, **options):
        return can("-" + name, words=words.split(), status=status, p2=p2, image=IMAGE[:300], **options)

    def k_line(name, *faults, words=(), image=SMALL_IMAGE, parameters="&p3=0&p4=0", **options):
        return Flash("j2534-kline" + name, BehindLibrary, "kline", faults, image, words=[*at_once, *words],
                     parameters=parameters, **options)

    extended = ["--ids", "0x18DAF110", "0x18DA10F1"]
    patient = ["--tester-present", "60000"]
    return [
        can(""),
        can("-29-bits", words=extended, options=extended),
        can("-flow-control", words=["--flow-control", "8", "5"]),
        can("-bit-rate", words=["--bitrate", "250000"], parameters="&bitrate=250000"),
        can("-other-bit-rate", words=["--bitrate", "250000"], status=74, has_frames=False),
        can("-lose-every", "lose-every@500", "write-once", p2=500, options=patient),
        can("-29-bits-lose-every", "lose-every@700", words=extended, p2=500, options=[*extended, *patient]),
        can("-refuse-key", "refuse-key", status=76),
        can("-bad-checksum", "bad-checksum@2"),
        can("-bad-cell", "bad-cell@0x1010", status=76),
        can("-pending", "pending@0x31:3"),
        can("-low-battery", words=["--millivolts", "11400"], options=["--min-voltage", "11.5"], status=69),
        can_ends("lost-frame", "lose-frame@161", 69, 1000),
        can_ends("flipped-byte", "flip-byte@161", 76),
        can_ends("silent", "silent@220", 69, 1000),
        can_ends("negative", "negative@0x34:0x72", 76),
        can_ends("endlessly-pending", "pending@0x34:5", 76, options=["--max-pending", "2"]),
        can_ends("unplugged", "unplug@220", 74),
        adapter("write-times-out", "--fail PassThruWriteMsgs@120:9", 74),
        adapter("transmit-buffer-full", "--fail PassThruWriteMsgs@120:0x11", 74),
        adapter("overflow-once", "--fail PassThruReadMsgs@120:0x12", p2=500),
        adapter("overflow-always", "--fail PassThruReadMsgs@0:0x12", 74, has_frames=False),
        adapter("writes-slowly", "--slow-write 3"),
        adapter("no-echoes", "--no-echoes"),
        adapter("read-fails", "--fail PassThruReadMsgs@120:7", 74),
        k_line(""),
        k_line("-usual-pauses", image=SMALL_IMAGE[:64], parameters=""),
        k_line("-address-and-speed", words=["--form", "kline", "--address", "0x33", "--bitrate", "9600"],
               options=["--address", "0x33"], parameters="&bitrate=9600&p4=0", image=SMALL_IMAGE[:64]),
        k_line("-lose-every", "lose-every@50", "write-once", p2=500, image=IMAGE[:500],
               options=["--block", "16", *patient]),
        k_line("-lose-frame", "lose-frame@12"),
        k_line("-flip-byte", "flip-byte@12"),
        k_line("-silent", "silent@12", status=69, p2=1000),
        k_line("-unplugged", "unplug@12", status=74),
        k_line("-negative", "negative@0x31:0x22", status=76),
        k_line("-pending", "pending@0x31:3"),
        k_line("-bad-cell", "bad-cell@0x1010", status=76),
    ]


def main():
    arguments = parse_arguments()
    machine = Machine(arguments)
    machine.start_windows()
    free_ports = list(range(1, AT_A_TIME + 1))
    if arguments.pass_thru:
        machine.registry.fill()
        cases = behind_a_library() + around_a_library()
    else:
        cases = at_com_ports(arguments.runner)
    names = arguments.cases or [case.name for case in cases]
    wanted = [next(case for case in cases if case.name == name) for name in names]

    def run(case):
        port = free_ports.pop()
        start = time.monotonic()
        try:
            return case.run(machine, port), time.monotonic() - start
        finally:
            free_ports.append(port)

    failed = 0
    try:
        with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as executor:
            for case, (defects, seconds) in zip(wanted, executor.map(run, wanted)):
                print(f"{'FAILED' if defects else 'passed'} {case.name} ({seconds:.1f} s)")
                for defect in defects:
                    print(defect)
                failed += bool(defects)
    finally:
        machine.control_windows("--kill")
    return failed


if __name__ == "__main__":
    sys.exit(main())
