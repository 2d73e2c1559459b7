# SPDX-License-Identifier: MIT
"""write_tables.py FILE < tables: puts the tables of a benchmark run in place of those in FILE.

A table is a heading "### …" with what follows it up to the next one. Those of the run that FILE does not
have yet go behind the others, in front of the line that ends them; those that were not run stay.
"""

import sys

BEGIN = "<!-- tables of bench/run --write -->\n"
END = "<!-- end of the tables -->\n"


def tables_of(text):
    """The tables in a text, by heading, in the order of their places."""
    tables = {}
    for part in ("\n" + text).split("\n### ")[1:]:
        heading, _, body = part.partition("\n")
        tables[heading] = body.strip()
    return tables


def main(path):
    with open(path, encoding="utf-8") as file:
        before, begin, rest = file.read().partition(BEGIN)
    old, end, after = rest.partition(END)
    if not begin or not end:
        sys.exit(f"{path} has no place for tables")
    tables = tables_of(old) | tables_of(sys.stdin.read())
    text = "\n".join(f"### {heading}\n\n{body}\n" for heading, body in tables.items())
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{before}{begin}\n{text}\n{end}{after}")


main(sys.argv[1])
