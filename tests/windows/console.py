# SPDX-License-Identifier: MIT
"""console.py WINE FOLDER PROGRAM [CASE…]: quillmark.exe (PROGRAM) as its user meets it, under Wine in FOLDER.

Wine shows the console of a program in the terminal that it was started from, so a pseudo-terminal sees what the user
sees and types what the user types. A SIGINT is a Ctrl-C to it.
"""

import fcntl
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import stat
import struct
import subprocess
import sys
import termios
import time
import traceback
import tty

WINE, FOLDER, PROGRAM = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
WINDOWS = FOLDER / "wine"
HERE = FOLDER / "a folder ü 日"
PATIENCE = 60  # seconds, for a machine that is busy elsewhere
QUESTION = "erase and write? [y/N]"
CONTROL_C_EXIT = 0xC000013A & 0xFF  # Wine passes the lowest byte on
# S-records at 1000 and 8000, two bytes each.
IMAGE = "S1051000AABB85\r\nS1058000CCDDD1\r\nS9030000FC\r\n"


def expect(condition, what, found=""):
    if not condition:
        raise AssertionError(f"{what}; found {found!r}")


def run(*words, **options):
    """Without a console. Status, output and errors as bytes."""
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options
    result = subprocess.run(
        [WINE, WINDOWS, PROGRAM, *words], cwd=HERE, stdin=subprocess.DEVNULL, timeout=PATIENCE, check=False, **options
    )
    return result.returncode, result.stdout, result.stderr


def windows(*words):
    subprocess.run([WINE, WINDOWS, *words], cwd=HERE, capture_output=True, timeout=PATIENCE, check=True)


class Screen:
    """What is shown, as lines of text."""

    SEQUENCE = re.compile(r"\x1b\[\??([\d;]*)([A-Za-z])|\x1b\][^\x07]*\x07|[\s\S]")

    def __init__(self):
        self.lines = [""]
        self.column = 0
        self.widest = 0

    def show(self, text):
        for found in self.SEQUENCE.finditer(text):
            if found[2] == "C":
                self.column += int(found[1] or 1)
            elif found[0] == "\r":
                self.column = 0
            elif found[0] == "\b":
                self.column -= 1
            elif found[0] == "\n":
                self.lines.append("")
            elif found[2] == "K":
                self.lines[-1] = self.lines[-1][: self.column]
            elif len(found[0]) == 1:
                line = self.lines[-1].ljust(self.column)
                self.lines[-1] = line[: self.column] + found[0] + line[self.column + 1 :]
                self.column += 1
            self.widest = max(self.widest, self.column)

    def text(self):
        return "\n".join(self.lines)


class Console:
    """The tool in a console of its own."""

    def __init__(self, *words, columns=160):
        self.screen = Screen()
        self.unfinished = b""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            tty.setraw(0)
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 60, columns, 0, 0))
            signal.signal(signal.SIGINT, signal.SIG_DFL)
            os.chdir(HERE)
            os.execv(WINE, [WINE, WINDOWS, PROGRAM, *words])

    def read(self):
        """False once there is no more."""
        if not select.select([self.terminal], [], [], PATIENCE)[0]:
            raise AssertionError(f"it hangs after\n{self.screen.text()}")
        try:
            piece = os.read(self.terminal, 0x10000)
        except OSError:
            return False
        self.unfinished += piece
        text = self.unfinished.decode(errors="ignore")
        self.unfinished = self.unfinished[len(text.encode()) :]
        self.screen.show(text)
        return bool(piece)

    def read_until(self, text):
        while text not in self.screen.text():
            expect(self.read(), f"expected {text!r}", self.screen.text())

    def type(self, text):
        os.write(self.terminal, text.encode())

    def interrupt(self):
        os.kill(self.process, signal.SIGINT)

    def end(self):
        """The status."""
        while self.read():
            pass
        os.close(self.terminal)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


def flash_that_asks(*options, **size):
    console = Console("flash", "größe 日.s19", *options, **size)
    console.read_until(QUESTION)
    return console


def shows_and_reads_unicode():
    console = flash_that_asks()
    expect("größe 日.s19: Motorola S-record" in console.screen.text(), "the name of the file", console.screen.text())
    console.type("y\r")
    status = console.end()
    expect(status == 0 and "\ndone " in console.screen.text(), "a flash", console.screen.text())


def anything_but_yes_is_a_no():
    for answer in ("\r", "n\r", "jä 日\r", "\x1a\r", "y" * 100 + "\r"):
        console = flash_that_asks()
        console.type(answer)
        status = console.end()
        text = console.screen.text()
        expect(status == 130 and "quillmark: identify: not confirmed\n" in text, f"a no for {answer!r}", text)
        expect("nothing was erased or written; no session is open" in text, "no open session", text)


