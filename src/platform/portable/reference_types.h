// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "quillmark/checksum_calculator.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

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

/// The reference memory map: ranges exactly as they were added, in that order.
class RangeMap final : public MemoryMap {
 public:
  void AddRange(std::int32_t start, std::int32_t count) override;
  [[nodiscard]] std::vector<std::shared_ptr<MemoryRange>> Ranges() const override;

 private:
  std::vector<std::shared_ptr<MemoryRange>> ranges_;
};

/// The reference checksum: the low 16 bits of the sum of the bytes, stored high byte first.
class SumChecksumCalculator final : public ChecksumCalculator {
 public:
  void Reset() override;
  void Add(const ByteString& data) override;
  void StoreInto(ByteString& block) override;

 private:
  std::uint32_t sum_ = 0;  ///< modulo 2^32; only the low 16 bits matter
};

}  // namespace quillmark::portable
