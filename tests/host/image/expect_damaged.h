// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "quillmark/host/image_file.h"

namespace quillmark::host::testing {

/// The message of the DamagedImage that `call` raised, otherwise a text that no message equals.
template <typename Call>
std::string DamageReportedBy(Call&& call) {
  try {
    call();
  } catch (const DamagedImage& error) {
    return error.what();
  }
  return "(nothing raised)";
}

}  // namespace quillmark::host::testing

/// Expects `expression` to raise DamagedImage with exactly this message.
#define EXPECT_DAMAGED(expression, message)                                                       \
  EXPECT_EQ(::quillmark::host::testing::DamageReportedBy([&] { static_cast<void>(expression); }), \
            (message))
