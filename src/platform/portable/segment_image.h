// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "quillmark/memory_image.h"

namespace quillmark::portable {

/// The reference memory image: keeps segments as they were added, without joining them. The copies
/// are of the reference type, whatever type was added.
class SegmentImage final : public MemoryImage {
 public:
  void AddSegment(const ByteString& segment) override;
  [[nodiscard]] std::vector<std::shared_ptr<ByteString>> Segments() const override;

 private:
  std::vector<std::shared_ptr<ByteString>> segments_;  ///< In the order of adding.
};

}  // namespace quillmark::portable
