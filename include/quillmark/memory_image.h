// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "quillmark/byte_string.h"
#include "quillmark/export.h"

namespace quillmark {

/// What is to be written into an ECU, or what was read from it: a collection of segments, one of
/// the host library's types. The reference type keeps the segments as they were added and joins
/// nothing.
///
/// Threads: used by one thread at a time.
class QUILLMARK_API MemoryImage {
 public:
  virtual ~MemoryImage() = default;

  /// Adds a copy of `segment`, which keeps its start address; the image holds no reference to it.
  /// The reference types share the bytes of a long segment until one of the two is written to.
  virtual void AddSegment(const ByteString& segment) = 0;

  /// The segments in address order (equal addresses in the order of adding). They are the image's
  /// own: writing into one changes the image.
  [[nodiscard]] virtual std::vector<std::shared_ptr<ByteString>> Segments() const = 0;
};

}  // namespace quillmark
