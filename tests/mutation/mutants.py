# SPDX-License-Identifier: MIT
"""Which changes a mutation run makes to a source file, each small enough that only a test can tell."""

import dataclasses
import re

# What is replaced by what. The spaces keep template brackets, references and pointers out.
SWAPS = {
    " == ": [" != "],
    " != ": [" == "],
    " < ": [" <= ", " >= "],
    " <= ": [" < ", " > "],
    " > ": [" >= ", " <= "],
    " >= ": [" > ", " < "],
    " && ": [" || "],
    " || ": [" && "],
    " + ": [" - "],
    " - ": [" + "],
    " * ": [" + "],
    " / ": [" * "],
    " % ": [" / "],
    " & ": [" | "],
    " += ": [" -= "],
    "++": ["--"],
    "--": ["++"],
    "true": ["false"],
    "false": ["true"],
    "std::min": ["std::max"],
    "checked::Add": ["checked::Subtract"],
    "checked::Subtract": ["checked::Add"],
    "if (!": ["if ("],
}
OPERATOR = re.compile("|".join(re.escape(key) for key in sorted(SWAPS, key=len, reverse=True)))
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(U?)(?![\w.'])")
TEXT = re.compile(r'"([^"\\]+)"')
CONDITION = re.compile(r"\bif \((\w+)\)")
COMMENT = re.compile(r"\s+//")
NO_CODE = re.compile(r"^\s*(//|#|static_assert|template|\[\[|///|using )")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """`before` becomes `after` at an offset of a file."""

    path: str
    line: int
    offset: int
    before: str
    after: str

    def __str__(self):
        return f"{self.path}:{self.line}: `{self.before.strip()}` -> `{self.after.strip()}`"


def changes_of(line):
    """(start, before, after) of every change in one line of code."""
    code = COMMENT.split(line)[0]
    texts = [match.span() for match in TEXT.finditer(code)]

    def in_text(at):
        return any(start <= at < end for start, end in texts)

    for match in TEXT.finditer(code):
        last = match[1][-1]
        yield match.end() - 2, last, "x" if last != "x" else "y"
    for match in OPERATOR.finditer(code):
        if not in_text(match.start()):
            for after in SWAPS[match[0]]:
                yield match.start(), match[0], after
    for match in CONDITION.finditer(code):
        yield match.start(), match[0], f"if (!{match[1]})"
    for match in NUMBER.finditer(code):
        if not in_text(match.start()):
            value = int(match[1], 0)
            for changed in {value + 1, max(value - 1, 0)} - {value}:
                text = f"0x{changed:02X}" if match[1].startswith("0x") else str(changed)
                yield match.start(), match[0], text + match[2]


def mutants_of(path, source):
    """Every mutant of a file, in the order of its text."""
    offset = 0
    for number, line in enumerate(source.splitlines(keepends=True), start=1):
        if not NO_CODE.match(line):
            for start, before, after in changes_of(line):
                yield Mutant(path, number, offset + start, before, after)
        offset += len(line)


def mutated(source, mutant):
    end = mutant.offset + len(mutant.before)
    assert source[mutant.offset : end] == mutant.before
    return source[: mutant.offset] + mutant.after + source[end:]
