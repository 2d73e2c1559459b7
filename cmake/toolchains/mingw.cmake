# SPDX-License-Identifier: MIT
# What the 64-bit and the 32-bit Windows build share. The including file sets CMAKE_SYSTEM_PROCESSOR,
# MINGW_TRIPLET and QUILLMARK_WINDOWS_BITS.
set(CMAKE_SYSTEM_NAME Windows)

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
endforeach()
