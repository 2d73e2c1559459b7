# SPDX-License-Identifier: MIT
"""serial_ports.py WINE FOLDER PROGRAM TOOL [CASE...]: quillmark.exe (PROGRAM) through COM ports, under Wine.

TOOL, quillmark on this machine, simulates the ECU behind a pseudo-terminal, which is a COM port of the Windows that
FOLDER holds. Each case is run by the tool of this machine too: both end with the same status and say the same, and
their traces have the same frames in the same order. Times may differ, and so may how often the session was kept
alive and how often the ECU was asked whether it is done. Without a CASE all are run.
"""

import concurrent.futures
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

WINE, FOLDER, PROGRAM, TOOL = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4]
PORTS = 4  # cases at a time: most of a case is waiting
PATIENCE = 120  # seconds, for a machine that is busy elsewhere
CAN = ["--bus", "slcan"]
K_LINE = ["--bus", "kline", "--bitrate", "115200"]
FIRMWARE = pathlib.Path(__file__).parents[2] / "docs/samples/firmware.srec"
IMAGE = bytes(range(250)) * 6
SMALL_IMAGE = bytes(range(200))


def windows(*words, **options):
    return subprocess.run([WINE, str(FOLDER / "wine"), *words], capture_output=True, timeout=PATIENCE, **options)


def make_windows():
    """A Windows whose ports are links: a case points its own to the pseudo-terminal of its simulator."""
    key = r"HKEY_LOCAL_MACHINE\Software\Wine\Ports"
    for port in range(1, PORTS + 1):
        windows("reg", "add", key, "/v", f"COM{port}", "/d", str(link_of(port)), "/f").check_returncode()
    # The ports are made when Windows starts. It runs until the last case has ended, not only while a program does.
    windows("wineserver", "--kill").check_returncode()
    windows("wineserver", "--persistent").check_returncode()


def link_of(port):
    return FOLDER / f"port{port}"


class Simulator:
    """An ECU of its own for each flash."""

    def __init__(self, options, folder):
        self.memory = folder / "memory"
        self.memory.unlink(missing_ok=True)
        command = [TOOL, "simulate", *options, "--memory", str(self.memory), "--size", "0x10000"]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.device = self.process.stdout.readline().split()[1]

    def end(self):
        """What is in the flash."""
        self.process.send_signal(signal.SIGINT)
        self.process.wait(PATIENCE)
        return self.memory.read_bytes()


def frames_of(trace):
    """Without times, device, tester present, and questions that were asked again at once."""
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
    lines = [line for line in text.splitlines() if not re.match(r"(download|verify) .* %|wine: |[0-9a-f]{4}:", line)]
    return [re.sub(r" in [\d.]+ s.*", "", line) for line in lines]


class Case:
    def __init__(self, name, adapter, faults=(), image=IMAGE, status=0, key_commands=None, same_trace=True):
        self.name = name
        self.adapter = adapter
        self.faults = [word for fault in faults for word in ("--fault", fault)]
        self.image = image
        self.status = status
        self.key_commands = key_commands
        self.same_trace = same_trace

    def uri(self, device):
        if self.adapter is CAN:
            return f"slcan:{device}"
        return f"kline:{device}?baud=115200&p1=1000&p3=0&p4=0"

    def flash(self, program, port, folder):
        """Status, what was said, frames and flash."""
        folder.mkdir(parents=True)
        (folder / "größe.bin").write_bytes(self.image)
        simulator = Simulator(self.adapter + self.faults, folder)
        device = simulator.device
        if port is not None:
            link_of(port).unlink(missing_ok=True)
            link_of(port).symlink_to(device)
            device = f"COM{port}"
        command = ["flash", "größe.bin", "--base", "0x1000", "--verify", "--yes", "--p2", "2000", "--repeat", "2"]
        command += ["--trace", "spur-ü.log", "--bus", self.uri(device)]
        if self.key_commands:
            command += ["--key-command", self.key_commands[port is not None]]
        result = subprocess.run([*program, *command], cwd=folder, capture_output=True, timeout=PATIENCE)
        memory = simulator.end()[0x1000 : 0x1000 + len(self.image)]
        trace = folder / "spur-ü.log"
        frames = frames_of(trace) if trace.exists() else []
        return result.returncode, said(result.stdout), said(result.stderr), frames, memory

    def run(self, port):
        folder = FOLDER / self.name
        there = self.flash([WINE, str(FOLDER / "wine"), PROGRAM], port, folder / "windows")
        here = self.flash([TOOL], None, folder / "linux")
        defects = []
        for what, found, expected in zip(("status", "output", "errors", "trace", "memory"), there, here):
            if found != expected and (what != "trace" or self.same_trace):
                defects.append(f"{what}: expected\n{expected}\nfound\n{found}")
        if there[0] != self.status:
            defects.append(f"expected status {self.status}, found {there[0]}: {there[2]}")
        if self.status == 0 and there[4] != self.image:
            defects.append("the flash does not hold the image")
        if not there[3] and "silent" not in self.faults:
            defects.append("the trace is empty")
        return defects


