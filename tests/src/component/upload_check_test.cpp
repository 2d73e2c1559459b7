// SPDX-License-Identifier: MIT
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

/// A reply 75 RL address n data checksum of two data bytes at 0x012345 in each form, then one of
/// four data bytes at 0x012347.
struct Replied {
  Form form;
  std::vector<std::string> frames;
  std::size_t start_of_second;  ///< index of its first frame
};

void PrintTo(const Replied& replied, std::ostream* out) { *out << replied.form.name; }

class UploadCheck : public ComponentTest, public ::testing::WithParamInterface<Replied> {
 protected:
  UploadCheck() { Configure(GetParam().form); }

  void Check() { diag_->checkupload(Replies(GetParam().form, frames_), image_); }

  [[nodiscard]] std::vector<std::string> Segments() const {
    std::vector<std::string> segments;
    for (const auto& segment : image_->Segments()) {
      segments.push_back(std::to_string(segment->StartAddress()) + ":" + segment->Hex());
    }
    return segments;
  }

  std::vector<std::string> frames_ = GetParam().frames;
  const std::shared_ptr<MemoryImage> image_ = platform_->CreateMemoryImage();
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_P(UploadCheck, AddsOneSegmentAReply) {
  Check();
  EXPECT_THAT(Segments(), ElementsAre("74565:AABB", "74567:01020304"));
}

TEST_P(UploadCheck, AddsToWhatTheImageHolds) {
  image_->AddSegment(*String("FF"));
  Check();
  EXPECT_THAT(Segments(), ElementsAre("1:FF", "74565:AABB", "74567:01020304"));
}

TEST_P(UploadCheck, ErrorMarkFails) {
  const auto document = Replies(GetParam().form, frames_);
  document->documentElement()->appendChild(document->createElement("e"));
  EXPECT_ERROR(diag_->checkupload(document, image_), 4007, "Upload error");
  EXPECT_THAT(Segments(), IsEmpty());
}

TEST_P(UploadCheck, ReplyWithoutDataFailsAndLeavesTheImage) {
  frames_[GetParam().start_of_second] = "-";
  EXPECT_ERROR(Check(), 2000, kNoText);
  EXPECT_THAT(Segments(), IsEmpty());
}

TEST_P(UploadCheck, LastFrameWithoutDataFailsAndLeavesTheImage) {
  frames_.back() = "-";
  EXPECT_ERROR(Check(), 2000, kNoText);
  EXPECT_THAT(Segments(), IsEmpty());
}

TEST_P(UploadCheck, DocumentWithoutRepliesAddsNothing) {
  frames_.clear();
  Check();
  EXPECT_THAT(Segments(), IsEmpty());
}

TEST_P(UploadCheck, MissingObjectsAreReported) {
  EXPECT_ERROR(diag_->checkupload(nullptr, image_), 91, kNotSet);
  EXPECT_ERROR(diag_->checkupload(Replies(GetParam().form, frames_), nullptr), 91, kNotSet);
}

TEST_P(UploadCheck, TextThatIsNotHexIsOfTheWrongType) {
  frames_.back().back() = 'x';
  EXPECT_ERROR(Check(), 13, "Type mismatch");
  EXPECT_THAT(Segments(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Forms, UploadCheck,
    ::testing::Values(
        Replied{kPlainCan,
                {"100A750001234502", "21AABB0245000000", "100C750001234704", "210102030400EE00"},
                2},
        Replied{kGateway,
                {"81", "028AF16E75000123", "4502AABB024575", "81", "038CF16E75000123",
                 "47040102030400EE", "C7"},
                4},
        Replied{kKLine, {"8AF111750001234502AABB024518", "8CF1117500012347040102030400EE6A"}, 1}),
    FormName());

class UploadCheckErrors : public ComponentTest {
 protected:
  void ExpectError(const Form& form, const std::vector<std::string>& frames, std::int32_t number,
                   const std::string& text) {
    diag_->CANIDs(form.RCANId, form.XCANId);
    const auto image = platform_->CreateMemoryImage();
    EXPECT_ERROR(diag_->checkupload(Replies(form, frames), image), number, text);
    EXPECT_TRUE(image->Segments().empty());
  }
};

TEST_F(UploadCheckErrors, WrongChecksumOfAKStyleMessage) {
  ExpectError(kGateway, {"81", "028AF16E75000123", "4502AABB024576"}, 2003,
              "Checksum error 8AF16E750001234502AABB024576");
  ExpectError(kKLine, {"8AF111750001234502AABB024519"}, 2003,
              "Checksum error 8AF111750001234502AABB024519");
}

TEST_F(UploadCheckErrors, ReplyThatEndsTooEarly) {
  ExpectError(kPlainCan, {"037F3531"}, 9, "Subscript out of range");
  ExpectError(kPlainCan, {"0775000123450411"}, 9, "Subscript out of range");
}

TEST_F(UploadCheckErrors, FurtherFrameThatIsMissing) {
  ExpectError(kPlainCan, {"100A750001234502"}, 91,
              "Object variable or With block variable not set");
}

// D23.
TEST_F(ComponentTest, UploadCheckTakesAnyChecksumOfTheData) {
  Configure(kPlainCan);
  const auto image = platform_->CreateMemoryImage();
  diag_->checkupload(Replies(kPlainCan, {"1009750001234501", "21AAFFFF"}), image);
  ASSERT_EQ(image->Segments().size(), 1U);
  EXPECT_EQ(image->Segments()[0]->Hex(), "AA");
}

TEST_F(ComponentTest, UploadCheckPassesOverWhatBeginsNoMessage) {
  Configure(kPlainCan);
  const auto image = platform_->CreateMemoryImage();
  diag_->checkupload(Replies(kPlainCan, {"3001", "0675000000010000", "21"}), image);
  ASSERT_EQ(image->Segments().size(), 1U);
  EXPECT_EQ(image->Segments()[0]->Length(), 0);
  EXPECT_EQ(image->Segments()[0]->StartAddress(), 1);
}

TEST_F(ComponentTest, UploadCheckLooksAtNoFrameBetweenTheRepliesOfAGateway) {
  Configure(kGateway);
  const auto image = platform_->CreateMemoryImage();
  diag_->checkupload(Replies(kGateway, {"no hex", "028AF16E75000123", "4502AABB024575", "-",
                                        "038CF16E75000123", "47040102030400EE", "C7"}),
                     image);
  EXPECT_EQ(image->Segments().size(), 2U);
}

TEST_F(ComponentTest, UploadCheckPassesOverALastFrameOfOneByteInAGatewaysReply) {
  Configure(kGateway);
  const auto image = platform_->CreateMemoryImage();
  diag_->checkupload(Replies(kGateway, {"81", "038CF16E75000123", "47040102030400EE", "C7", "81",
                                        "028AF16E75000123", "4502AABB024575"}),
                     image);
  EXPECT_EQ(image->Segments().size(), 2U);
}

TEST_F(ComponentTest, UploadCheckRaisesTheFirstErrorInTheOrderOfReplies) {
  Configure(kPlainCan);
  const auto image = platform_->CreateMemoryImage();
  EXPECT_ERROR(diag_->checkupload(Replies(kPlainCan, {"0775000123450411", "-", "no hex"}), image),
               9, "Subscript out of range");
  EXPECT_ERROR(diag_->checkupload(Replies(kPlainCan, {"100A750001234502", "-", "no hex"}), image),
               2000, kNoText);
  EXPECT_ERROR(diag_->checkupload(Replies(kPlainCan, {"100A750001234502", "no hex", "-"}), image),
               13, "Type mismatch");
}

TEST_F(ComponentTest, UploadCheckReadsTheRepliesOfAllExchanges) {
  Configure(kPlainCan);
  const auto image = platform_->CreateMemoryImage();
  const std::string first = "<x><r><d>077500FFFFFF0142</d></r></x>";
  diag_->checkupload(Parse("<can>" + first + "<x/><x><s/><r><d>0775000000020143</d></r></x></can>"),
                     image);
  EXPECT_EQ(image->Segments().size(), 2U);
  // A message does not go on in the next exchange.
  EXPECT_ERROR(diag_->checkupload(Parse("<can><x><r><d>100A750001234502</d></r></x>"
                                        "<x><r><d>21AABB0245000000</d></r></x></can>"),
                                  image),
               91, "Object variable or With block variable not set");
  EXPECT_EQ(image->Segments().size(), 2U);
}

TEST_F(ComponentTest, UploadCheckRaisesForDataWithoutText) {
  Configure(kPlainCan);
  EXPECT_ERROR(
      diag_->checkupload(Parse("<can><x><r><d/></r></x></can>"), platform_->CreateMemoryImage()),
      91, "Object variable or With block variable not set");
}

TEST_F(ComponentTest, UploadCheckReadsAddressesAs24Bits) {
  Configure(kPlainCan);
  const auto image = platform_->CreateMemoryImage();
  diag_->checkupload(Replies(kPlainCan, {"077500FFFFFF0142"}), image);
  EXPECT_EQ(image->Segments()[0]->StartAddress(), 0xFFFFFF);
  EXPECT_EQ(image->Segments()[0]->Hex(), "42");
}

}  // namespace
}  // namespace quillmark::testing
