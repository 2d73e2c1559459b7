// SPDX-License-Identifier: MIT
#include "base/checked.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace quillmark::checked {
namespace {

constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

TEST(Checked, ConvertsWhatFitsAByte) {
  EXPECT_EQ(ToByte(0), 0);
  EXPECT_EQ(ToByte(255), 255);
  EXPECT_ERROR(ToByte(256), 6, "Overflow");
  EXPECT_ERROR(ToByte(-1), 6, "Overflow");
}

TEST(Checked, AddsUpToTheLimitsOfALong) {
  EXPECT_EQ(Add(kLargest - 1, 1), kLargest);
  EXPECT_ERROR(Add(kLargest, 1), 6, "Overflow");
  EXPECT_ERROR(Add(kSmallest, -1), 6, "Overflow");
}

TEST(Checked, SubtractsUpToTheLimitsOfALong) {
  EXPECT_EQ(Subtract(kSmallest + 1, 1), kSmallest);
  EXPECT_ERROR(Subtract(kSmallest, 1), 6, "Overflow");
  EXPECT_ERROR(Subtract(0, kSmallest), 6, "Overflow");
}

TEST(Checked, TakesRemaindersByAnyDivisorButZero) {
  EXPECT_EQ(Modulo(7, 4), 3);
  EXPECT_EQ(Modulo(-7, 4), -3);
  EXPECT_EQ(Modulo(7, -4), 3);
  EXPECT_EQ(Modulo(kSmallest, -1), 0);
  EXPECT_EQ(Modulo(5, kSmallest), 5);
  EXPECT_ERROR(Modulo(7, 0), 11, "Division by zero");
}

}  // namespace
}  // namespace quillmark::checked