class Command:
    """One that needs no adapter."""

    def __init__(self, name, *words):
        self.name = name
        self.words = words

    def run(self, _):
        there = windows(PROGRAM, *self.words)
        here = subprocess.run([TOOL, *self.words], capture_output=True, timeout=PATIENCE)
        if there.returncode != here.returncode or said(there.stdout) != said(here.stdout) or not here.stdout:
            return [f"expected\n{here}\nfound\n{there}"]
        return []


CASES = [
    Command("version", "--version"),
    Command("plan", "plan", str(FIRMWARE)),
    Case("can", CAN),
    Case("can-lose-frame", CAN, ["lose-frame@40"]),
    # Which frames are lost depends on how often the ECU was asked.
    Case("can-lose-every", CAN, ["lose-every@400", "write-once"], same_trace=False),
    Case("can-flip-byte", CAN, ["flip-byte@70"]),
    Case("can-silent-from", CAN, ["silent@60"], status=69),
    Case("can-silent", CAN, ["silent"], status=69),
    Case("can-unplug", CAN, ["unplug@60"], status=74, same_trace=False),
    Case("can-negative", CAN, ["negative@0x31:0x22"], status=76),
    Case("can-pending", CAN, ["pending@0x31:3"]),
    Case("can-refuse-key", CAN, ["refuse-key"], status=76),
    Case("can-bad-checksum", CAN, ["bad-checksum@2"]),
    Case("can-bad-cell", CAN, ["bad-cell@0x1010"], status=76),
    Case("can-key-command", CAN, status=76, key_commands=("echo 11223344 #", "echo 11223344& rem")),
    Case("kline", K_LINE, image=SMALL_IMAGE),
    Case("kline-lose-frame", K_LINE, ["lose-frame@12"], SMALL_IMAGE),
    Case("kline-flip-byte", K_LINE, ["flip-byte@12"], SMALL_IMAGE),
    Case("kline-silent-from", K_LINE, ["silent@12"], SMALL_IMAGE, 69),
    Case("kline-unplug", K_LINE, ["unplug@12"], SMALL_IMAGE, 74, same_trace=False),
    Case("kline-negative", K_LINE, ["negative@0x31:0x22"], SMALL_IMAGE, 76),
    Case("kline-pending", K_LINE, ["pending@0x31:3"], SMALL_IMAGE),
    Case("kline-bad-cell", K_LINE, ["bad-cell@0x1010"], SMALL_IMAGE, 76),
]


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    make_windows()
    free_ports = list(range(1, PORTS + 1))
    names = sys.argv[5:] or [case.name for case in CASES]
    wanted = [next(case for case in CASES if case.name == name) for name in names]

    def run(case):
        port = free_ports.pop()
        start = time.monotonic()
        try:
            return case.run(port), time.monotonic() - start
        finally:
            free_ports.append(port)

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(PORTS) as executor:
        for case, (defects, seconds) in zip(wanted, executor.map(run, wanted)):
            print(f"{'FAILED' if defects else 'passed'} {case.name} ({seconds:.1f} s)")
            for defect in defects:
                print(defect)
            failed += bool(defects)
    windows("wineserver", "--kill")
    return failed


if __name__ == "__main__":
    sys.exit(main())
