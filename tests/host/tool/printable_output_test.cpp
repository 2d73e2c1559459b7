// SPDX-License-Identifier: MIT
#include "host/tool/printable_output.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace quillmark::host {
namespace {

std::string Printed(const std::string& text, Charset charset = Charset::kUtf8) {
  std::ostringstream out;
  const PrintableOutput output(out, charset);
  out << text << std::flush;
  return out.str();
}

TEST(PrintableOutput, LetsTextAndLineFeedsPass) {
  const std::string text = "a~\nä€😀 \xEF\xBF\xBD\n";
  EXPECT_EQ(Printed(text), text);
}

TEST(PrintableOutput, ShowsControlCharactersInsteadOfSendingThem) {
  EXPECT_EQ(Printed("\x1B[2J\r\t\x7F|\xC2\x80|\xC2\x9F|\xC2\xA0"),
            "\\u001b[2J\\u000d\\u0009\\u007f|\\u0080|\\u009f|\xC2\xA0");
  EXPECT_EQ(Printed(std::string(1, '\0')), "\\u0000");
}

TEST(PrintableOutput, ShowsWhatWouldReorderText) {
  EXPECT_EQ(Printed("\u061C\u200E\u200F\u2028\u202A\u202E\u2066\u2069"),
            "\\u061c\\u200e\\u200f\\u2028\\u202a\\u202e\\u2066\\u2069");
  EXPECT_EQ(Printed("\u200D\u2027\u202F\u2065\u206A"), "\u200D\u2027\u202F\u2065\u206A");
}

TEST(PrintableOutput, ShowsBytesThatAreNoUtf8) {
  EXPECT_EQ(Printed("\x9B"
                    "31m"),
            "\\x9b31m");
  EXPECT_EQ(Printed("\xC3("), "\\xc3(");
  EXPECT_EQ(Printed("\xC0\x9B|\xE0\x82\x9B|\xF0\x80\x82\x9B"),
            "\\xc0\\x9b|\\xe0\\x82\\x9b|\\xf0\\x80\\x82\\x9b");
  EXPECT_EQ(Printed("\xED\xA0\x80|\xF4\x90\x80\x80|\xF5"),
            "\\xed\\xa0\\x80|\\xf4\\x90\\x80\\x80|\\xf5");
  EXPECT_EQ(Printed("\xE2\x82\xC3\xA4"), "\\xe2\\x82\xC3\xA4");
  EXPECT_EQ(Printed("cut off \xE2\x82"), "cut off \\xe2\\x82");
}

TEST(PrintableOutput, ShowsWhatIsBeyondAscii) {
  EXPECT_EQ(Printed("für \u20AC \U0001F600", Charset::kAscii), "f\\u00fcr \\u20ac \\ud83d\\ude00");
}

TEST(PrintableOutput, JoinsACharacterThatComesInPieces) {
  std::ostringstream out;
  {
    const PrintableOutput output(out, Charset::kUtf8);
    out << '\xC2';
    out << '\x9B' << "\xE2"
        << "\x82"
        << "\xAC|" << '\x1B' << '\xC3';
  }
  EXPECT_EQ(out.str(), "\\u009b\xE2\x82\xAC|\\u001b\\xc3");
  out << "\x1B";
  EXPECT_EQ(out.str().back(), '\x1B');
}

TEST(PrintableOutput, LetsTheToolsOwnControlSequencesPass) {
  std::ostringstream out;
  out << TerminalControl{"\r"};
  const PrintableOutput output(out, Charset::kUtf8);
  out << '\r' << TerminalControl{"\x1B[K"} << "\x1B[K";
  EXPECT_EQ(out.str(), "\r\\u000d\x1B[K\\u001b[K");
}

TEST(PrintableOutput, TellsThatItCannotWrite) {
  class Full : public std::streambuf {
  } device;
  std::ostream out(&device);
  const PrintableOutput output(out, Charset::kUtf8);
  for (const char* text : {"plain", "\x1B"}) {
    out.clear();
    EXPECT_FALSE(out << text);
  }
  out.clear();
  EXPECT_FALSE(out << '\x1B');
  out.clear();
  EXPECT_FALSE(out << TerminalControl{"\r"});
}

class Environment : public ::testing::Test {
 protected:
  Environment() { Set(nullptr, nullptr, nullptr); }
  static void Set(const char* all, const char* type, const char* language) {
    SetOne("LC_ALL", all);
    SetOne("LC_CTYPE", type);
    SetOne("LANG", language);
  }

 private:
  static void SetOne(const char* name, const char* value) {
    if (value == nullptr) {
      ::unsetenv(name);
    } else {
      ::setenv(name, value, 1);
    }
  }
};

TEST_F(Environment, SaysTheCharacterSet) {
  EXPECT_EQ(CharsetOfEnvironment(), Charset::kAscii);
  Set(nullptr, nullptr, "de_DE.UTF-8");
  EXPECT_EQ(CharsetOfEnvironment(), Charset::kUtf8);
  Set(nullptr, "C.utf8", "C");
  EXPECT_EQ(CharsetOfEnvironment(), Charset::kUtf8);
  Set("de_DE.ISO-8859-1", "C.UTF-8", "C.UTF-8");
  EXPECT_EQ(CharsetOfEnvironment(), Charset::kAscii);
  Set("", "", "C.UTF-8");
  EXPECT_EQ(CharsetOfEnvironment(), Charset::kUtf8);
}

TEST(OneLine, ShowsLineFeeds) { EXPECT_EQ(OneLine("a\n\nb\n"), "a\\u000a\\u000ab\\u000a"); }

}  // namespace
}  // namespace quillmark::host
