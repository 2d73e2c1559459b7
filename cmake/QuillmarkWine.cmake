# SPDX-License-Identifier: MIT
# How tests that were built for Windows run here: under Wine, in a Windows of the build tree's own. And
# GoogleTest from its sources, since no package has it built for Windows.
set(QUILLMARK_RUNS_WINDOWS OFF)
if(QUILLMARK_WINDOWS_BITS EQUAL 64)
  quillmark_has_tools(QUILLMARK_RUNS_WINDOWS "the run of each test" wine:wine)
else()
  message(STATUS "No Wine for ${QUILLMARK_WINDOWS_BITS}-bit programs here: they are built and not run")
endif()
if(QUILLMARK_RUNS_WINDOWS)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/packaging/wine ${PROJECT_BINARY_DIR}/wine)
endif()

set(INSTALL_GTEST OFF)
if(EXISTS /usr/src/googletest)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
