// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "quillmark/byte_string.h"
#include "quillmark/export.h"

namespace quillmark {

/// What is to be written into an ECU, or what was read from it: a collection of segments. One of
/// the host's own types. The reference type keeps the segments as they were added, without
/// joining adjacent ones.
///
/// Threads: used by one thread at a time.
class QUILLMARK_API MemoryImage {
 public:
  virtual ~MemoryImage() = default;

  /// Adds a copy of `segment` with its start address; the image keeps no reference to `segment`.
  /// The reference types share the bytes of a long segment until one of the two is written to.
  virtual void AddSegment(const ByteString& segment) = 0;

  /// The segments in address order; those with equal addresses in the order in which they were
  /// added. They belong to the image: writing into one changes the image.
  [[nodiscard]] virtual std::vector<std::shared_ptr<ByteString>> Segments() const = 0;
};

}  // namespace quillmark
