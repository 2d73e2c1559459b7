// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "quillmark/export.h"

namespace quillmark {

/// A range of ECU memory. One of the host's own types.
class QUILLMARK_API MemoryRange {
 public:
  virtual ~MemoryRange() = default;

  /// First address.
  [[nodiscard]] virtual std::int32_t Start() const = 0;
  /// Number of bytes.
  [[nodiscard]] virtual std::int32_t Count() const = 0;
};

/// The address ranges to be read back from an ECU. One of the host's own types.
///
/// Threads: used by one thread at a time.
class QUILLMARK_API MemoryMap {
 public:
  virtual ~MemoryMap() = default;

  /// Adds the `count` bytes starting at `start`. Ranges may overlap; they are read one after the
  /// other.
  virtual void AddRange(std::int32_t start, std::int32_t count) = 0;

  /// The ranges in the order in which they were added.
  [[nodiscard]] virtual std::vector<std::shared_ptr<MemoryRange>> Ranges() const = 0;
};

}  // namespace quillmark
