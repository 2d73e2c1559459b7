// SPDX-License-Identifier: MIT
#include "host/services/count_text.h"

#include <gtest/gtest.h>

namespace quillmark::host {
namespace {

TEST(CountText, GroupsThousands) {
  EXPECT_EQ(WithThousands(0), "0");
  EXPECT_EQ(WithThousands(999), "999");
  EXPECT_EQ(WithThousands(1000), "1,000");
  EXPECT_EQ(WithThousands(1234567), "1,234,567");
}

TEST(CountText, CountsInSingularAndPlural) {
  EXPECT_EQ(BytesText(1), "1 byte");
  EXPECT_EQ(BytesText(0), "0 bytes");
  EXPECT_EQ(CountText(52144, "block"), "52,144 blocks");
}

}  // namespace
}  // namespace quillmark::host
