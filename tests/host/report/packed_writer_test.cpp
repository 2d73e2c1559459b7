// SPDX-License-Identifier: MIT
#include "host/report/packed_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>

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

Bytes Inflated(Bytes deflated, std::size_t size) {
  Bytes bytes(size + 1);
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
  stream.next_in = deflated.data();
  stream.avail_in = static_cast<uInt>(deflated.size());
  stream.next_out = bytes.data();
  stream.avail_out = static_cast<uInt>(bytes.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  bytes.resize(stream.total_out);
  EXPECT_EQ(stream.avail_in, 0U);
  EXPECT_EQ(inflateEnd(&stream), Z_OK);
  return bytes;
}

TEST(Deflated, HoldsEveryByteOfAnyLength) {
  std::minstd_rand random;
  for (const std::size_t size : {0U, 1U, 1U << 20U, (1U << 20U) + 1, 5'000'000U}) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(),
                  [&random] { return static_cast<std::uint8_t>(random() >> 8U); });
    EXPECT_EQ(Inflated(Deflated(bytes), size), bytes);
  }
}

TEST(Deflated, IsSmallWhereBytesAreAlike) {
  EXPECT_LT(Deflated(Bytes(1'000'000, 0x5A)).size(), 2000U);
}

}  // namespace
}  // namespace quillmark::host::testing
