# SPDX-License-Identifier: MIT
"""page.py PAGE [MARK]: runs the shell blocks of a page that follow a line `<!-- runs -->`, or `<!-- MARK -->`, in
their order and in one shell, in the folder of the sources. What one prints, errors apart, is the block that
follows the next line `<!-- prints -->`, where there is one before the next that runs."""
import difflib
import os
import pathlib
import re
import subprocess
import sys

BLOCK = r"^<!-- ({}|prints) -->\n```\w*\n(.*?)^```$"


def main():
    page = pathlib.Path(sys.argv[1]).resolve()
    mark = sys.argv[2] if len(sys.argv) > 2 else "runs"
    blocks = re.findall(BLOCK.format(mark), page.read_text(), re.MULTILINE | re.DOTALL)
    commands = [text for kind, text in blocks if kind == mark]
    environment = {name: value for name, value in os.environ.items() if name != "CMAKE_GENERATOR"}
    # Each block ends with a NUL, which parts what the blocks print.
    script = "".join(f"{text}printf '\\0'\n" for text in commands)
    run = subprocess.run(["bash", "-ec", script], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         text=True, cwd=pathlib.Path(__file__).parents[2], env=environment, check=False)
    printed = run.stdout.split("\0")
    wrong = run.returncode != 0 or not commands
    number = -1
    for kind, text in blocks:
        if kind == mark:
            number += 1
        else:
            found = printed[number] if number < len(printed) else ""
            difference = list(difflib.unified_diff(text.splitlines(), found.splitlines(), page.name,
                                                   commands[number].strip(), lineterm=""))
            print(*difference, sep="\n")
            wrong = wrong or bool(difference)
    raise SystemExit(1 if wrong else 0)


main()
