# SPDX-License-Identifier: MIT
# How tests that were built for Windows run here: under Wine, in a Windows of the build tree's own. And
# GoogleTest from its sources, since no package has it built for Windows.
find_program(QUILLMARK_WINE NAMES wine)
if(QUILLMARK_WINE AND QUILLMARK_WINDOWS_BITS EQUAL 64)
  set(QUILLMARK_RUNS_WINDOWS ON)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/packaging/wine ${PROJECT_BINARY_DIR}/wine)
else()
  set(QUILLMARK_RUNS_WINDOWS OFF)
  message(STATUS "No Wine for ${QUILLMARK_WINDOWS_BITS}-bit programs here: they are built and not run")
endif()

set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
