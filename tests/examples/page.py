# SPDX-License-Identifier: MIT
"""page.py PAGE…: runs the shell blocks of the pages and compares what they print with what the pages show.
page.py PAGE… --through WORD…: the same elsewhere: the words, with a shell and its arguments behind them, are the command
that runs the blocks in the folder of the sources there.
page.py --commands MARK PAGE…: prints the commands of the blocks with this mark, to be run elsewhere.

A mark is a comment on a line of its own, directly above a fenced block:

    <!-- runs -->                     the block is run. All blocks of a page run in one shell, in order, in the
                                      folder of the sources. A command that fails ends the run.
    <!-- runs as root -->             the same, through sudo if need be
    <!-- prints -->                   what the last block that was run prints to its standard output
    <!-- recorded DATE: COMMAND -->   what a run too long to repeat printed on that day
    <!-- not run: WHY -->             nothing runs this block, or can compare it
    <!-- quotes … -->                 part of a file; packaging/compare-quotes compares it

In a block of output, "…" stands for what is left out or differs from run to run: on a line of its own for any
lines, within a line for any characters.
"""
import contextlib
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
RUNS = ("runs", "runs as root")
END_OF_BLOCK = "\0"
AS_ROOT = 'as_root() { if [ "$(id -u)" = 0 ]; then bash -ec "$1"; else sudo bash -ec "$1"; fi; }\n'


class Block:
    """A fenced block: its mark, the language after the fence, its text, and the line where it starts."""

    def __init__(self, mark, language, line):
        self.mark = mark
        self.language = language
        self.line = line
        self.text = ""


def blocks_of(text):
    """The fenced blocks of a Markdown text, in their order."""
    block = None
    before = ""
    for number, line in enumerate(text.splitlines(keepends=True), 1):
        if block is not None:
            if line.startswith("```"):
                yield block
                block = None
            else:
                block.text += line
        elif line.startswith("```"):
            mark = re.fullmatch(r"<!-- (.*) -->\n", before)
            block = Block(mark[1] if mark else "", line[3:].strip(), number)
        before = line


def matches(shown, printed):
    """Whether a line of a page shows a line of output."""
    return re.fullmatch(".*".join(map(re.escape, shown.split("…"))), printed) is not None


def difference(shown, printed):
    """What is wrong with the lines that a page shows; "" where they are what was printed."""
    position = 0
    skipping = False
    for line in shown:
        if line.strip() == "…":
            skipping = True
            continue
        while skipping and position < len(printed) and not matches(line, printed[position]):
            position += 1
        if position == len(printed):
            return f'the page shows "{line}", the output has ended'
        if not matches(line, printed[position]):
            return f'the page shows "{line}", printed was "{printed[position]}"'
        position += 1
        skipping = False
    if position < len(printed) and not skipping:
        return f'the page ends, printed was "{printed[position]}"'
    return ""


def commands_of(block):
    """What the shell is given for a block that is run."""
    if block.mark == "runs as root":
        return f"as_root \"$(cat <<'END OF BLOCK'\n{block.text}END OF BLOCK\n)\"\n"
    return block.text


def run(blocks, through):
    """The exit status, and what each of the blocks printed. Nothing that they started goes on."""
    environment = {name: value for name, value in os.environ.items() if name != "CMAKE_GENERATOR"}
    script = AS_ROOT + "".join(f"{commands_of(block)}printf '\\0'\n" for block in blocks)
    with tempfile.TemporaryFile("w+") as output:
        shell = subprocess.Popen([*through, "bash", "-ec", script], stdin=subprocess.DEVNULL, stdout=output, cwd=ROOT,
                                 env=environment, start_new_session=True)
        try:
            status = shell.wait()
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(shell.pid, signal.SIGTERM)
        output.seek(0)
        return status, output.read().split(END_OF_BLOCK)


def complaints(name, blocks, through):
    """Runs a page; what is wrong with it."""
    ran = [block for block in blocks if block.mark in RUNS]
    if not ran:
        yield f"{name}: no block is marked <!-- runs -->"
        return
    status, printed = run(ran, through)
    if status != 0:
        failed = ran[min(len(printed), len(ran)) - 1]
        yield f"{name}:{failed.line}: status {status}; it had printed\n{printed[-1]}"
        return
    last = -1
    for block in blocks:
        if block.mark in RUNS:
            last += 1
        elif block.mark == "prints":
            wrong = difference(block.text.splitlines(), printed[last].splitlines())
            if wrong:
                yield f"{name}:{block.line}: {wrong}\nThe whole output:\n{printed[last]}"


def main():
    if sys.argv[1] == "--commands":
        blocks = [block for page in sys.argv[3:] for block in blocks_of(pathlib.Path(page).read_text())]
        print(*(block.text for block in blocks if block.mark == sys.argv[2]), sep="", end="")
        return
    end = sys.argv.index("--through") if "--through" in sys.argv else len(sys.argv)
    wrong = [complaint for page in sys.argv[1:end] for complaint in
             complaints(page, list(blocks_of(pathlib.Path(page).read_text())), sys.argv[end + 1:])]
    print(*wrong, sep="\n", end="")
    raise SystemExit(1 if wrong else 0)


if __name__ == "__main__":
    main()
