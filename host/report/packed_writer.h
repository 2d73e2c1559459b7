// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "quillmark/host/bytes.h"

namespace quillmark::host {

/// Collects numbers and bytes for the page's script: 7 bits per byte, the low ones first.
class PackedWriter {
 public:
  void Number(std::uint64_t number);
  /// Small numbers of either sign are short.
  void Signed(std::int64_t number);
  void Append(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

  [[nodiscard]] const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

/// The bytes as a raw deflate stream (RFC 1951), as small as it gets.
[[nodiscard]] Bytes Deflated(ByteView bytes);

[[nodiscard]] std::string Base64Of(ByteView bytes);

}  // namespace quillmark::host
