// SPDX-License-Identifier: MIT
#pragma once

#include "quillmark/byte_string.h"
#include "quillmark/export.h"

namespace quillmark {

/// Computes the 2-byte checksum of a transfer block. One of the host's own types: the algorithm
/// is the ECU's, so a host replaces it if its ECU has another. The reference type stores the low 16
/// bits of the sum of the bytes, high byte first.
///
/// Threads: used by one thread at a time.
class QUILLMARK_API ChecksumCalculator {
 public:
  virtual ~ChecksumCalculator() = default;

  /// Discards everything added so far.
  virtual void Reset() = 0;

  /// Adds the bytes of `data` to the checksum.
  virtual void Add(const ByteString& data) = 0;

  /// Writes the checksum of everything added since `Reset` into the last two bytes of `block`.
  /// Raises 9 if the block has fewer than two bytes.
  virtual void StoreInto(ByteString& block) = 0;
};

}  // namespace quillmark
