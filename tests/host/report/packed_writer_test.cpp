// SPDX-License-Identifier: MIT
#include "host/report/packed_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "tests/support/report_page.h"

namespace quillmark::host::testing {
namespace {

TEST(PackedWriter, TakesSevenBitsAByteAndTheLowOnesFirst) {
  PackedWriter packed;
  packed.Number(0x7F);
  packed.Number(0x80);
  packed.Number(300);
  EXPECT_EQ(packed.bytes(), (Bytes{0x7F, 0x80, 0x01, 0xAC, 0x02}));
}

TEST(PackedWriter, FoldsNegativeNumbers) {
  PackedWriter packed;
  packed.Signed(0);
  packed.Signed(-1);
  packed.Signed(1);
  packed.Signed(-2);
  EXPECT_EQ(packed.bytes(), (Bytes{0, 1, 2, 3}));
}

TEST(PackedWriter, AppendsBytesAsTheyAre) {
  PackedWriter packed;
  packed.Append(Bytes{0xFF, 0x00, 0x80});
  EXPECT_EQ(packed.bytes(), (Bytes{0xFF, 0x00, 0x80}));
}

TEST(Base64, FillsTheLastGroup) {
  EXPECT_EQ(Base64Of(Bytes{}), "");
  EXPECT_EQ(Base64Of(Bytes{0xFF}), "/w==");
  EXPECT_EQ(Base64Of(Bytes{0xFF, 0x00}), "/wA=");
  EXPECT_EQ(Base64Of(Bytes{0xFF, 0x00, 0x80}), "/wCA");
}

TEST(Deflated, HoldsEveryByteOfAnyLength) {
  std::minstd_rand random;
  for (const std::size_t size : {0U, 1U, 1U << 20U, (1U << 20U) + 1, 5'000'000U}) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(),
                  [&random] { return static_cast<std::uint8_t>(random() >> 8U); });
    const Bytes deflated = Deflated(bytes);
    const std::string inflated = Inflated({deflated.begin(), deflated.end()});
    EXPECT_EQ(Bytes(inflated.begin(), inflated.end()), bytes);
  }
}

TEST(Deflated, IsSmallWhereBytesAreAlike) {
  EXPECT_LT(Deflated(Bytes(1'000'000, 0x5A)).size(), 2000U);
}

}  // namespace
}  // namespace quillmark::host::testing
