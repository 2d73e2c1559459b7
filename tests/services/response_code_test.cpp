// SPDX-License-Identifier: MIT
#include "host/services/response_code.h"

#include <gtest/gtest.h>

namespace quillmark::host::testing {
namespace {

TEST(ResponseCode, HasItsMeaning) {
  EXPECT_EQ(ResponseCodeText(0x33), "33, security access denied");
  EXPECT_EQ(ResponseCodeText(0x78), "78, response pending");
}

TEST(ResponseCode, IsANumberWhereItIsNotKnown) { EXPECT_EQ(ResponseCodeText(0xE7), "E7"); }

}  // namespace
}  // namespace quillmark::host::testing
