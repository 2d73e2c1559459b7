// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quillmark::campaign {

/// Numbers that follow from a seed, the same with every standard library (SplitMix64).
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}

  [[nodiscard]] std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t value = state_;
    value = (value ^ value >> 30U) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27U) * 0x94D049BB133111EBU;
    return value ^ value >> 31U;
  }

  /// 0 to `count` - 1.
  [[nodiscard]] std::uint32_t Below(std::uint32_t count) {
    return static_cast<std::uint32_t>(Next() % count);
  }

  [[nodiscard]] bool OneIn(std::uint32_t count) { return Below(count) == 0; }

  /// 0 to 2 to the power of `bits` - 1, small numbers far more often than large ones.
  [[nodiscard]] std::uint32_t MostlySmall(std::uint32_t bits) {
    return Below(1U << Below(bits + 1));
  }

  template <typename Type, std::size_t kSize>
  [[nodiscard]] const Type& Pick(const std::array<Type, kSize>& values) {
    return values[Below(kSize)];
  }

 private:
  std::uint64_t state_;
};

}  // namespace quillmark::campaign
