# SPDX-License-Identifier: MIT
# How every target of the project is compiled: the language, the warnings (all of them errors) and the
# instrumentation that was asked for.
add_library(quillmark_options INTERFACE)
target_compile_features(quillmark_options INTERFACE cxx_std_20)
target_compile_options(quillmark_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
# Optimising, g++ 12 takes its library's own string concatenation for an overlapping copy (GCC bug
# 105651) and its insertion into a short vector for one out of bounds. AddressSanitizer looks at both.
target_compile_options(quillmark_options INTERFACE
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overread>)

if(WIN32)
  target_compile_definitions(quillmark_options INTERFACE NOMINMAX STRICT UNICODE _WIN32_WINNT=0x0601)
endif()

# What is shipped stops when its memory is damaged, and gives an attacker no table to overwrite.
# tests/library/hardening looks for the result. Sanitizers and gcov want the code as it is; benchmarks link without,
# since binding every symbol at the start would count as work.
add_library(quillmark_hardened_link INTERFACE)
if(CMAKE_SYSTEM_NAME STREQUAL Linux AND NOT QUILLMARK_SANITIZE AND NOT QUILLMARK_COVERAGE)
  target_compile_options(quillmark_options INTERFACE
                         $<$<CONFIG:Release>:-fstack-protector-strong>
                         $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>
                         $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
  target_link_options(quillmark_hardened_link
                      INTERFACE $<$<CONFIG:Release>:LINKER:-z,relro,-z,now,-z,noexecstack>)
endif()

if(QUILLMARK_SANITIZE)
  target_compile_options(quillmark_options INTERFACE -fsanitize=${QUILLMARK_SANITIZE} -fno-omit-frame-pointer
                                                    -fno-sanitize-recover=all)
  target_link_options(quillmark_options INTERFACE -fsanitize=${QUILLMARK_SANITIZE})
  target_compile_definitions(quillmark_options INTERFACE _GLIBCXX_ASSERTIONS)
else()
  # A sanitizer's run-time library is linked into the program alone, so a shared library leaves its
  # symbols open there. A module finds some in the program that loads it.
  target_link_options(quillmark_options INTERFACE
                      $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>>:LINKER:--no-undefined>)
endif()

# Only the component is counted; src/CMakeLists.txt instruments it.
if(QUILLMARK_COVERAGE)
  target_link_options(quillmark_options INTERFACE --coverage)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
