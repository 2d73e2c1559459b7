// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/byte_string.h"

namespace quillmark::testing {

/// A byte string that shares no code with the reference type: a foreign implementation, as a host
/// may bring one. It works byte by byte, and every view asks its parent.
[[nodiscard]] std::shared_ptr<ByteString> MakeNaiveByteString();

}  // namespace quillmark::testing
