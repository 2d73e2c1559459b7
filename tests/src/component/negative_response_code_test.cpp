// SPDX-License-Identifier: MIT
#include <optional>

#include "support/component_test.h"

namespace quillmark::testing {
namespace {

constexpr std::size_t kCodes = 256;

template <typename Check>
std::optional<std::uint8_t> CodeRaisedBy(const Check& check) {
  try {
    check();
  } catch (const Error& error) {
    return NegativeResponseCode(error);
  }
  return std::nullopt;
}

using NegativeResponseCodeOf = EveryForm;
INSTANTIATE_TEST_SUITE_P(Forms, NegativeResponseCodeOf, ::testing::ValuesIn(kAllForms), FormName());

TEST_P(NegativeResponseCodeOf, ARoutine) {
  for (std::size_t code = 0; code < kCodes; ++code) {
    const auto reply = Replies(GetParam(), FramedReply(GetParam(), "7F31" + HexByte(code)));
    EXPECT_EQ(CodeRaisedBy([&] { static_cast<void>(diag_->checkcheckerase(reply)); }), code);
    EXPECT_EQ(CodeRaisedBy([&] { static_cast<void>(diag_->checkroutine(reply, 2)); }), code);
    EXPECT_EQ(CodeRaisedBy([&] { diag_->checkstartroutine(reply, 2); }), code);
  }
}

TEST_P(NegativeResponseCodeOf, AnotherReplyIsNone) {
  for (const char* reply : {"718103", "7F31", "6F3133", "73"}) {
    const auto document = Replies(GetParam(), FramedReply(GetParam(), reply));
    EXPECT_EQ(CodeRaisedBy([&] { diag_->checkstartroutine(document, 2); }), std::nullopt) << reply;
  }
}

class NegativeResponseCodeToTheSeed : public ComponentTest {
 protected:
  std::optional<std::uint8_t> Code(const Form& form, std::size_t code) {
    Configure(form);
    const auto reply = Replies(form, FramedReply(form, "7F27" + HexByte(code)));
    return CodeRaisedBy([&] { static_cast<void>(diag_->getseed(reply)); });
  }
};

TEST_F(NegativeResponseCodeToTheSeed, IsThatOfTheReply) {
  for (std::size_t code = 0; code < kCodes; ++code) {
    EXPECT_EQ(Code(kPlainCan, code), code);
  }
  for (std::size_t code = 0; code < kCodes; ++code) {
    EXPECT_EQ(Code(kKLine, code), code);
  }
}

TEST(NegativeResponseCode, IsNoneOfOtherErrors) {
  EXPECT_EQ(NegativeResponseCode(Error(error_number::kObjectNotSet)), std::nullopt);
  EXPECT_EQ(NegativeResponseCode(
                Error(error_number::kIllegalNegativeReply, "Illegal Negative Reply : 7F10")),
            std::nullopt);
  EXPECT_EQ(NegativeResponseCode(Error(error_number::kDownloadFailed, "Download error 037F3472")),
            std::nullopt);
}

TEST(NegativeResponseCode, IsNoneOfATextThatItDoesNotEnd) {
  for (const char* text : {"", " ", "35 ", "code : 135", "code : G", "a text of a host"}) {
    EXPECT_EQ(NegativeResponseCode(Error(error_number::kInvalidKey, text)), std::nullopt) << text;
    EXPECT_EQ(NegativeResponseCode(Error(error_number::kEraseFailed, text)), std::nullopt) << text;
  }
}

TEST(Version, IsThatOfTheHeaders) {
  EXPECT_STREQ(Version(), QUILLMARK_VERSION);
  EXPECT_EQ(std::to_string(QUILLMARK_VERSION_MAJOR) + '.' +
                std::to_string(QUILLMARK_VERSION_MINOR) + '.' +
                std::to_string(QUILLMARK_VERSION_PATCH),
            QUILLMARK_VERSION);
}

}  // namespace
}  // namespace quillmark::testing
