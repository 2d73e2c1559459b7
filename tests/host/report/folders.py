# SPDX-License-Identifier: MIT
"""Artifacts to look at: of the real tool, and large ones written by hand."""

import copy
import json
import pathlib
import subprocess


def run_tool(tool, *arguments, status=0):
    done = subprocess.run([tool, *map(str, arguments)], capture_output=True, text=True, check=False)
    if done.returncode != status:
        raise AssertionError(f"{arguments} ended with {done.returncode}, not {status}: {done.stderr}")
    return done.stdout


def write_image(path):
    """Tens of kilobytes in two parts, with fill between them, as an S-record file would have."""
    data = bytes((i * 7 + i // 251) % 255 for i in range(24_000))
    pathlib.Path(path).write_bytes(data + b"\xff" * 4096 + data[:6000])
    return path


def texts_in(value, path=()):
    """The path of each text in a JSON value."""
    if isinstance(value, str):
        yield path
    elif isinstance(value, (dict, list)):
        for key, inner in value.items() if isinstance(value, dict) else enumerate(value):
            yield from texts_in(inner, (*path, key))


def with_text(value, path, text):
    """The value with another text at the path."""
    if not path:
        return text
    changed = copy.copy(value)
    changed[path[0]] = with_text(value[path[0]], path[1:], text)
    return changed


def flash(tool, folder, *options, status=0):
    image = write_image(folder.parent / f"{folder.name}.bin")
    run_tool(tool, "flash", image, "--base", "0x8000", "--artifacts", folder, *options, status=status)
    return folder


def report(tool, folder):
    page = folder.parent / f"{folder.name}.html"
    run_tool(tool, "report", folder, "-o", page)
    return page


def write_large(folder, frames):
    """A download of blocks of 128 bytes, 40 frames and a reply each, as a folder of artifacts."""
    folder.mkdir()
    blocks = frames // 41
    lines = []
    time = 1_000_000_000_000_000
    for block in range(blocks):
        address = 0x1000 + 128 * block
        message = bytes([0x34, 0, address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF, 128])
        message += bytes((block + i) % 256 for i in range(128)) + b"\0\0"
        sent = [("632", (0x1000 + len(message)).to_bytes(2, "big") + message[:6])]
        for number, at in enumerate(range(6, len(message), 7), start=1):
            sent.append(("73A", b"\x30\x01\0\0\0\0\0\0"))
            sent.append(("632", bytes([0x20 | number % 16]) + message[at:at + 7]))
        sent.append(("73A", b"\x02\x74\x02"))
        sent += [("73A", b"\x30\x01")] * (41 - len(sent))
        for identifier, data in sent:
            time += 300
            lines.append(f"({time // 1_000_000}.{time % 1_000_000:06}) can0 {identifier}#{data.hex().upper()}\n")
    (folder / "trace.log").write_text("".join(lines))
    ranges = [[0x1000 + 128 * block, 128] for block in range(blocks)]
    seconds = len(lines) * 0.0003
    plan = {"command": "flash", "started": "2001-09-09T01:46:40Z", "form": "can", "receive": 0x73A,
            "send": 0x632, "bit_rate": 500000, "image": {"files": ["large.bin"], "bytes": 128 * blocks,
            "segments": [[0x1000, 128 * blocks]]}, "fill": 255, "blocks": ranges}
    result = {"outcome": "done", "exit": 0, "sent_bytes": 128 * blocks, "seconds": seconds,
              "phases": [{"phase": "download", "began": 0, "ended": seconds}]}
    (folder / "plan.json").write_text(json.dumps(plan))
    (folder / "result.json").write_text(json.dumps(result))
    return len(lines)
