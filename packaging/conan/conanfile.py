# SPDX-License-Identifier: MIT
"""Builds the library with Conan 2, from the sources that the recipe lies in: conan create packaging/conan."""

import pathlib
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy

SOURCES = ("CMakeLists.txt", "LICENSE", "CHANGELOG.md", "cmake/*", "docs/*", "examples/*", "include/*", "src/*",
           "packaging/debian/changelog")


class QuillmarkRecipe(ConanFile):
    name = "quillmark"
    license = "MIT"
    description = "Builds, checks and streams the XML documents by which a diagnostic application reprograms an ECU"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    generators = "CMakeDeps"

    def _root(self):
        return pathlib.Path(self.recipe_folder).parent.parent

    def set_version(self):
        header = (self._root() / "include/quillmark/version.h").read_text()
        self.version = re.search(r'#define QUILLMARK_VERSION "([0-9.]+)"', header)[1]

    def export_sources(self):
        for pattern in SOURCES:
            copy(self, pattern, src=str(self._root()), dst=self.export_sources_folder)

    def requirements(self):
        self.requires("pugixml/[>=1.12 <2]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.variables["QUILLMARK_BUILD_HOST"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["quillmark"]
        self.cpp_info.set_property("cmake_target_name", "quillmark::quillmark")
