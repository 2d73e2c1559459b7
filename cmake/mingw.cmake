# SPDX-License-Identifier: MIT
# Builds for Windows by MinGW-w64. The preset sets QUILLMARK_WINDOWS_BITS: 64-bit programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUILLMARK_WINDOWS_BITS)
if(QUILLMARK_WINDOWS_BITS EQUAL 64)
  set(CMAKE_SYSTEM_PROCESSOR x86_64)
else()
  set(CMAKE_SYSTEM_PROCESSOR i686)
endif()
set(MINGW_TRIPLET ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)

# The posix variant has std::thread. GoogleTest asks for a C compiler.
set(CMAKE_C_COMPILER ${MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${MINGW_TRIPLET}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything of the compiler's goes in: a host's machine has none of its libraries.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
  if(QUILLMARK_WINDOWS_BITS EQUAL 32)
    # The entry points of a COM server are exported by their plain names.
    string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT " -Wl,--enable-stdcall-fixup")
  endif()
endforeach()
