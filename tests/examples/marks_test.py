# SPDX-License-Identifier: MIT
"""marks_test.py: a page is refused when a block of it is not what its mark says, or would not be compared."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
RUN = [sys.executable, "-B", str(ROOT / "tests/examples/page.py")]
COMPARE = [sys.executable, "-B", str(ROOT / "packaging/compare-quotes")]


def block(mark, text, fence="```"):
    return f"{mark}\n{fence}\n{text}\n{fence}\n"


class Marks(unittest.TestCase):
    def passes(self, command, text):
        with tempfile.NamedTemporaryFile("w", suffix=".md") as page:
            page.write(text)
            page.flush()
            return subprocess.run([*command, page.name], capture_output=True, check=False).returncode == 0

    def test_output_is_what_the_commands_print(self):
        run = block("<!-- runs -->", "seq 1 5; echo end")
        for shown, right in (("1\n2\n3\n4\n5\nend", True), ("1\n…\nend", True), ("…\n5\ne…d", True), ("1\n…", True),
                             ("1\n2\n3\n4\n5", False), ("1\n3\n…", False), ("…\n6\n…", False), ("…\n5\nen", False)):
            with self.subTest(shown):
                self.assertEqual(self.passes(RUN, run + block("<!-- prints -->", shown)), right)

    def test_each_output_is_that_of_the_block_before_it(self):
        page = "".join(block("<!-- runs -->", f"echo {n}") + block("<!-- prints -->", n) for n in ("1", "2"))
        self.assertTrue(self.passes(RUN, page))
        self.assertFalse(self.passes(RUN, page.replace("echo 2", "echo 3")))

    def test_a_command_that_fails_is_reported(self):
        self.assertFalse(self.passes(RUN, block("<!-- runs -->", "false\necho after")))

    def test_nothing_goes_on_after_a_page(self):
        self.assertFalse(self.passes(RUN, block("<!-- runs -->", "sleep 1000 &\nfalse")))

    def test_a_page_without_commands_is_reported(self):
        self.assertFalse(self.passes(RUN, "no block\n"))

    def test_a_quote_is_what_the_file_has(self):
        first = (ROOT / "LICENSE").read_text().splitlines()[0]
        mark = "<!-- quotes LICENSE lines 1-1 -->"
        self.assertTrue(self.passes(COMPARE, block(mark, first)))
        self.assertFalse(self.passes(COMPARE, block(mark, first + ".")))
        self.assertFalse(self.passes(COMPARE, block("<!-- quotes LICENCE lines 1-1 -->", first)))

    def test_what_would_not_be_compared_is_refused(self):
        mark = "<!-- not run: why -->"
        good = block(mark, "text")
        self.assertTrue(self.passes(COMPARE, good))
        for wrong in (block("", "text"), good.replace("not run", "notrun"), good.replace("-->", "->"), " " + good,
                      "See " + good, good.replace("```", "  ```"), mark + "\n\n" + block("", "text").lstrip(),
                      good.replace("```", "~~~"), good[:-4], mark + "\n", "\n    text\n"):
            with self.subTest(wrong):
                self.assertFalse(self.passes(COMPARE, wrong))


unittest.main()