def control_c_is_no_answer():
    console = flash_that_asks()
    console.interrupt()
    status = console.end()
    text = console.screen.text()
    expect(status == 130 and "quillmark: identify: cancelled\n" in text, "a cancelled flash", text)
    expect("nothing was erased or written; no session is open" in text, "no open session", text)


def the_bar_fits_the_window():
    (HERE / "large.bin").write_bytes(bytes(range(256)) * 200)
    console = Console("flash", "large.bin", "--base", "0", "--yes", columns=40)
    console.read_until("\ndownload  100 %")
    expect(console.end() == 0, "a flash", console.screen.text())
    bars = [line for line in console.screen.lines if line.startswith("download")]
    expect(all(len(line) < 40 for line in bars), "no line as wide as the window", bars)
    expect("\ncheck\n" in re.sub(" +\n", "\n", console.screen.text()), "no rest of the longer line", bars)
    expect("\x1b" not in console.screen.text() and "[K" not in console.screen.text(), "no control sequence", bars)


def the_lines_of_a_job_take_their_own_places():
    images = [{"file": "größe 日.s19"}]
    job = {"defaults": {"images": images}, "bays": [{"bay": "links"}, {"bay": "rechts", "form": "kline"}]}
    (HERE / "job.json").write_text(json.dumps(job, ensure_ascii=False))
    console = Console("flash", "--job", "job.json", "--yes")
    status = console.end()
    text = console.screen.text()
    expect(status == 0 and "links   [" in text and "100 %  done" in text, "a line for each bay", text)
    expect(not re.search(r"\x1b|\[\d*[AJK]", text), "no control sequence", text)


def hostile_text_is_shown():
    (HERE / "key.txt").write_bytes("\x1b]0;owned\x07\x1b[2J ü 日 \u202e\r\n".encode())
    console = Console("flash", "größe 日.s19", "--yes", "--key-command", "type key.txt& rem")
    expect(console.end() != 0, "a refused key", console.screen.text())
    shown = r"\u001b]0;owned\u0007\u001b[2J ü 日 \u202e"
    expect(shown in console.screen.text(), f"{shown} on the screen", console.screen.text())


def interrupted_while_the_key_is_computed():
    folder = HERE / "läuf"
    words = ["flash", "größe 日.s19", "--yes", "--artifacts", "läuf", "--key-command"]
    console = Console(*words, "echo started 1>&2 & ping -n 600 127.0.0.1 >nul & rem")
    console.read_until("started")
    console.interrupt()
    status = console.end()
    text = console.screen.text()
    expect(status == 130 and "quillmark: unlock: cancelled\n" in text and "no session is open" in text, "its end", text)
    result = json.loads((folder / "result.json").read_text())
    expect(result["outcome"] == "cancelled" and result["exit"] == 130, "complete artifacts", result)
    expect((folder / "trace.log").stat().st_size > 0, "a trace")


def a_console_that_is_redirected_gets_bytes():
    """No carriage return in any format, and every character as it is."""
    status, out, err = run("flash", "größe 日.s19", "--json", "--verify", "--trace", "spur ü.log", "--artifacts", "lauf 日")
    expect(status == 0 and b"\r" not in out + err, "a flash without carriage returns", out + err)
    events = [json.loads(line) for line in out.splitlines()]
    expect(events[-1]["event"] == "done", "events", events)
    expect("größe 日.s19" in out.decode() or "gr\\u00f6" in out.decode(), "the name of the file", out)
    for words in (["plan", "größe 日.s19"], ["decode", "spur ü.log"], ["report", "lauf 日", "-o", "seite ß.html"], ["profile"]):
        status, out, err = run(*words)
        expect(status == 0 and out + err and b"\r" not in out + err, words, out + err)
    for path in [HERE / "spur ü.log", HERE / "seite ß.html", *(HERE / "lauf 日").glob("*.*")]:
        content = path.read_bytes()
        expect(content and b"\r" not in content, f"no carriage return in {path}")
    crlf = (HERE / "spur ü.log").read_bytes().replace(b"\n", b"\r\n")
    (HERE / "windows.log").write_bytes(crlf)
    expect(run("decode", "windows.log") == run("decode", "spur ü.log"), "the same of both kinds of lines")
    status, out, _ = run("read", "--range", "0x8000:0x20", "-o", "les ü.hex", "--json")
    expect(status == 0 and b"\r" not in out + (HERE / "les ü.hex").read_bytes(), "a memory without", out)


