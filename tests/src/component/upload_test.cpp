// SPDX-License-Identifier: MIT
#include <limits>

#include "support/transfer_test.h"

namespace quillmark::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// D8.
TEST_F(TransferTest, UploadInPlainCanForm) {
  Configure(kPlainCan);
  EXPECT_THAT(Upload({{0x012345, 100}}),
              ElementsAre(Transferred(kPlainCan, "100",
                                      {Send("0635800123453000"), Receive("1038758001234530"),
                                       Send("3001000000000000"), Receive("21"),
                                       Send("3001000000000000"), Receive("22"),
                                       Send("3001000000000000"), Receive("23"),
                                       Send("3001000000000000"), Receive("24"),
                                       Send("3001000000000000"), Receive("25"),
                                       Send("3001000000000000"), Receive("26"),
                                       Send("3001000000000000"), Receive("27"),
                                       Send("3001000000000000"), Receive("28"),
                                       Send("0635800123753000"), Receive("1038758001237530"),
                                       Send("3001000000000000"), Receive("21"),
                                       Send("3001000000000000"), Receive("22"),
                                       Send("3001000000000000"), Receive("23"),
                                       Send("3001000000000000"), Receive("24"),
                                       Send("3001000000000000"), Receive("25"),
                                       Send("3001000000000000"), Receive("26"),
                                       Send("3001000000000000"), Receive("27"),
                                       Send("3001000000000000"), Receive("28"),
                                       Send("0635800123A50400"), Receive("100C75800123A504"),
                                       Send("3001000000000000"), Receive("21")}),
                          std::nullopt));
}

TEST_F(TransferTest, UploadInGatewayForm) {
  Configure(kGateway);
  EXPECT_THAT(Upload({{0x012345, 4}}),
              ElementsAre(Transferred(kGateway, "4",
                                      {Send("02866EF135800123"), Receive("81"), Send("450407"),
                                       Receive("038CF16E75800123"), Send("81"), Receive("4504"),
                                       Send("81"), Receive("")}),
                          std::nullopt));
}

TEST_F(TransferTest, UploadInKLineForm) {
  Configure(kKLine);
  EXPECT_THAT(
      Upload({{0x012345, 4}}),
      ElementsAre(
          Transferred(kKLine, "4", {Send("8611F1358001234504AA"), Receive("8CF111758001234504")}),
          std::nullopt));
}

class UploadTest : public TransferTest {
 protected:
  UploadTest() { Configure(kPlainCan); }

  static std::vector<std::string> Requests(const Piece& piece) {
    constexpr std::string_view kSend = "<s><d>0635";
    std::vector<std::string> requests;
    for (std::size_t at = piece->find(kSend); at != std::string::npos;
         at = piece->find(kSend, at + 1)) {
      requests.push_back(piece->substr(at + 8, 12));
    }
    return requests;
  }
};

TEST_F(UploadTest, RangeOf48BytesIsOneRequest) {
  EXPECT_THAT(Requests(Upload({{0x10, 48}})[0]), ElementsAre("358000001030"));
}

TEST_F(UploadTest, RangeOf49BytesLeavesOne) {
  EXPECT_THAT(Requests(Upload({{0x10, 49}})[0]), ElementsAre("358000001030", "358000004001"));
}

TEST_F(UploadTest, EmptyRangeAndEmptyMapHaveNoRequest) {
  const auto expected = ElementsAre(Transferred(kPlainCan, "0", {}), std::nullopt);
  EXPECT_THAT(Upload({}), expected);
  EXPECT_THAT(Upload({{0x10, 0}}), expected);
  EXPECT_THAT(Upload({{0x10, -5}}), expected);
}

TEST_F(UploadTest, RangesFollowInTheirOrder) {
  EXPECT_THAT(Requests(Upload({{0x20, 1}, {0x10, 2}})[0]),
              ElementsAre("358000002001", "358000001002"));
}

TEST_F(UploadTest, AddressBytesAreTruncatedTowardZero) {
  EXPECT_THAT(Requests(Upload({{-1, 1}})[0]), ElementsAre("35800000FF01"));
}

TEST_F(UploadTest, RangeAtTheEndOfTheAddressesOverflows) {
  constexpr std::int32_t kLastAddress = std::numeric_limits<std::int32_t>::max();
  EXPECT_THAT(Upload({{kLastAddress - 47, 48}}), ElementsAre(std::nullopt));
  EXPECT_THAT(Upload({{kLastAddress, 1}}), ElementsAre(std::nullopt));
  EXPECT_THAT(Upload({{kLastAddress - 48, 48}}), SizeIs(2));
}

TEST_F(UploadTest, DocumentIsDeliveredFrom32768BytesOn) {
  const auto pieces = Upload({{0, 40000}});
  ASSERT_THAT(pieces, SizeIs(3));
  EXPECT_NE(pieces[0]->find("totalbytes=\"32784\""), std::string::npos);
  EXPECT_NE(pieces[1]->find("totalbytes=\"7216\""), std::string::npos);
}

TEST_F(UploadTest, NeedsCANIDsAndAMap) {
  EXPECT_ERROR(CreateDiagOnCANReprog(platform_)->ComputeUpload(platform_->CreateMemoryMap(), 0), 91,
               kNotSet);
  EXPECT_ERROR(diag_->ComputeUpload(nullptr, 0), 91, kNotSet);
}

}  // namespace
}  // namespace quillmark::testing
