// SPDX-License-Identifier: MIT
#include "host/tool/number.h"

#include <gtest/gtest.h>

#include <CLI/Error.hpp>

namespace quillmark::host {
namespace {

constexpr NumberRange kRange = {-5, 1000};

std::int64_t Parse(const std::string& text) { return ParseNumber("--n", text, kRange); }

std::string ErrorOfNumber(const std::string& text) {
  try {
    return "parsed as " + std::to_string(Parse(text));
  } catch (const CLI::ValidationError& error) {
    return error.what();
  }
}

TEST(ParseNumber, TakesDecimalAndHexadecimalDigits) {
  EXPECT_EQ(Parse("0"), 0);
  EXPECT_EQ(Parse("1000"), 1000);
  EXPECT_EQ(Parse("-5"), -5);
  EXPECT_EQ(Parse("0x3e8"), 1000);
  EXPECT_EQ(Parse("0X3E8"), 1000);
}

TEST(ParseNumber, DoesNotReadALeadingZeroAsOctal) { EXPECT_EQ(Parse("010"), 10); }

TEST(ParseNumber, RefusesANumberOutOfRange) {
  EXPECT_EQ(ErrorOfNumber("1001"), "--n: expected a number from -5 to 1000, found \"1001\"");
  EXPECT_EQ(ErrorOfNumber("-6"), "--n: expected a number from -5 to 1000, found \"-6\"");
  EXPECT_EQ(ErrorOfNumber("99999999999999999999"),
            "--n: expected a number from -5 to 1000, found \"99999999999999999999\"");
}

TEST(ParseNumber, RefusesWhatIsNoNumber) {
  for (const char* text : {"", " 1", "1 ", "1.5", "0x", "0x-1", "x10", "ten", "1e2", "+1", "--1"}) {
    EXPECT_EQ(ErrorOfNumber(text),
              std::string("--n: expected a number from -5 to 1000, found \"") + text + "\"");
  }
}

}  // namespace
}  // namespace quillmark::host
