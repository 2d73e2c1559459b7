# SPDX-License-Identifier: MIT
"""check_deliberate.py: every number of docs/deliberate.md is cited by a test or a public comment, every number that code,
tests and pages cite is on that page, and nothing else in the code calls itself deliberate."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs/deliberate.md"
CODE = ["include/**/*.h", "src/**/*.h", "src/**/*.cpp", "host/**/*.h", "host/**/*.cpp", "tests/**/*.h", "tests/**/*.cpp"]
CITATION = re.compile(r"\bD(\d+)\b")


def comments(path):
    """The comments of a file of code, as (line number, text)."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if found := re.search(r"//(.*)", line):
            yield number, found[1]


def main():
    listed = re.findall(r"^\| D(\d+) \|", PAGE.read_text(), re.MULTILINE)
    wrong = [f"{PAGE.name}: D{number} is there twice" for number in set(listed) if listed.count(number) > 1]
    pinned = set()
    for path in sorted(found for pattern in CODE for found in ROOT.glob(pattern)):
        name = path.relative_to(ROOT).as_posix()
        for line, text in comments(path):
            cited = set(CITATION.findall(text))
            wrong += [f"{name}:{line}: there is no D{number}" for number in cited - set(listed)]
            if name.startswith(("tests/", "include/")):
                pinned |= cited
            if re.search(r"\bdeliberate(?!\.md)", text, re.IGNORECASE):
                wrong.append(f"{name}:{line}: give it a number in docs/deliberate.md, and cite that")
    for path in [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md"))]:
        cited = set(re.findall(r"\[D(\d+)\]", path.read_text()))
        wrong += [f"{path.name}: there is no D{number}" for number in cited - set(listed)]
    wrong += [f"{PAGE.name}: no test cites D{number}" for number in listed if number not in pinned]
    if wrong or not listed:
        raise SystemExit("\n".join(wrong or [f"{PAGE.name} lists nothing"]))


main()
