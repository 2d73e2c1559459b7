// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "quillmark/byte_string.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/dom.h"
#include "quillmark/error.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// Keeps the keys of an object in the order in which they were set.
using Json = nlohmann::ordered_json;

/// A value of a request and its place for messages, such as "checkupload: argument 2, Image[0].at".
struct JsonValue {
  const Json& json;
  std::string name;
};

/// Each reads a value as one type of the interface. What is not of that type raises 13, a number
/// out of its range 6, with a text that gives the place, what was expected and what was found.
/// Text that is not hexadecimal or not XML is refused by the component.
[[nodiscard]] std::uint8_t ReadByte(const JsonValue& value);
[[nodiscard]] std::int32_t ReadLong(const JsonValue& value);
/// From `{"cancel_at":K}` the K, which is at least 1.
[[nodiscard]] std::int32_t ReadCancelAt(const JsonValue& value);
[[nodiscard]] std::shared_ptr<ByteString> ReadByteString(const JsonValue& value,
                                                         Platform& platform);
[[nodiscard]] std::shared_ptr<DOMDocument> ReadDocument(const JsonValue& value, Platform& platform);
[[nodiscard]] std::shared_ptr<MemoryImage> ReadImage(const JsonValue& value, Platform& platform);
[[nodiscard]] std::shared_ptr<MemoryMap> ReadMap(const JsonValue& value, Platform& platform);

/// A value for a message: a number as it is, anything else by its type.
[[nodiscard]] std::string Describe(const Json& json);

/// Results of the interface as JSON. A null reference is null.
[[nodiscard]] Json ToJson(bool value);
[[nodiscard]] Json ToJson(const std::shared_ptr<ByteString>& bytes);      ///< hexadecimal text
[[nodiscard]] Json ToJson(const std::shared_ptr<DOMDocument>& document);  ///< XML text
[[nodiscard]] Json ToJson(const std::shared_ptr<MemoryImage>& image);     ///< list of segments
[[nodiscard]] Json ToJson(const Error& error);

/// Always eight entries: what the array has, then nulls.
[[nodiscard]] Json HistoryToJson(const ByteStringArray& records);

}  // namespace quillmark::host
