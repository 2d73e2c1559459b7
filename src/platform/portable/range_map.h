// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "quillmark/memory_map.h"

namespace quillmark::portable {

/// The reference memory map: ranges exactly as they were added, in that order.
class RangeMap final : public MemoryMap {
 public:
  void AddRange(std::int32_t start, std::int32_t count) override;
  [[nodiscard]] std::vector<std::shared_ptr<MemoryRange>> Ranges() const override;

 private:
  std::vector<std::shared_ptr<MemoryRange>> ranges_;
};

}  // namespace quillmark::portable
