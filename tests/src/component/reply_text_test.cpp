// SPDX-License-Identifier: MIT
// What a host may have put where a check looks for the bytes of a reply: each has one outcome, the
// same in every form and every check.
#include <functional>

#include "support/component_test.h"
#include "support/framed_reply.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUILLMARK_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUILLMARK_SANITIZED
#endif

namespace quillmark::testing {
namespace {

const Raised kTypeMismatch = {13, "Type mismatch"};
const Raised kUnset = {91, kNotSet};

std::string Times(std::string_view part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) {
    text += part;
  }
  return text;
}

class ReplyText : public EveryForm {
 protected:
  using Check = std::function<void(const std::shared_ptr<DOMDocument>&)>;
  struct NamedCheck {
    const char* name;
    Check run;
  };

  /// A run document with these elements among its steps.
  [[nodiscard]] std::shared_ptr<DOMDocument> RunDocument(const std::string& steps) const {
    return Parse(GetParam().name == kKLine.name ? "<k>" + steps + "</k>"
                                                : "<can><x>" + steps + "</x></can>");
  }

  /// Two replies, as many as a check looks for, that both hold `content`.
  [[nodiscard]] std::shared_ptr<DOMDocument> Holding(const std::string& content) const {
    return RunDocument(Times("<r><c/>" + content + "</r>", 2));
  }

  /// The frame of the reply 71 AB 01, which is one in every form.
  [[nodiscard]] static std::string Frame() { return FramedReply(GetParam(), "71AB01").at(0); }

  /// Every check that reads the bytes of a reply.
  [[nodiscard]] std::vector<NamedCheck> ReadingChecks() {
    return {
        {"getseed", [&](const auto& root) { static_cast<void>(diag_->getseed(root)); }},
        {"checkunlock", [&](const auto& root) { diag_->checkunlock(root); }},
        {"checkstarterase", [&](const auto& root) { diag_->checkstarterase(root); }},
        {"checkcheckerase",
         [&](const auto& root) { static_cast<void>(diag_->checkcheckerase(root)); }},
        {"checkstartroutine", [&](const auto& root) { diag_->checkstartroutine(root, 5); }},
        {"checkroutine",
         [&](const auto& root) { static_cast<void>(diag_->checkroutine(root, 5)); }},
        {"gethisto",
         [&](const auto& root) {
           ByteStringArray history;
           ByteStringArray reprogrammings;
           std::shared_ptr<ByteString> identification;
           diag_->gethisto(root, history, reprogrammings, identification);
         }},
        {"checkupload",
         [&](const auto& root) {
           const auto image = platform_->CreateMemoryImage();
           diag_->checkupload(root, image);
         }},
    };
  }

  void ExpectOfEveryCheck(const std::string& content, const Raised& expected) {
    const auto document = Holding(content);
    const std::string before = document->xml();
    for (const auto& [name, run] : ReadingChecks()) {
      EXPECT_EQ(RaisedBy([&, &check = run] { check(document); }), expected)
          << name << " of " << content;
    }
    EXPECT_EQ(document->xml(), before) << "a check only reads";
  }

