// SPDX-License-Identifier: MIT
#include <limits>

#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();

class DownloadTest : public TransferTest {
 protected:
  DownloadTest() { Configure(kPlainCan); }

  /// The first 14 hex digits of every first or single frame: service to data.
  static std::vector<std::string> Blocks(const Piece& piece) {
    constexpr std::string_view kSend = "<s><d>";
    std::vector<std::string> blocks;
    const std::string& text = piece.value();
    for (std::size_t at = text.find(kSend); at != std::string::npos;
         at = text.find(kSend, at + 1)) {
      const std::string frame = text.substr(at + kSend.size(), 16);
      if (frame[0] == '1') {
        blocks.push_back(frame.substr(4));
      }
    }
    return blocks;
  }

  static std::string TotalBytes(const Piece& piece) {
    const std::size_t start = piece->find("totalbytes=\"") + 12;
    return piece->substr(start, piece->find('"', start) - start);
  }
};

TEST_F(DownloadTest, BlockInPlainCanForm) {
  EXPECT_THAT(Download(Image({Segment(0x012345, "AABBCC")}), 0xFF, 4, 128),
              ElementsAre(Transferred(kPlainCan, "3",
                                      {Send("100B348001234503"), Receive("3001"),
                                       Send("21AABBCC0351"
                                            "0000"),
                                       Receive("027402")}),
                          std::nullopt));
}

TEST_F(TransferTest, BlockInGatewayForm) {
  Configure(kGateway);
  EXPECT_THAT(Download(Image({Segment(0x012345, "AABBCC")}), 0xFF, 4, 128),
              ElementsAre(Transferred(kGateway, "3",
                                      {Send("028B6EF134800123"), Receive("81"),
                                       Send("4503AABBCC03518F"), Receive("0182F16E740257")}),
                          std::nullopt));
}

TEST_F(TransferTest, BlockInKLineForm) {
  Configure(kKLine);
  EXPECT_THAT(
      Download(Image({Segment(0x012345, "AABBCC")}), 0xFF, 4, 128),
      ElementsAre(Transferred(kKLine, "3",
                              {Send("8B11F1348001234503AABBCC035132"), Receive("82F1117402FA")}),
                  std::nullopt));
}

TEST_F(DownloadTest, EmptyImageIsOneDocumentWithoutRequest) {
  EXPECT_THAT(Download(Image({}), 0xFF, 4, 128),
              ElementsAre(Transferred(kPlainCan, "0", {}), std::nullopt));
}

TEST_F(DownloadTest, EmptySegmentHasNoRequest) {
  EXPECT_THAT(Download(Image({Segment(5, "")}), 0xFF, 0, 128),
              ElementsAre(Transferred(kPlainCan, "0", {}), std::nullopt));
}

TEST_F(DownloadTest, LastBlockOfASegmentIsShorter) {
  const auto pieces =
      Download(Image({Segment(0x10, "0102030405"), Segment(0x20, "06")}), 0xFF, 1, 2);
  EXPECT_THAT(Blocks(pieces[0]),
              ElementsAre("348000001002", "348000001202", "348000001401", "348000002001"));
  EXPECT_EQ(TotalBytes(pieces[0]), "6");
}

// D27.
TEST_F(DownloadTest, SegmentOfAlignedFillIsLeftOutButCounted) {
  EXPECT_THAT(Download(Image({Segment(8, "FFFFFFFF")}), 0xFF, 4, 128),
              ElementsAre(Transferred(kPlainCan, "4", {}), std::nullopt));
}

