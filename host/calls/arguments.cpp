// SPDX-License-Identifier: MIT
#include "host/calls/arguments.h"

#include <fmt/format.h>

namespace quillmark::host {

template <>
std::uint8_t Arguments::Take() {
  return ReadByte(Next());
}

template <>
std::int32_t Arguments::Take() {
  return ReadLong(Next());
}

template <>
std::shared_ptr<ByteString> Arguments::Take() {
  return ReadByteString(Next(), platform_);
}

template <>
std::shared_ptr<DOMDocument> Arguments::Take() {
  return ReadDocument(Next(), platform_);
}

template <>
std::shared_ptr<MemoryImage> Arguments::Take() {
  return ReadImage(Next(), platform_);
}

template <>
std::shared_ptr<MemoryMap> Arguments::Take() {
  return ReadMap(Next(), platform_);
}

std::optional<std::int32_t> Arguments::TakeCancelAt() {
  return taken_ < values_.size() ? std::optional(ReadCancelAt(Next())) : std::nullopt;
}

JsonValue Arguments::Next() {
  const std::size_t index = taken_++;
  const std::string_view parameter = index < parameters_.size() ? parameters_[index] : "cancel_at";
  return {values_[index], fmt::format("{}: argument {}, {}", call_, index + 1, parameter)};
}

}  // namespace quillmark::host
