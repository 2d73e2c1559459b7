# SPDX-License-Identifier: MIT
# 64-bit Windows by MinGW-w64; its programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(MINGW_TRIPLET x86_64-w64-mingw32)
set(QUILLMARK_WINDOWS_BITS 64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
