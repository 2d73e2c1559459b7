# SPDX-License-Identifier: MIT
"""What is installed finds its library, also where the prefix has been moved."""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import quillmark

BUILD = Path(quillmark.__file__).parents[2]
SOURCE = Path(__file__).parents[2]


def cached(name):
    return re.search(rf"^{name}:\w+=(.*)$", (BUILD / "CMakeCache.txt").read_text(), re.MULTILINE).group(1)


def test_an_installed_package_flashes(tmp_path):
    install = ["cmake", "--install", BUILD / "python", "--prefix", tmp_path / "installed"]
    subprocess.run(install, check=True, capture_output=True)
    prefix = (tmp_path / "installed").rename(tmp_path / "moved")
    libraries = prefix / cached("CMAKE_INSTALL_LIBDIR")
    libraries.mkdir(exist_ok=True)
    shutil.copy(BUILD / "src" / "libquillmark.so.0", libraries)
    flash = [sys.executable, "-B", SOURCE / "examples/python/flash.py", SOURCE / "docs/samples/hello.srec"]
    environment = os.environ | {"PYTHONPATH": str(prefix / cached("QUILLMARK_PYTHON_DIR"))}
    flashed = subprocess.run(flash, check=True, capture_output=True, text=True, env=environment)
    assert flashed.stdout.startswith("flashed 21 bytes in ")
