# SPDX-License-Identifier: MIT
"""check_sources.py: docs/errors.md and docs/deliberate.md have what the sources have.

Every error number of the component and every text that it raises is in docs/errors.md. Every number of
docs/deliberate.md is cited by a test or a public comment, every number that code, tests and pages cite is on that
page, and nothing else in the code calls itself deliberate."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXTS = ["src/base/error.cpp", "src/context/*.cpp", "src/services/*.cpp", "src/transfer/*.cpp", "src/component/*.cpp"]
NUMBERS = {"include/quillmark/error.h": r"= (\d+);"}
# A text starts with a capital, or is one of the two that do not; what follows a bracket or a brace is a value.
LITERAL = re.compile(r'"((?:[A-Z]|can\'t |pure )[^"{(]*[ a-z.#])["{(]')

DELIBERATE = ROOT / "docs/deliberate.md"
CODE = ["include/**/*.h", "src/**/*.h", "src/**/*.cpp", "host/**/*.h", "host/**/*.cpp", "tests/**/*.h", "tests/**/*.cpp"]
CITATION = re.compile(r"\bD(\d+)\b")


def sources(pattern):
    for path in sorted(ROOT.glob(pattern)):
        yield path, re.sub(r"//[^\n]*", "", path.read_text())


def missing_errors():
    """What docs/errors.md lacks, a line each."""
    page = (ROOT / "docs/errors.md").read_text()
    found = 0
    for pattern in TEXTS:
        for path, text in sources(pattern):
            for literal in LITERAL.findall(text):
                found += 1
                if literal.strip() not in page:
                    yield f'docs/errors.md lacks the text "{literal}" of {path.relative_to(ROOT)}'
    for name, pattern in NUMBERS.items():
        for number in re.findall(pattern, (ROOT / name).read_text()):
            found += 1
            if not re.search(rf"\b{number}\b", page):
                yield f"docs/errors.md lacks the number {number} of {name}"
    if found < 40:
        yield f"only {found} errors were found in the sources: check_sources.py no longer recognises them"


def comments(path):
    """The comments of a file of code, as (line number, text)."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if found := re.search(r"//(.*)", line):
            yield number, found[1]


def wrong_citations():
    """Where docs/deliberate.md and those who cite it differ, a line each."""
    listed = re.findall(r"^\| D(\d+) \|", DELIBERATE.read_text(), re.MULTILINE)
    if not listed:
        yield f"{DELIBERATE.name} lists nothing"
    yield from (f"{DELIBERATE.name}: D{number} is there twice" for number in set(listed) if listed.count(number) > 1)
    pinned = set()
    for path in sorted(found for pattern in CODE for found in ROOT.glob(pattern)):
        name = path.relative_to(ROOT).as_posix()
        for line, text in comments(path):
            cited = set(CITATION.findall(text))
            yield from (f"{name}:{line}: there is no D{number}" for number in cited - set(listed))
            if name.startswith(("tests/", "include/")):
                pinned |= cited
            if re.search(r"\bdeliberate(?!\.md)", text, re.IGNORECASE):
                yield f"{name}:{line}: give it a number in docs/deliberate.md, and cite that"
    for path in [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md"))]:
        cited = set(re.findall(r"\[D(\d+)\]", path.read_text()))
        yield from (f"{path.name}: there is no D{number}" for number in cited - set(listed))
    yield from (f"{DELIBERATE.name}: no test cites D{number}" for number in listed if number not in pinned)


wrong = [*missing_errors(), *wrong_citations()]
if wrong:
    raise SystemExit("\n".join(wrong))
