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


def flash_with(python, environment):
    flash = [python, "-B", SOURCE / "examples/python/flash.py", SOURCE / "docs/samples/hello.srec"]
    return subprocess.run(flash, check=True, capture_output=True, text=True, env=environment).stdout


def test_an_installed_package_flashes(tmp_path):
    install = ["cmake", "--install", BUILD / "python", "--prefix", tmp_path / "installed"]
    subprocess.run(install, check=True, capture_output=True)
    prefix = (tmp_path / "installed").rename(tmp_path / "moved")
    libraries = prefix / cached("CMAKE_INSTALL_LIBDIR")
    libraries.mkdir(exist_ok=True)
    shutil.copy(BUILD / "src" / "libquillmark.so.0", libraries)
    environment = os.environ | {"PYTHONPATH": str(prefix / cached("QUILLMARK_PYTHON_DIR"))}
    assert flash_with(sys.executable, environment).startswith("flashed 21 bytes in ")


def test_a_wheel_is_installed_without_a_network(tmp_path):
    environment = os.environ | {"PYTHONDONTWRITEBYTECODE": "1"}
    environment.pop("PYTHONPATH", None)

    def run(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True, env=environment).stdout

    build = ["-m", "build", "--no-isolation", "--wheel", "--outdir", tmp_path, "-C", f"build-dir={BUILD}", SOURCE]
    run(sys.executable, *build)
    (wheel,) = tmp_path.glob("quillmark-*-cp311-cp311-*.whl")
    run(sys.executable, "-m", "venv", tmp_path / "venv")
    python = tmp_path / "venv/bin/python"
    run(python, "-m", "pip", "install", "--no-index", wheel)
    version = "import importlib.metadata as metadata; print(metadata.version('quillmark'))"
    assert run(python, "-c", version).strip() == quillmark.__version__
    assert flash_with(python, environment).startswith("flashed 21 bytes in ")