TEST_F(DownloadTest, FillIsLeftOutInWholeUnits) {
  const auto pieces = Download(Image({Segment(8, "FFFFFFFFFFFF")}), 0xFF, 4, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000C02"));
  EXPECT_EQ(TotalBytes(pieces[0]), "6");
}

TEST_F(DownloadTest, FillIsNotLookedForBetweenMultiplesOfTheAlignment) {
  const auto pieces = Download(Image({Segment(9, "FFFFFFFFFFFFFFFF")}), 0xFF, 4, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000908"));
}

TEST_F(DownloadTest, FillInsideABlockIsSent) {
  const auto pieces = Download(Image({Segment(0, "01FFFFFFFFFFFFFF")}), 0xFF, 4, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000008"));
}

// D26.
TEST_F(DownloadTest, BlockFollowsAGapWithoutASecondLook) {
  // At 0 the run is 5 and 4 are left out; the block at 4 begins with the fifth. The run from 7 on
  // is first looked for at 16, where a block happens to end.
  const auto pieces =
      Download(Image({Segment(0, "FFFFFFFFFF0102FFFFFFFFFFFFFFFFFFFFFFFFFF09")}), 0xFF, 4, 3);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000403", "348000000703", "348000000A03",
                                             "348000000D03", "348000001401"));
}

TEST_F(DownloadTest, NegativeAlignmentCountsAsItsAbsoluteValue) {
  const auto image = Image({Segment(8, "FFFFFFFFFFFF"), Segment(0, "FFFF")});
  EXPECT_EQ(Download(image, 0xFF, -4, 128), Download(image, 0xFF, 4, 128));
}

TEST_F(DownloadTest, SmallestLongIsAnAlignmentThatLeavesNothingOut) {
  const auto pieces = Download(Image({Segment(0, "FFFF")}), 0xFF, kSmallest, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000002"));
}

TEST_F(DownloadTest, AlignmentZeroEndsTheRun) {
  EXPECT_THAT(Download(Image({Segment(0, "01")}), 0xFF, 0, 128), ElementsAre(std::nullopt));
}

// D9.
TEST_F(DownloadTest, AddressBytesAreTruncatedTowardZero) {
  EXPECT_THAT(Blocks(Download(Image({Segment(-1, "01")}), 0xFF, 1, 128)[0]),
              ElementsAre("34800000FF01"));
  EXPECT_THAT(Blocks(Download(Image({Segment(-32768, "01")}), 0xFF, 1, 128)[0]),
              ElementsAre("348000800001"));
  EXPECT_THAT(Blocks(Download(Image({Segment(0x12345678, "01")}), 0xFF, 1, 128)[0]),
              ElementsAre("348034567801"));
  EXPECT_THAT(Blocks(Download(Image({Segment(kSmallest, "01")}), 0xFF, 1, 128)[0]),
              ElementsAre("348000000001"));
}

TEST_F(DownloadTest, SegmentAtTheEndOfTheAddressesOverflows) {
  EXPECT_THAT(Download(Image({Segment(kLargest, "01")}), 0xFF, 1, 128), ElementsAre(std::nullopt));
  EXPECT_THAT(Download(Image({Segment(kLargest, "FF")}), 0xFF, 1, 128), ElementsAre(std::nullopt));
  EXPECT_THAT(Download(Image({Segment(kLargest - 1, "01")}), 0xFF, 1, 128), SizeIs(2));
}

TEST_F(DownloadTest, EmptySegmentMayFollowTheSmallestAddress) {
  const auto pieces = Download(Image({Segment(kSmallest, "01"), Segment(0, "")}), 0xFF, 1, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000000001"));
}

TEST_F(DownloadTest, DocumentIsDeliveredWith32768Bytes) {
  const std::string data(std::size_t{2} * 32768, 'A');
  const auto pieces = Download(Image({Segment(0, data)}), 0xFF, 1, 128);
  ASSERT_THAT(pieces, SizeIs(3));
  EXPECT_EQ(TotalBytes(pieces[0]), "32768");
  EXPECT_THAT(Blocks(pieces[0]), SizeIs(256));
  EXPECT_EQ(pieces[1], Transferred(kPlainCan, "0", {}));
  EXPECT_EQ(pieces[2], std::nullopt);
}

// D28.
TEST_F(DownloadTest, DocumentExceeds32768BytesByAtMostOneBlock) {
  const std::string data(std::size_t{2} * 33000, 'A');
  const auto pieces = Download(Image({Segment(0, data)}), 0xFF, 1, 255);
  ASSERT_THAT(pieces, SizeIs(3));
  EXPECT_EQ(TotalBytes(pieces[0]), "32895");
  EXPECT_EQ(TotalBytes(pieces[1]), "105");
}

TEST_F(DownloadTest, LeftOutFillDoesNotFillADocument) {
  const std::string fill(std::size_t{2} * 40000, 'F');
  const auto pieces = Download(Image({Segment(0, fill + "01")}), 0xFF, 16, 128);
  ASSERT_THAT(pieces, SizeIs(2));
  EXPECT_EQ(TotalBytes(pieces[0]), "40001");
}

TEST_F(DownloadTest, SegmentsAreSentInAddressOrder) {
  const auto pieces = Download(Image({Segment(0x20, "02"), Segment(0x10, "01")}), 0xFF, 1, 128);
  EXPECT_THAT(Blocks(pieces[0]), ElementsAre("348000001001", "348000002001"));
}

TEST_F(DownloadTest, CallersFlowControlCounts) {
  diag_->FlowControl(8, 20);
  const auto pieces = Download(Image({Segment(0, "01")}), 0xFF, 1, 128);
  EXPECT_EQ(pieces[0], Transferred(kPlainCan, "1",
                                   {Send("1009348000000001"), Receive("300814"),
                                    Send("210100B600000000"), Receive("027402"), "<w>20</w>"}));
}

TEST_F(DownloadTest, BlockSizeOutsideAByteIsRejected) {
  const auto image = Image({Segment(0, "01")});
  EXPECT_ERROR(diag_->ComputeDownload(0, image, 0, 1, 0), 1000, "Invalid block size (0)");
  EXPECT_ERROR(diag_->ComputeDownload(0, image, 0, 1, 256), 1000, "Invalid block size (256)");
  EXPECT_ERROR(diag_->ComputeDownload(0, image, 0, 1, -1), 1000, "Invalid block size (-1)");
  EXPECT_EQ(platform_->RunningWorkers(), 0U);
}

TEST_F(DownloadTest, MissingImageHasNoObject) {
  EXPECT_ERROR(diag_->ComputeDownload(0, nullptr, 0, 1, 128), 91,
               "Object variable or With block variable not set");
}

TEST_F(DownloadTest, NeedsCANIDs) {
  EXPECT_ERROR(CreateDiagOnCANReprog(platform_)->ComputeDownload(0, Image({}), 0, 1, 128), 91,
               "Object variable or With block variable not set");
}

TEST_F(TransferTest, KStyleMessageHoldsBlocksOfAtMost247Bytes) {
  const auto image = Image({Segment(0, std::string(std::size_t{2} * 248, 'A'))});
  for (const Form& form : {kGateway, kKLine}) {
    diag_ = CreateDiagOnCANReprog(platform_);
    Configure(form);
    EXPECT_THAT(Download(image, 0xFF, 1, 247), SizeIs(2));
    EXPECT_THAT(Download(image, 0xFF, 1, 248), ElementsAre(std::nullopt));
  }
}

}  // namespace
}  // namespace quillmark::testing
