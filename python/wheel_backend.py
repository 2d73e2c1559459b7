# SPDX-License-Identifier: MIT
"""Builds the wheel, as PEP 517 asks of a backend: CMake builds and installs, and wheel packs.

The setting build-dir names a build tree that is configured already, with QUILLMARK_BUILD_PYTHON=ON.
"""
import pathlib
import shutil
import subprocess
import sys
import sysconfig
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[1]


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """Writes the wheel into wheel_directory and returns its name."""
    build = _built((config_settings or {}).get("build-dir"))
    with tempfile.TemporaryDirectory() as work:
        content = _content(build, pathlib.Path(work))
        packed = pathlib.Path(work) / "wheel"
        packed.mkdir()
        _run(sys.executable, "-m", "wheel", "pack", content, "--dest-dir", packed)
        (wheel,) = packed.iterdir()
        shutil.move(wheel, pathlib.Path(wheel_directory) / wheel.name)
        return wheel.name


def build_sdist(sdist_directory, config_settings=None):
    """There is none: the sources are the repository."""
    raise SystemExit("quillmark: expected --wheel: the archive of the sources is made by packaging/build-packages")


def _run(*command):
    subprocess.run([str(word) for word in command], check=True)


def _built(folder):
    """The build tree, with the extension module in it."""
    build = SOURCE / "build" / "wheel" if folder is None else pathlib.Path(folder).resolve()
    if folder is None:
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DQUILLMARK_BUILD_PYTHON=ON", f"-DPython_EXECUTABLE={sys.executable}"]
        _run("cmake", "-G", "Ninja", "-S", SOURCE, "-B", build, *options)
    elif not (build / "CMakeCache.txt").is_file():
        raise SystemExit(f"quillmark: {build}: expected a build tree that CMake has configured")
    _run("cmake", "--build", build, "--target", "quillmark_python")
    return build


def _content(build, work):
    """What is in the wheel: the installed package with the library beside it, and its metadata."""
    _run("cmake", "--install", build / "python", "--component", "python", "--prefix", work / "installed")
    (package,) = (work / "installed").glob("lib/python*/dist-packages")
    shutil.copy(build / "src" / "libquillmark.so.0", package / "quillmark")
    (metadata,) = package.glob("*.dist-info")
    shutil.copy(SOURCE / "LICENSE", metadata)
    version = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    (metadata / "WHEEL").write_text(
        f"Wheel-Version: 1.0\nGenerator: quillmark\nRoot-Is-Purelib: false\nTag: {version}-{version}-{platform}\n"
    )
    return package
