#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Traces in the hands of other tools: tshark joins the frames of a whole flash, can-utils convert them."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

import folders

TOOL = sys.argv.pop(1)
REQUESTS, REPLIES = 0x632, 0x73A


def output_of(*command):
    return subprocess.run([*map(str, command)], capture_output=True, text=True, check=True).stdout


def messages_of_tshark(trace):
    """Identifier and bytes of each message that the ISO 15765 dissector sees."""
    rows = output_of("tshark", "-r", trace, "-o", f"iso15765.can.ids:{REQUESTS},{REPLIES}", "-Y",
                     "iso15765.message_type == 0 || iso15765.reassembled.length", "-T", "fields", "-e", "can.id",
                     "-e", "data.data")
    return [(int(identifier), data) for identifier, data in (row.split("\t") for row in rows.splitlines())]


def join(frames):
    """The messages in frames of ISO 15765-2, flow control left out."""
    messages, missing = [], {}
    for identifier, frame in frames:
        kind = frame[0] >> 4
        if kind == 0:
            messages.append([identifier, frame[1:1 + frame[0]]])
        elif kind == 1:
            missing[identifier] = ((frame[0] & 15) << 8 | frame[1]) - 6
            messages.append([identifier, frame[2:8]])
        elif kind == 2:
            part = frame[1:1 + missing[identifier]]
            messages[-1][1] += part
            missing[identifier] -= len(part)
    return [(identifier, data.hex()) for identifier, data in messages]


def messages_of_documents(folder):
    """What the component built and what it read back, in the order of the bus."""
    messages = []
    for reply in sorted((folder / "documents").glob("*.reply.xml")):
        frames = []
        for step in xml.etree.ElementTree.parse(reply).getroot().find("x"):
            if step.tag in "sr" and step.find("d") is not None:
                identifier = REQUESTS if step.tag == "s" else REPLIES
                frames.append((identifier, bytes.fromhex(step.find("d").text)))
        messages += join(frames)
    return messages


def frames_of_log(text):
    return re.findall(r"^\([\d.]+\) \S+ (\S+#\S+)", text, re.MULTILINE)


def frames_of_asc(text):
    frames = re.findall(r"^ *[\d.]+ 1  (\w+) +[RT]x +d \d ((?:[0-9A-F]{2} ?)+)$", text, re.MULTILINE)
    return [identifier + "#" + data.replace(" ", "") for identifier, data in frames]


class TraceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory(prefix="quillmark-trace-")
        cls.path = pathlib.Path(cls.temporary.name)
        cls.folder = folders.flash(TOOL, cls.path / "flash", "--verify")
        cls.log = cls.folder / "trace.log"

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def test_tshark_joins_what_the_component_built_and_read(self):
        expected = messages_of_documents(self.folder)
        self.assertGreater(len(expected), 1500)
        self.assertEqual(messages_of_tshark(self.log), expected)

    def test_tshark_sees_every_byte_of_the_image(self):
        image = (self.path / "flash.bin").read_bytes()
        memory = bytearray(b"\xff" * len(image))
        for identifier, data in messages_of_tshark(self.log):
            message = bytes.fromhex(data)
            if identifier == REQUESTS and message[0] == 0x34 and message[1] == 0:
                address = int.from_bytes(message[2:5], "big") - 0x8000
                memory[address:address + message[5]] = message[6:6 + message[5]]
        self.assertEqual(bytes(memory), image)

    def test_can_utils_convert_the_log_to_asc_and_back(self):
        asc = self.path / "converted.asc"
        output_of("log2asc", "-I", self.log, "-O", asc, "can0")
        frames = frames_of_log(self.log.read_text())
        self.assertEqual(frames_of_asc(asc.read_text()), frames)
        self.assertEqual(frames_of_log(output_of("asc2log", "-I", asc)), frames)

    def test_can_utils_read_the_asc_file(self):
        asc, log = self.path / "t.asc", self.path / "t.log"
        image = folders.write_image(self.path / "image.bin")
        for trace in asc, log:
            folders.run_tool(TOOL, "flash", image, "--base", "0x8000", "--trace", trace)
        frames = frames_of_log(log.read_text())
        self.assertEqual(frames_of_asc(asc.read_text()), frames)
        self.assertEqual(frames_of_log(output_of("asc2log", "-I", asc)), frames)

    def test_can_utils_keep_extended_identifiers(self):
        asc, log = self.path / "x.asc", self.path / "x.log"
        image = folders.write_image(self.path / "x.bin")
        for trace in asc, log:
            folders.run_tool(TOOL, "flash", image, "--base", "0x8000", "--ids", "0x18DAF110", "0x18DA10F1",
                             "--trace", trace)
        frames = frames_of_log(log.read_text())
        self.assertTrue(frames[0].startswith("18DA10F1#"))
        self.assertEqual(frames_of_log(output_of("asc2log", "-I", asc)), frames)

    def test_decode_reads_what_can_utils_wrote(self):
        asc = self.path / "again.asc"
        output_of("log2asc", "-I", self.log, "-O", asc, "can0")
        lines = [folders.run_tool(TOOL, "decode", trace).splitlines() for trace in (self.log, asc)]
        self.assertGreater(len(lines[0]), 1500)
        self.assertEqual(lines[0], lines[1])


if __name__ == "__main__":
    unittest.main(verbosity=2)
