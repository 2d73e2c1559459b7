// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "tests/src/platform/xml_samples.h"

/// No operation may need stack for a level of nesting.
namespace quillmark::testing {
namespace {

constexpr std::size_t kLevels = 200'000;

std::string Repeated(std::string_view part, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += part;
  }
  return text;
}

class DomDepth : public ::testing::Test {
 protected:
  const std::string xml_ = Repeated("<a>", kLevels) + "t" + Repeated("</a>", kLevels);
  const std::shared_ptr<DOMDocument> document_ = Loaded(xml_);
};

TEST_F(DomDepth, Serialises) { EXPECT_TRUE(document_->xml() == xml_); }

TEST_F(DomDepth, JoinsText) { EXPECT_EQ(document_->text(), "t"); }

TEST_F(DomDepth, ClonesDocumentsAndElements) {
  const auto copy = document_->cloneNode(true);
  EXPECT_TRUE(copy->xml() == xml_);
  EXPECT_TRUE(document_->documentElement()->cloneNode(true)->xml() == xml_);
}

TEST_F(DomDepth, SavesAndReplaces) {
  const auto target = Loaded(xml_);
  document_->save(*target);
  EXPECT_TRUE(target->xml() == xml_);
}

TEST_F(DomDepth, SetsTextOverIt) {
  document_->documentElement()->setText("u");
  EXPECT_EQ(document_->xml(), "<a>u</a>");
}

TEST_F(DomDepth, Selects) {
  EXPECT_EQ(document_->selectNodes("//a")->length(), kLevels);
  EXPECT_EQ(document_->selectSingleNode("//text()")->nodeValue(), "t");
}

TEST_F(DomDepth, RefusesWhatIsNotClosed) {
  EXPECT_ERROR(document_->loadXML(Repeated("<a>", kLevels)), 13,
               "Start-end tags mismatch (offset 599999)");
  EXPECT_EQ(document_->xml(), "");
}

}  // namespace
}  // namespace quillmark::testing