  /// Reads 71 AB 01 out of a reply with this content.
  void ExpectRead(const std::string& content) {
    EXPECT_EQ(RaisedBy([&] { diag_->checkstartroutine(Holding(content), 0xAB); }), std::nullopt)
        << content;
  }
};

TEST_P(ReplyText, ThatIsNotHexIsOfTheWrongType) {
  for (const char* content :
       {"<d>0</d>", "<d>0371810</d>", "<d>0371810G</d>", "<d>0x03</d>", "<d>\xC3\xA9</d>",
        "<d>03 718101</d>", "<d> 03718101</d>", "<d>03718101 </d>", "<d>\r\n03718101</d>",
        "<d>03\t718101</d>", "<d>&lt;&gt;</d>", "<d>&#x20;03</d>", "<d><![CDATA[0371810]]></d>",
        "<d><!--c-->03718101</d>", "<d><?p q?>03718101</d>", "<d><b>no</b></d>"}) {
    ExpectOfEveryCheck(content, kTypeMismatch);
  }
}

TEST_P(ReplyText, ThatIsMissingHasNoObject) {
  ExpectOfEveryCheck("<d/>", kUnset);
  ExpectOfEveryCheck("<d></d>", kUnset);
  ExpectOfEveryCheck("<d/><d>03718101</d>", kUnset);
}

TEST_P(ReplyText, ThatIsWellWrittenInAnyWayIsRead) {
  const std::string frame = Frame();
  std::string lower = frame;
  for (char& digit : lower) {
    digit = digit >= 'A' ? static_cast<char>(digit | 0x20) : digit;
  }
  std::string references;
  for (const char digit : frame) {
    references += "&#" + std::to_string(static_cast<int>(digit)) + ";";
  }
  ExpectRead("<d>" + frame + "</d>");
  ExpectRead("<d>" + lower + "</d>");
  ExpectRead("<d>" + references + "</d>");
  ExpectRead("<d><![CDATA[" + frame + "]]></d>");
  ExpectRead("<d><b>" + frame + "</b></d>");
  ExpectRead("<d>" + frame + "<!--what follows does not count-->00</d>");
  ExpectRead("<d>" + frame + "<![CDATA[00]]></d>");
  ExpectRead("<d>" + frame + "</d><d>00</d>");
  ExpectRead("<!--no--><d>" + frame + "</d>");
  ExpectRead("<d a='1'>" + frame + "</d>");
}

TEST_P(ReplyText, WithAZeroByteCannotBeWritten) {
  constexpr std::string_view kZero("03\0718101", 9);
  const auto document = Holding("<d>00</d>");
  const auto data = document->selectSingleNode("//d");
  EXPECT_NE(RaisedBy([&] { data->setText(kZero); }), std::nullopt);
  EXPECT_NE(RaisedBy([&] { data->firstChild()->setNodeValue(kZero); }), std::nullopt);
  EXPECT_EQ(data->text(), "00");
}

TEST_P(ReplyText, BelowAnotherElementIsNoData) {
  EXPECT_ERROR(diag_->checkcheckerase(Holding("<b><d>" + Frame() + "</d></b>")), 2000, kNoText);
  EXPECT_ERROR(diag_->checkcheckerase(Holding("<D>" + Frame() + "</D>")), 2000, kNoText);
}

TEST_P(ReplyText, DeepDownIsNotFoundAndDoesNotCrash) {
  constexpr std::size_t kLevels = 100'000;
  const auto document = RunDocument(Times("<a>", kLevels) + "<r><d>" + Frame() + "</d><e/></r>" +
                                    Times("</a>", kLevels));
  EXPECT_ERROR(diag_->checkcheckerase(document), 2000, kNoText);
  EXPECT_ERROR(diag_->checkdownload(document), 4005, "Download error " + Frame());
  EXPECT_ERROR(diag_->checkupload(document, platform_->CreateMemoryImage()), 4007, "Upload error");
}

#if defined(QUILLMARK_SANITIZED)
// With a sanitizer it takes ten times as long and several times the memory.
constexpr std::size_t kLarge = std::size_t{8} << 20U;
#else
constexpr std::size_t kLarge = std::size_t{100} << 20U;
#endif

TEST_F(ComponentTest, DocumentOf100MegabytesIsLoadedAndChecked) {
  Configure(kPlainCan);
  const auto document = platform_->CreateDOMDocument();
  document->loadXML("<can><x><r><c/><d>027402" + std::string(kLarge, '0') +
                    "</d><e>refused</e></r></x></can>");
  const auto raised = RaisedBy([&] { diag_->checkdownload(document); });
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->number, 4005);
  EXPECT_EQ(raised->description.size(), std::string("Download error 027402").size() + kLarge);
}

INSTANTIATE_TEST_SUITE_P(Forms, ReplyText, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
