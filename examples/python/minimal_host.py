# SPDX-License-Identifier: MIT
"""A host in its smallest form: it asks an ECU for the seed, then streams a download. Where a real host
would run each document on its bus, this one writes replies recorded earlier into it."""
import quillmark


def write_replies(document: quillmark.Document, frames: list[str]) -> quillmark.Document:
    """Gives the n-th receive step of the document the n-th frame."""
    steps = [step for step in document.steps() if step.kind == "receive"]
    for step, frame in zip(steps, frames):
        step.answer(bytes.fromhex(frame))
    return document


def main() -> None:
    reprog = quillmark.DiagOnCANReprog()
    reprog.CANIDs(1850, 1586)  # plain CAN: receive on 0x73A, send on 0x632

    request = write_replies(reprog.readseed(), ["06678111223344AA"])
    print("seed", reprog.getseed(request).hex())

    # Eight bytes at address 0x8000.
    image = {0x8000: bytes.fromhex("0102030405060708")}
    for document in reprog.ComputeDownload(0x01, image, FillByte=0xFF, IMod=16, MaxSize=128):
        write_replies(document, ["300100", "300100", "0274020000000000"])
        reprog.checkdownload(document)
    print("download complete")  # else the generator had raised TransferIncomplete


main()