def paths_of_any_form():
    for path in (str(HERE / "größe 日.s19"), "Z:" + str(HERE / "größe 日.s19").replace("/", "\\"), ".\\größe 日.s19"):
        status, out, err = run("plan", path)
        expect(status == 0, path, out + err)


def names_of_devices_that_are_not_there():
    """The console, of a program that has none."""
    status, _, err = run("read", "--range", "0x8000:0x20", "-o", "con")
    why = "quillmark: con: expected the name of a file, found that of a device that cannot be opened here\n"
    expect(status == 73 and err.decode().startswith(why), "why", err)
    for name in ("nul", "con"):
        status, _, err = run("flash", "größe 日.s19", "--yes", "--artifacts", name)
        why = f"quillmark: {name}: expected a new or an empty folder, found the name of a device\n"
        expect(status == 73 and err.decode().startswith(why), "why", err)


def names_of_devices():
    for name in ("nul", "NUL.hex"):
        status, out, err = run("read", "--range", "0x8000:0x20", "-o", name)
        expect(status == 0, f"a memory read into {name}", out + err)
    console = Console("read", "--range", "0x8000:0x20", "-o", "con")
    expect(console.end() == 0, "a memory read onto the console", console.screen.text())
    expect(not [name for name in os.listdir(HERE) if "part" in name.lower() or "nul" in name.lower()], "no such file")


def a_file_that_cannot_be_replaced():
    path = HERE / "kept.hex"
    path.write_text("kept")
    path.chmod(stat.S_IREAD)
    status, _, err = run("read", "--range", "0x8000:0x20", "-o", "kept.hex", "--force")
    expect(status == 73 and err.startswith(b"quillmark: kept.hex: cannot create: Permission denied\n"), "a refusal", err)
    expect(path.read_text() == "kept", "the file as it was")


def a_full_disk():
    with open("/dev/full", "wb") as full:
        status, _, err = run("flash", "größe 日.s19", stdout=full)
    expect(status == 74 and b"cannot write to standard output; the flash itself succeeded\n" in err, "a message", err)


def what_is_not_there():
    status, _, err = run("history")
    expect(status == 64 and err.startswith(b"quillmark: history: there is no record of runs on Windows"), "why", err)


def the_report_in_the_browser():
    status, out, err = run("flash", "größe 日.s19", "--artifacts", "seiten")
    expect(status == 0, "a flash", out + err)
    words = ["report", "seiten", "-o", "bericht für 日.html", "--open"]
    status, _, err = run(*words)
    expect(status == 69 and "bericht für 日.html: no browser took it\n".encode() in err, "no browser", err)
    opened = WINDOWS / "drive_c" / "opened.html"
    windows("reg", "add", r"HKEY_CLASSES_ROOT\.html", "/ve", "/d", "Page", "/f")
    command = r'cmd.exe /c copy "%1" C:\opening.html && ren C:\opening.html opened.html'
    windows("reg", "add", r"HKEY_CLASSES_ROOT\Page\shell\open\command", "/ve", "/d", command, "/f")
    status, _, err = run(*words)
    expect(status == 0 and not err, "a report", err)
    deadline = time.monotonic() + PATIENCE
    while not opened.exists() and time.monotonic() < deadline:
        time.sleep(0.05)
    expect(opened.read_bytes() == (HERE / "bericht für 日.html").read_bytes(), "the page in the browser")


CASES = [
    shows_and_reads_unicode,
    anything_but_yes_is_a_no,
    control_c_is_no_answer,
    the_bar_fits_the_window,
    the_lines_of_a_job_take_their_own_places,
    hostile_text_is_shown,
    interrupted_while_the_key_is_computed,
    a_console_that_is_redirected_gets_bytes,
    paths_of_any_form,
    names_of_devices,
    names_of_devices_that_are_not_there,
    a_file_that_cannot_be_replaced,
    a_full_disk,
    what_is_not_there,
    the_report_in_the_browser,
]


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    HERE.mkdir(parents=True)
    (HERE / "größe 日.s19").write_text(IMAGE, newline="")
    windows("cmd", "/c", "ver")
    failed = 0
    for case in [case for case in CASES if not sys.argv[4:] or case.__name__ in sys.argv[4:]]:
        start = time.monotonic()
        try:
            case()
            print(f"passed {case.__name__} ({time.monotonic() - start:.1f} s)", flush=True)
        except Exception:
            failed += 1
            print(f"FAILED {case.__name__}")
            traceback.print_exc()
    return failed


if __name__ == "__main__":
    sys.exit(main())
