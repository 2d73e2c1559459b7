# SPDX-License-Identifier: MIT
"""Every recorded call gives the recorded answer, document for document, byte for byte."""
import json
from pathlib import Path

import quillmark

RECORDED = Path(__file__).parents[2] / "tests" / "host" / "calls" / "recorded"
BYTE_ARGUMENTS = {"key", "Histo"}
# What the console that made the recording refuses by itself: calls and arguments that are of no type.
REFUSED_BY_THE_CONSOLE = {13, 438, 450}

PARAMETERS = {
    "CANIDs": ["RCANId", "XCANId"],
    "FlowControl": ["BS", "STMin"],
    "dounlock": ["key"],
    "starterase": ["RL"],
    "startroutine": ["Routine"],
    "routinestatus": ["Routine"],
    "checkstartroutine": ["root", "Routine"],
    "checkroutine": ["root", "Routine"],
    "writelogzone": ["Histo"],
}


def lines_of(name):
    return [json.loads(line) for line in (RECORDED / name).read_text().splitlines()]


def native(parameter, value):
    if parameter == "root":
        return quillmark.Document(value)
    return bytes.fromhex(value) if parameter in BYTE_ARGUMENTS else value


def as_json(result):
    if isinstance(result, quillmark.Document):
        return result.xml
    return result.hex().upper() if isinstance(result, bytes) else result


def history_as_json(history):
    records = {"RepIdent": history.RepIdent, "RepHisto": history.RepHisto, "RepReprog": history.RepReprog}
    return {
        name: [as_json(one) for one in value] if isinstance(value, list) else as_json(value)
        for name, value in records.items()
    }


def events_of(start, arguments):
    """What a handler is told, until the event at which it cancels."""
    cancel_at = arguments.pop()["cancel_at"] if isinstance(arguments[-1], dict) else None
    events = []

    def handler(node):
        events.append(node.xml if node else None)
        return len(events) == cancel_at

    transfer = start(*arguments, XMLReady=handler)
    try:
        transfer.wait()
    except quillmark.TransferIncomplete:
        assert events[-1] is None
    return events


def image_of(segments):
    return quillmark.MemoryImage((one["at"], bytes.fromhex(one["hex"])) for one in segments)


class Player:
    """Plays calls on one object, as the console does."""

    def __init__(self):
        self.reprog = quillmark.DiagOnCANReprog()

    def result_of(self, call, arguments):
        special = getattr(self, f"play_{call}", None)
        if special:
            return special(arguments)
        parameters = PARAMETERS.get(call, ["root"] if arguments else [])
        values = [native(parameter, value) for parameter, value in zip(parameters, arguments, strict=True)]
        return as_json(getattr(self.reprog, call)(*values))

    def play_new(self, _):
        self.reprog = quillmark.DiagOnCANReprog()

    def play_gethisto(self, arguments):
        return history_as_json(self.reprog.gethisto(quillmark.Document(arguments[0])))

    def play_checkupload(self, arguments):
        image = image_of(arguments[1])
        self.reprog.checkupload(quillmark.Document(arguments[0]), image)
        return [{"at": address, "hex": as_json(data)} for address, data in image.segments]

    def play_ComputeDownload(self, arguments):
        arguments[1] = image_of(arguments[1])
        return events_of(self.reprog.ComputeDownload, arguments)

    def play_ComputeUpload(self, arguments):
        arguments[0] = [(one["start"], one["count"]) for one in arguments[0]]
        return events_of(self.reprog.ComputeUpload, arguments)

    def answer(self, line):
        answer = {"call": line["call"]}
        try:
            answer["result"] = self.result_of(line["call"], line.get("args", []))
        except quillmark.Error as error:
            if error.history:
                answer["result"] = history_as_json(error.history)
            answer["error"] = {"number": error.number, "description": error.description}
        return answer


def is_refused_by_the_console(answer):
    error = answer.get("error", {"number": 0, "description": ""})
    names_the_argument = error["description"].startswith(f"{answer['call']}: ")
    return names_the_argument or error["number"] in REFUSED_BY_THE_CONSOLE


def test_answers_as_recorded():
    player = Player()
    played = 0
    for line, expected in zip(lines_of("calls.jsonl"), lines_of("answers.jsonl"), strict=True):
        if not is_refused_by_the_console(expected):
            assert player.answer(line) == expected, line
            played += 1
    assert played >= 500


def test_builds_the_documented_samples():
    samples = Path(__file__).parents[2] / "docs" / "samples"
    player = Player()
    parts = []
    for line in (samples / "calls.jsonl").read_text().splitlines():
        call = json.loads(line)
        result = player.result_of(call["call"], call.get("args", []))
        if "sample" in call:
            document = result[0] if isinstance(result, list) else result
            mark = f"// [{call['sample']}]"
            parts += [mark, document.replace("\r", ""), mark]
    assert parts and "\n".join(parts) + "\n" == (samples / "documents.txt").read_text()
