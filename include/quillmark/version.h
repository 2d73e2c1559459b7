// SPDX-License-Identifier: MIT
#pragma once

#include "quillmark/export.h"

/// The version of the headers: what a host was compiled with. Versions are numbered as Semantic
/// Versioning 2.0.0 says; docs/abi.md tells what each part promises.
#define QUILLMARK_VERSION_MAJOR 0
#define QUILLMARK_VERSION_MINOR 2
#define QUILLMARK_VERSION_PATCH 0
#define QUILLMARK_VERSION "0.2.0"

namespace quillmark {

/// The version of the library that is in use, such as "0.2.0": with a shared library it may be
/// another than `QUILLMARK_VERSION`.
[[nodiscard]] QUILLMARK_API const char* Version() noexcept;

}  // namespace quillmark
