# SPDX-License-Identifier: MIT
# 32-bit Windows by MinGW-w64.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(MINGW_TRIPLET i686-w64-mingw32)
set(QUILLMARK_WINDOWS_BITS 32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)

# The entry points of a COM server are exported by their plain names.
foreach(kind EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT " -Wl,--enable-stdcall-fixup")
endforeach()
