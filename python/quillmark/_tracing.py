# SPDX-License-Identifier: MIT
"""decode, for whatever holds messages."""

from __future__ import annotations

import os
import warnings

from quillmark import _native

_BEGINNING_OF_A_DOCUMENT = b"<"


def decode(source, *, form=None, ids=None, frames=False):
    """Explains a trace or a document message by message, in lines of text as quillmark decode prints them.

    source: a Trace, a Document, or the path of a file with either. form: of a document, which does not say whether it
    is for a gateway; None is "can", unless it is for a K line. ids: of a file with a trace, as for read_trace. frames:
    list the frames of each message as well. A trace that a damaged line ends early is a UserWarning. Raises OSError
    for a file that cannot be read, ValueError or Error 13 for one that holds neither.
    """
    if isinstance(source, (str, bytes, os.PathLike)):
        source = _read(os.fsdecode(source), ids)
    if isinstance(source, _native.Document):
        return _native._decode_document(source, form, frames)
    return _native._decode_trace(source, frames)


def _read(path, ids):
    with open(path, "rb") as file:
        if file.read(1) == _BEGINNING_OF_A_DOCUMENT:
            return _native.Document(_BEGINNING_OF_A_DOCUMENT.decode() + file.read().decode())
    trace = _native.read_trace(path, ids=ids)
    if trace.damage:
        warnings.warn(f"{path}: {trace.damage}", stacklevel=3)
    return trace


decode.__module__ = "quillmark"
