// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/calls/json.h"
#include "quillmark/byte_string.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/dom.h"
#include "quillmark/error.h"
#include "quillmark/memory_image.h"

namespace quillmark::host {

/// Results of the interface as JSON. A null reference is null.
[[nodiscard]] Json ToJson(bool value);
[[nodiscard]] Json ToJson(const std::shared_ptr<ByteString>& bytes);      ///< hexadecimal text
[[nodiscard]] Json ToJson(const std::shared_ptr<DOMDocument>& document);  ///< XML text
[[nodiscard]] Json ToJson(const std::shared_ptr<MemoryImage>& image);     ///< list of segments
[[nodiscard]] Json ToJson(const Error& error);

/// Always eight entries: what the array has, then nulls.
[[nodiscard]] Json HistoryToJson(const ByteStringArray& records);

}  // namespace quillmark::host
