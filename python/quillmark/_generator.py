# SPDX-License-Identifier: MIT
"""The generator that ComputeDownload and ComputeUpload return."""


def documents(stream):
    """The documents of a transfer; closing or dropping the generator ends its thread."""
    try:
        while (document := stream.next()) is not None:
            yield document
    finally:
        stream.close()
