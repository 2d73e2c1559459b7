# SPDX-License-Identifier: MIT
"""compare_instructions.py FILE [--accept] < counts: compares "NAME COUNT" lines with the JSON in FILE."""

import json
import sys

ALLOWED_GROWTH = 1.05


def read_counts(lines):
    counts = {}
    for line in lines:
        name, _, count = line.strip().partition(" ")
        if not count.isdigit():
            sys.exit(f"no instruction count for {name}: does it run under valgrind?")
        counts[name] = int(count)
    return counts


def main(path, accept):
    counts = read_counts(sys.stdin)
    if accept:
        with open(path, "w", encoding="utf-8") as file:
            json.dump(counts, file, indent=2)
            file.write("\n")
        print(f"{path} holds the counts of today")
        return
    with open(path, encoding="utf-8") as file:
        recorded = json.load(file)
    if recorded.keys() != counts.keys():
        sys.exit(f"{path} is about other jobs; run bench/instructions --accept")
    grown = []
    for name, count in counts.items():
        ratio = count / recorded[name]
        print(f"{name:12} {count:12,} instructions, {100 * (ratio - 1):+.1f} % against the record")
        if ratio > ALLOWED_GROWTH:
            grown.append(name)
    if grown:
        sys.exit(
            f"grown by more than 5 %: {', '.join(grown)}. Where that is the price of something wanted,"
            " run bench/instructions --accept and commit bench/instructions.json with the reason."
        )


main(sys.argv[1], "--accept" in sys.argv[2:])
