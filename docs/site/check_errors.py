# SPDX-License-Identifier: MIT
"""check_errors.py: every error number of the component and every text that it raises stands in docs/errors.md."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXTS = ["src/base/error.cpp", "src/context/*.cpp", "src/services/*.cpp", "src/transfer/*.cpp", "src/component/*.cpp"]
NUMBERS = {"include/quillmark/error.h": r"= (\d+);", "src/context/message_table.h": r"std::int32_t \w+ = (\d+);",
           "src/context/negative_response.cpp": r"return (\d+);"}
# A text starts with a capital, or is one of the two that do not; what follows a bracket or a brace is a value.
LITERAL = re.compile(r'"((?:[A-Z]|can\'t |pure )[^"{(]*[ a-z.#])["{(]')


def sources(pattern):
    for path in sorted(ROOT.glob(pattern)):
        yield path, re.sub(r"//[^\n]*", "", path.read_text())


def main():
    page = (ROOT / "docs/errors.md").read_text()
    missing = []
    found = 0
    for pattern in TEXTS:
        for path, text in sources(pattern):
            for literal in LITERAL.findall(text):
                found += 1
                if literal.strip() not in page:
                    missing.append(f'{path.relative_to(ROOT)}: the text "{literal}"')
    for name, pattern in NUMBERS.items():
        for number in re.findall(pattern, (ROOT / name).read_text()):
            found += 1
            if not re.search(rf"\b{number}\b", page):
                missing.append(f"{name}: the number {number}")
    if missing or found < 40:
        raise SystemExit("docs/errors.md lacks\n" + "\n".join(missing or ["nothing, but hardly an error was found"]))


main()
