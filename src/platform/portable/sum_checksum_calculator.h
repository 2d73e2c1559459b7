// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "quillmark/checksum_calculator.h"

namespace quillmark::portable {

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
