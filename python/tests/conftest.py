# SPDX-License-Identifier: MIT
import pytest

import quillmark


@pytest.fixture
def reprog():
    """An object that reaches an ECU on plain CAN."""
    made = quillmark.DiagOnCANReprog()
    made.CANIDs(1850, 1586)
    return made


@pytest.fixture(autouse=True)
def no_worker_is_left():
    yield
    quillmark.wait_for_workers()
