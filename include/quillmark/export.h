// SPDX-License-Identifier: MIT
#pragma once

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
