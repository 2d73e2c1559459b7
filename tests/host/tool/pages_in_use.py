# SPDX-License-Identifier: MIT
"""pages_in_use.py TOOL PAGES: the manual pages and the completion that the build made, tried by man and
by a bash at a terminal. What they must hold is what the tool's own --help lists."""
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import time
import unittest

TOOL, PAGES = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])


def help_of(*command):
    return subprocess.run([TOOL, *command, "--help"], check=True, capture_output=True, text=True).stdout


def commands():
    listed = help_of().split("Subcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+) ", listed, re.MULTILINE)


def options_of(*command):
    """The names at the start of a line of --help: "  -o,--output FILE  …"."""
    names = re.findall(r"^  (-\S+)", help_of(*command), re.MULTILINE)
    return [name for group in names for name in group.split(",")]


def manual_page(name):
    """What man shows, and what it and groff have to complain of."""
    page = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", f"{PAGES}/man1/{name}.1.gz"],
                          check=True, capture_output=True, text=True,
                          env={**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"})
    return page.stdout, page.stderr


class Terminal:
    """A bash that has read the completion, in a folder with files."""

    PROMPT = "ready> "

    def __init__(self, folder):
        self.process, self.descriptor = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"],
                       {"PATH": os.environ["PATH"], "TERM": "dumb", "PS1": self.PROMPT,
                        "INPUTRC": "/dev/null"})
        self.read_until(self.PROMPT)
        self.line(f"bind 'set bell-style none'; bind 'set enable-bracketed-paste off'; . '{PAGES}/quillmark.bash'")

    def read_until(self, text):
        seen, end = "", time.monotonic() + 60
        while text not in seen:
            if not select.select([self.descriptor], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f"expected {text!r} from bash, found {seen!r}")
            seen += os.read(self.descriptor, 4096).decode()
        return seen

    def line(self, text):
        os.write(self.descriptor, text.encode() + b"\n")
        self.read_until("\n" + self.PROMPT)

    def completed(self, typed):
        """The line that a tab makes of what was typed: it is printed, not run."""
        os.write(self.descriptor, f"{typed}\t #\x01echo \"<\x05>\"\n".encode())
        shown = self.read_until("\n" + self.PROMPT)
        return re.search(r"^<(.*?) ? #>", shown, re.MULTILINE).group(1)

    def close(self):
        os.write(self.descriptor, b"exit\n")
        os.waitpid(self.process, 0)
        os.close(self.descriptor)


class ManualPages(unittest.TestCase):
    def test_man_and_groff_have_no_warnings(self):
        for name in ["quillmark"] + [f"quillmark-{command}" for command in commands()]:
            self.assertEqual(manual_page(name)[1], "", name)

    def test_the_page_of_the_tool_lists_its_commands_and_exit_statuses(self):
        text, _ = manual_page("quillmark")
        for word in commands() + ["--version", "SEE ALSO", "quillmark-flash(1)", "130"]:
            self.assertIn(word, text)

    def test_the_page_of_a_command_has_every_option_of_its_help(self):
        for command in commands():
            text, _ = manual_page(f"quillmark-{command}")
            for option in options_of(command):
                self.assertRegex(text, rf"(?m)^ +(-\S, )?{option}(,| |$)", command)


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        for name in ("image.s19", "trace.log"):
            open(os.path.join(cls.folder.name, name), "w", encoding="ascii").close()
        os.mkdir(os.path.join(cls.folder.name, "artifacts"))
        cls.terminal = Terminal(cls.folder.name)

    @classmethod
    def tearDownClass(cls):
        cls.terminal.close()
        cls.folder.cleanup()

    def expect(self, typed, line):
        self.assertEqual(self.terminal.completed(typed), line)

    def test_every_command(self):
        for command in commands():
            self.expect(f"quillmark {command[:-1]}", f"quillmark {command}")

    def test_every_option(self):
        for command in commands():
            for option in options_of(command):
                if option.startswith("--"):
                    line = self.terminal.completed(f"quillmark {command} {option}")
                    self.assertEqual(line, f"quillmark {command} {option}")

    def test_an_option_by_its_beginning(self):
        self.expect("quillmark flash --veri", "quillmark flash --verify")
        self.expect("quillmark --vers", "quillmark --version")

    def test_a_choice(self):
        self.expect("quillmark flash --form ga", "quillmark flash --form gateway")
        self.expect("quillmark identify --form=kl", "quillmark identify --form=kline")
        self.expect("quillmark flash --flow-control ", "quillmark flash --flow-control auto")
        self.expect("quillmark simulate --bus sl", "quillmark simulate --bus slcan")

    def test_a_file(self):
        self.expect("quillmark flash im", "quillmark flash image.s19")
        self.expect("quillmark flash --trace tr", "quillmark flash --trace trace.log")
        self.expect("quillmark flash --profile im", "quillmark flash --profile image.s19")
        self.expect("quillmark flash --ids 1 2 im", "quillmark flash --ids 1 2 image.s19")

    def test_a_folder(self):
        self.expect("quillmark report a", "quillmark report artifacts/")

    def test_a_device_in_a_uri(self):
        self.expect("quillmark flash --bus slcan:/dev/nul", "quillmark flash --bus slcan:/dev/null")

    def test_a_number_is_not_completed(self):
        self.expect("quillmark flash --rl im", "quillmark flash --rl im")
        self.expect("quillmark flash --ids 1 im", "quillmark flash --ids 1 im")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
