# SPDX-License-Identifier: MIT
"""job_schema.py QUILLMARK SAMPLES: docs/samples/job.schema.json and the reader of `quillmark flash --job` agree: what one
refuses for its shape the other refuses, and the schema knows every member that the reader does."""
import copy
import json
import pathlib
import re
import subprocess
import sys
import tempfile

import jsonschema

TOOL, SAMPLES = sys.argv[1], pathlib.Path(sys.argv[2])
SCHEMA = json.loads((SAMPLES / "job.schema.json").read_text())
EXAMPLE = json.loads((SAMPLES / "job.json").read_text())
# A value of the right shape for each member of a bay, some of them not fit for each other.
GOOD = {"profile": "./a.profile", "bus": "sim:", "form": "can", "ids": ["0x7E8", 2016], "address": 0x6E,
        "flow-control": [8, "2"], "bitrate": 250000, "expect-ecu": "SIMULATED ECU 001 REV A", "key-command": "true",
        "key-timeout": 1000, "p2": 500, "p2-star": "0x1000", "max-pending": 1, "repeat": 1, "max-wait-frames": 1,
        "tester-present": 1000, "rl": 0x12, "routine": 3, "fill": 0, "align": 8, "block": 64, "log-record": "none",
        "min-voltage": 11.5, "verify": False, "fault": ["write-once"], "backup": "old.hex",
        "images": [{"file": "hello.srec"}]}
# The reader finds out about these from other options, or at the bus.
NOT_IN_EVERY_JOB = {"address", "key-command", "min-voltage"}
BAD = [None, [], {}, "", [[]], {"a": 1}, "a\nb", "x" * 4097, True, 1]


def read(job, folder):
    """The exit status of a job, and what the tool says."""
    (folder / "job.json").write_text(json.dumps(job))
    (folder / "hello.srec").write_text((SAMPLES / "hello.srec").read_text())
    (folder / "firmware.srec").write_text((SAMPLES / "firmware.srec").read_text())
    (folder / "a.profile").write_text("rl = 0x12\n")
    (folder / "old.hex").unlink(missing_ok=True)
    result = subprocess.run([TOOL, "flash", "--job", folder / "job.json", "--yes", "--no-records"],
                            capture_output=True, text=True, check=False, timeout=120)
    return result.returncode, result.stderr


def fits(job):
    return jsonschema.Draft202012Validator(SCHEMA).is_valid(job)


def one_bay(**members):
    return {"bays": [{"bay": "a", "images": [{"file": "hello.srec"}], **members}]}


def changed(change):
    job = copy.deepcopy(EXAMPLE)
    change(job)
    return job


def bad_jobs():
    yield []
    yield {}
    yield {"bays": []}
    yield {"bays": {}}
    yield {"bays": [{"bay": "a"}]}
    yield changed(lambda job: job.update(more=1))
    yield changed(lambda job: job["bays"].append({}))
    yield changed(lambda job: job["defaults"].update(bus="sim:"))
    yield changed(lambda job: job["defaults"].update(backup="a.hex"))
    yield changed(lambda job: job["defaults"].update(bay="a"))
    yield changed(lambda job: job["bays"].extend({"bay": f"b{i}"} for i in range(254)))
    for name in ("", "../a", ".a", "a/b", "a b", "ä", "a" * 65, 1, None):
        yield changed(lambda job, name=name: job["bays"][0].update(bay=name))
    for image in ({}, {"base": 1}, {"file": "a", "more": 1}, {"file": ""}, {"file": 1}, {"file": "a", "base": []}, "a"):
        yield one_bay(images=[image])
    for number, member in enumerate(GOOD):
        # Each value comes to several members, and each member to several values.
        for bad in (BAD * 3)[number % len(BAD):][:3]:
            job = one_bay(**{member: bad})
            # A number may be a text, and the range of a number is the reader's alone.
            if not fits(job):
                yield job
    yield one_bay(yes=True)
    yield one_bay(trace="a.log")


def main():
    members = SCHEMA["properties"]["bays"]["items"]["properties"]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        status, said = read(one_bay(nothing=1), folder)
        known = re.search(r"expected one of (.*), found", said).group(1).split(", ")
        assert sorted(known) == sorted(members) == sorted([*GOOD, "bay"]), (known, sorted(members))
        assert sorted(SCHEMA["properties"]["defaults"]["properties"]) == sorted(
            set(members) - {"bay", "bus", "backup"})
        assert fits(EXAMPLE)
        assert read(EXAMPLE, folder)[0] == 0
        for member, value in GOOD.items():
            job = one_bay(**{member: value})
            assert fits(job), job
            status, said = read(job, folder)
            assert status == 0 or member in NOT_IN_EVERY_JOB, (job, said)
        count = 0
        for job in bad_jobs():
            assert not fits(job), job
            status, said = read(job, folder)
            assert status == 65 and "$" in said and "\nnext      " in said, (job, status, said)
            count += 1
        assert count > 70, count
        print(f"{count} bad jobs are refused by both")


main()
