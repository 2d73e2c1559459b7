// SPDX-License-Identifier: MIT
#pragma once

#if defined(__cplusplus) && __cplusplus < 202002L
#error "quillmark needs C++20: compile with -std=c++20 or later"
#endif

#if defined(_GLIBCXX_DEBUG) && !defined(QUILLMARK_HAS_DEBUG_CONTAINERS)
#error \
    "_GLIBCXX_DEBUG changes the layout of containers that cross into the library: build the host without it, \
or the library with it as well (its build then defines QUILLMARK_HAS_DEBUG_CONTAINERS)"
#endif

/// Marks what the shared library exports; everything else is hidden.
#if defined(_WIN32)
#if defined(QUILLMARK_BUILDING_LIBRARY)
#define QUILLMARK_API __declspec(dllexport)
#else
#define QUILLMARK_API
#endif
#else
#define QUILLMARK_API __attribute__((visibility("default")))
#endif
