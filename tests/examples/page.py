"""page.py PAGE: runs the shell blocks of a page that follow a line `<!-- runs -->`, in their order and in one
shell, in the folder of the sources. What one prints, errors apart, is the block that follows the next line
`<!-- prints -->`, where there is one before the next that runs."""
import difflib
import os
import pathlib
import re
import subprocess
import sys

BLOCK = re.compile(r"^<!-- (runs|prints) -->\n```\w*\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def main():
    page = pathlib.Path(sys.argv[1]).resolve()
    blocks = BLOCK.findall(page.read_text())
    commands = [text for kind, text in blocks if kind == "runs"]
    environment = {name: value for name, value in os.environ.items() if name != "CMAKE_GENERATOR"}
    # Each block ends with a NUL, which parts what the blocks print.
    script = "".join(f"{text}printf '\\0'\n" for text in commands)
    run = subprocess.run(["bash", "-ec", script], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         text=True, cwd=pathlib.Path(__file__).parents[2], env=environment, check=False)
    printed = run.stdout.split("\0")
    wrong = run.returncode != 0 or not commands
    number = -1
    for kind, text in blocks:
        if kind == "runs":
            number += 1
        else:
            found = printed[number] if number < len(printed) else ""
            difference = list(difflib.unified_diff(text.splitlines(), found.splitlines(), page.name,
                                                   commands[number].strip(), lineterm=""))
            print(*difference, sep="\n")
            wrong = wrong or bool(difference)
    raise SystemExit(1 if wrong else 0)


main()
