#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""recipes.py SOURCE WORK: runs the recipes for Conan and vcpkg, with stand-ins for the two tools.

The stand-ins call CMake as the tools do. What the tools themselves say of the recipes is not tested here: they are
not in Debian and load their packages from the network.
"""

import json
import pathlib
import shutil
import subprocess
import sys
import types

SOURCE, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
CMAKE = ["cmake", "-G", "Ninja", "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_BUILD_TYPE=Debug"]
INSTALLED = ["include/quillmark/quillmark.h", "lib/libquillmark.so", "lib/cmake/quillmark/quillmarkConfig.cmake"]


def run(*command):
    subprocess.run([str(word) for word in command], check=True)


def expect_installed(prefix, names):
    for name in names:
        assert (prefix / name).is_file(), f"{prefix}: expected {name}"


class Recipe:
    """The part of Conan's base class that the recipe uses."""

    recipe_folder = str(SOURCE / "packaging/conan")
    export_sources_folder = str(WORK / "conan/sources")


class Toolchain:
    def __init__(self, recipe):
        self.variables = recipe.variables = {}

    def generate(self):
        pass


class ConanCMake:
    folder = WORK / "conan"

    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        options = [f"-D{name}={value}" for name, value in self.recipe.variables.items()]
        run(*CMAKE, *options, "-DCMAKE_INSTALL_LIBDIR=lib", "-S", self.folder / "sources", "-B", self.folder / "build")

    def build(self):
        run("cmake", "--build", self.folder / "build")

    def install(self):
        run("cmake", "--install", self.folder / "build", "--prefix", self.folder / "package")


def copy(_recipe, pattern, src, dst):
    paths = list(pathlib.Path(src).glob(pattern))
    assert paths, f"the recipe exports {pattern}, which does not exist"
    for path in paths:
        to = pathlib.Path(dst, path.relative_to(src))
        to.parent.mkdir(parents=True, exist_ok=True)
        shutil.copytree(path, to, dirs_exist_ok=True) if path.is_dir() else shutil.copy(path, to)


def try_conan():
    modules = {
        "conan": {"ConanFile": Recipe},
        "conan.tools": {},
        "conan.tools.cmake": {"CMake": ConanCMake, "CMakeToolchain": Toolchain, "cmake_layout": lambda recipe: None},
        "conan.tools.files": {"copy": copy},
    }
    for name, members in modules.items():
        sys.modules[name] = types.ModuleType(name)
        vars(sys.modules[name]).update(members)
    scope = {}
    exec((SOURCE / "packaging/conan/conanfile.py").read_text(), scope)
    recipe = scope["QuillmarkRecipe"]()
    recipe.set_version()
    for step in ("export_sources", "layout", "generate", "build", "package"):
        getattr(recipe, step)()
    expect_installed(WORK / "conan/package", INSTALLED)
    return recipe.version


VCPKG = """
function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" SOURCE_PATH OPTIONS)
  execute_process(COMMAND {cmake} -S ${{arg_SOURCE_PATH}} -B ${{CURRENT_PACKAGES_DIR}}-build ${{arg_OPTIONS}}
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()
function(vcpkg_cmake_install)
  execute_process(COMMAND cmake --build ${{CURRENT_PACKAGES_DIR}}-build COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND cmake --install ${{CURRENT_PACKAGES_DIR}}-build --prefix ${{CURRENT_PACKAGES_DIR}}
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" CONFIG_PATH "")
  if(NOT EXISTS ${{CURRENT_PACKAGES_DIR}}/${{arg_CONFIG_PATH}}/quillmarkConfig.cmake)
    message(FATAL_ERROR "no package in ${{arg_CONFIG_PATH}}")
  endif()
endfunction()
function(vcpkg_fixup_pkgconfig)
endfunction()
function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" FILE_LIST)
  file(COPY ${{arg_FILE_LIST}} DESTINATION ${{CURRENT_PACKAGES_DIR}}/share/quillmark)
endfunction()
set(CURRENT_PACKAGES_DIR "{packages}")
include("{portfile}")
"""


def try_vcpkg():
    folder = SOURCE / "packaging/vcpkg"
    script = WORK / "vcpkg.cmake"
    script.write_text(VCPKG.format(cmake=" ".join(CMAKE), packages=WORK / "vcpkg", portfile=folder / "portfile.cmake"))
    run("cmake", "-P", script)
    expect_installed(WORK / "vcpkg", [*INSTALLED, "share/quillmark/LICENSE"])
    return json.loads((folder / "vcpkg.json").read_text())["version"]


WORK.mkdir(parents=True, exist_ok=True)
versions = {try_conan(), try_vcpkg()}
assert len(versions) == 1, f"expected one version, found {versions}"
