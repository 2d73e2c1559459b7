// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/hex.h"
#include "quillmark/error.h"

/// Reads received bytes by position, counted from 1 as in the tables of the protocol. A position
/// outside raises 9 "Subscript out of range".
namespace quillmark {

[[nodiscard]] inline std::uint8_t ByteAt(ByteView bytes, std::size_t position) {
  if (position < 1 || position > bytes.size()) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  return bytes[position - 1];
}

/// Exactly `count` bytes from `position`; none for a count of 0.
[[nodiscard]] inline ByteView ViewAt(ByteView bytes, std::size_t position, std::size_t count) {
  if (position < 1 || position > bytes.size() + 1 || count > bytes.size() + 1 - position) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  return bytes.subspan(position - 1, count);
}

/// The bytes from `position` to the end, which may be none.
[[nodiscard]] inline ByteView ViewFrom(ByteView bytes, std::size_t position) {
  if (position < 1 || position > bytes.size() + 1) {
    throw Error(error_number::kSubscriptOutOfRange);
  }
  return bytes.subspan(position - 1);
}

/// A copy of the bytes of `ViewAt`.
[[nodiscard]] inline Bytes BytesAt(ByteView bytes, std::size_t position, std::size_t count) {
  const ByteView part = ViewAt(bytes, position, count);
  return {part.begin(), part.end()};
}

/// A copy of the bytes of `ViewFrom`.
[[nodiscard]] inline Bytes BytesFrom(ByteView bytes, std::size_t position) {
  const ByteView part = ViewFrom(bytes, position);
  return {part.begin(), part.end()};
}

inline void Append(Bytes& bytes, ByteView more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace quillmark
