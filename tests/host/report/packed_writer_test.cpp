// SPDX-License-Identifier: MIT
#include "host/report/packed_writer.h"

#include <gtest/gtest.h>

namespace quillmark::host::testing {
namespace {

TEST(PackedWriter, TakesSevenBitsAByteAndTheLowOnesFirst) {
  PackedWriter packed;
  packed.Number(0x7F);
  packed.Number(0x80);
  packed.Number(300);
  EXPECT_EQ(packed.Base64(), "f4ABrAI=");  // 7F 80 01 AC 02
}

TEST(PackedWriter, FoldsNegativeNumbers) {
  PackedWriter packed;
  packed.Signed(0);
  packed.Signed(-1);
  packed.Signed(1);
  packed.Signed(-2);
  EXPECT_EQ(packed.Base64(), "AAECAw==");  // 00 01 02 03
}

TEST(PackedWriter, AppendsBytesAsTheyAre) {
  PackedWriter packed;
  packed.Append(Bytes{0xFF, 0x00, 0x80});
  EXPECT_EQ(packed.Base64(), "/wCA");
  EXPECT_EQ(PackedWriter().Base64(), "");
}

}  // namespace
}  // namespace quillmark::host::testing
