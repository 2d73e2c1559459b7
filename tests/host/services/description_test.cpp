// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "host/services/response_code.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/text.h"

namespace quillmark::host::testing {
namespace {

std::string Text(std::string_view hex) { return TextOf(Describe(*BytesOfHex(hex))); }

struct Case {
  const char* message;
  const char* text;

  friend void PrintTo(const Case& c, std::ostream* out) { *out << c.message; }
};

class DescribedMessage : public ::testing::TestWithParam<Case> {};

TEST_P(DescribedMessage, SaysWhatItIs) { EXPECT_EQ(Text(GetParam().message), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(
    Services, DescribedMessage,
    ::testing::Values(
        Case{"10C0", "start diagnostic session: C0 diagnostic session"},
        Case{"5085", "start diagnostic session, positive: 85 programming session"},
        Case{"1087", "start diagnostic session: 87"},  //
        Case{"81", "start communication"},
        Case{"C16B8F", "start communication, positive: key bytes 6B8F"},
        Case{"82", "stop communication"},                                          //
        Case{"C2", "stop communication, positive"}, Case{"3E", "tester present"},  //
        Case{"2180", "read data by local identifier: record 80 identification"},
        Case{"61F1414220",
             "read data by local identifier, positive: record F1 reprogramming = \"AB\""},
        Case{"61FE4100", "read data by local identifier, positive: record FE history = 4100"},
        Case{"2781", "security access: ask for the seed"},
        Case{"67811A2B", "security access, positive: seed 1A2B"},
        Case{"2782A1", "security access: key A1"},
        Case{"6782", "security access, positive: key accepted"},
        Case{"318101F05A", "start routine by local identifier: start the erase of memory 01"},
        Case{"318101", "start routine by local identifier: ask whether finished: erase"},
        Case{"310200", "start routine by local identifier: start routine 02"},
        Case{"718101", "start routine by local identifier, positive: erase running"},
        Case{"710202", "start routine by local identifier, positive: routine 02 finished"},
        Case{"710203", "start routine by local identifier, positive: routine 02 failed (03)"},
        Case{"3401008000020102AAAA", "request download: memory 01, 0x008000 to 0x008001, 2 bytes"},
        Case{"3483000000024142AAAA", "request download: log record \"AB\""},
        Case{"7402", "request download, positive: accepted"},
        Case{"358000800001", "request upload: 0x008000 to 0x008000, 1 byte"},
        Case{"75010080000100AAAA", "request upload, positive: 0x008000 to 0x008000, 1 byte"},
        Case{"7F3433", "request download refused: 33, security access denied"},
        Case{"7F3478", "request download not answered yet: 78, response pending"},
        Case{"0A0B", "service 0A"}));

TEST(Description, LeavesOutWhatIsCutOff) {
  for (const char* const message :
       {"10", "21", "27", "31", "3181", "34", "3400", "34008000", "3483", "35", "3580", "7F",
        "7F34", "61", "67", "71", "74", "75"}) {
    EXPECT_NE(Text(message), "") << message;
  }
  EXPECT_EQ(Text(""), "");
}

TEST(Description, KnowsTheMemoryAndTheDataOfADownload) {
  const Description download = Describe(*BytesOfHex("3401008000020102AAAA"));
  EXPECT_EQ(download.memory, (AddressRange{0x8000, 2}));
  EXPECT_EQ(download.data_at, 6U);
}

TEST(Description, KnowsTheDataOfAnUploadInItsReplyAlone) {
  EXPECT_EQ(Describe(*BytesOfHex("358000800001")).data_at, 0U);
  const Description reply = Describe(*BytesOfHex("75010080000100AAAA"));
  EXPECT_EQ(reply.memory, (AddressRange{0x8000, 1}));
  EXPECT_EQ(reply.data_at, 6U);
}

TEST(Description, TakesTheLogZoneForNoMemory) {
  EXPECT_FALSE(Describe(*BytesOfHex("3483000000024142AAAA")).memory);
}

TEST(ResponseCode, HasItsMeaning) {
  EXPECT_EQ(ResponseCodeText(0x33), "33, security access denied");
  EXPECT_EQ(ResponseCodeText(0x78), "78, response pending");
}

TEST(ResponseCode, IsANumberWhereItIsNotKnown) { EXPECT_EQ(ResponseCodeText(0xE7), "E7"); }

TEST(CountText, GroupsThousands) {
  EXPECT_EQ(WithThousands(0), "0");
  EXPECT_EQ(WithThousands(999), "999");
  EXPECT_EQ(WithThousands(1000), "1,000");
  EXPECT_EQ(WithThousands(1234567), "1,234,567");
}

TEST(CountText, CountsInSingularAndPlural) {
  EXPECT_EQ(BytesText(1), "1 byte");
  EXPECT_EQ(BytesText(0), "0 bytes");
  EXPECT_EQ(CountText(52144, "block"), "52,144 blocks");
}

}  // namespace
}  // namespace quillmark::host::testing
