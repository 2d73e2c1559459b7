// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "tests/host/tool/images.h"
#include "tests/host/tool/tool_process.h"

namespace quillmark::host::testing {
namespace {

using ::testing::HasSubstr;

using PlanCommand = ToolTest;

TEST_F(PlanCommand, WritesTheDocumentAndSaysWhatWillHappen) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  const ToolResult result =
      Run({"plan", image, "-o", folder_.Path("documents"), "--form", "kline"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "image     " + image +
                ": Motorola S-record, 4 bytes in 2 segments\n"
                "          001000 to 001001  2 bytes\n"
                "          008000 to 008001  2 bytes\n"
                "          SHA-256 9f64a747e1b97f131fabb6b447296c9b6f0201e79fb3c5356e6c7"
                "7e89b6a806a\n"
                "fill      0 bytes of FF left out\n"
                "send      4 bytes in 2 blocks and 1 document\n"
                "wire      0.04 s at 10400 bit/s, the ECU's own time not counted\n"
                "written   1 document in " +
                folder_.Path("documents") + "\n");
  EXPECT_EQ(folder_.Read("documents/download-0001.xml"),
            "<?xml version='1.0'?><k totalbytes=\"4\">\r\n"
            "<s><d>8A11F1340000100002010200491E</d></s>\r\n"
            "<r><c>82F1117402FA</c></r>\r\n"
            "<s><d>8A11F1340000800002030400BD06</d></s>\r\n"
            "<r><c>82F1117402FA</c></r>\r\n"
            "\r\n</k>");
}

struct Wire {
  const char* form;
  const char* time;

  friend void PrintTo(const Wire& wire, std::ostream* out) { *out << wire.form; }
};

class PlanInEveryForm : public ToolTest, public ::testing::WithParamInterface<Wire> {};

// The fill bytes from 33000 to 33023 are in a block that began before them.
TEST_P(PlanInEveryForm, CountsBlocksAndDocuments) {
  const std::string image =
      folder_.Write("a.bin", Pattern(33000) + std::string(160, '\xFF') + Pattern(100));
  const ToolResult result = Run({"plan", image, "--base", "0", "--form", GetParam().form});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("fill      128 bytes of FF left out\n"
                                    "send      33,132 bytes in 259 blocks and 2 documents\n"));
  EXPECT_THAT(result.out, HasSubstr(GetParam().time));
}

INSTANTIATE_TEST_SUITE_P(Forms, PlanInEveryForm,
                         ::testing::Values(Wire{"can", "wire      2.80 s"},
                                           Wire{"gateway", "wire      1.88 s"},
                                           Wire{"kline", "wire      36.6 s"}),
                         [](const auto& test) { return test.param.form; });

// 2 data bytes make a message of 10: a first frame, a flow control, a consecutive frame and a reply
// of 8 bytes each. A frame of 8 bytes has 111 bits and at most 24 stuff bits.
TEST_F(PlanCommand, ComputesTheTimeOfFrames) {
  const std::string image = folder_.Write("a.s19", "S10510000102E7\nS9030000FC\n");
  EXPECT_THAT(Run({"plan", image, "--bitrate", "1000"}).out,
              HasSubstr("wire      0.54 s at 1000 bit/s"));
}

TEST_F(PlanCommand, CountsTheWaitsBetweenFrames) {
  const std::string image = folder_.Write("a.s19", "S10510000102E7\nS9030000FC\n");
  EXPECT_THAT(Run({"plan", image, "--bitrate", "1000", "--flow-control", "1", "200"}).out,
              HasSubstr("wire      0.74 s at 1000 bit/s"));
}

TEST_F(PlanCommand, WritesNothingWithoutAFolder) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  EXPECT_EQ(Run({"plan", image}).status, 0);
  EXPECT_EQ(folder_.Entries(), 3);  // the image, stdin and stderr
}

TEST_F(PlanCommand, PrintsLinesOfJson) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  EXPECT_THAT(Run({"plan", image, "--json"}).out,
              HasSubstr("\n{\"event\":\"plan\",\"image_bytes\":4,\"fill_bytes\":0,\"sent_bytes\":4,"
                        "\"blocks\":2,\"documents\":1,\"bit_rate\":500000,\"wire_seconds\":"));
}

TEST_F(PlanCommand, WarnsOfRecordsThatAreThereTwice) {
  const std::string image =
      folder_.Write("a.s19", "S10510000102E7\nS10510000102E7\nS104100102E8\nS9030000FC\n");
  const ToolResult result = Run({"plan", image});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\nwarning   2 records repeated with the same values\n"));
  EXPECT_THAT(Run({"plan", image, "--json"}).out, HasSubstr(R"("repeated_records":2})"));
}

TEST_F(PlanCommand, ListsTheFirstOfManySegmentsForPeopleAndAllForMachines) {
  std::string records;
  for (int i = 0; i < 42; ++i) {
    const int checksum = 0xFF - (0x04 + 2 * i + 0x11) % 256;
    records += fmt::format("S10400{:02X}11{:02X}\n", 2 * i, checksum);
  }
  const std::string image = folder_.Write("a.s19", records + "S9030000FC\n");
  EXPECT_THAT(Run({"plan", image}).out, HasSubstr("          00004E to 00004E  1 byte\n"
                                                  "          and 2 more\n"
                                                  "          SHA-256 "));
  EXPECT_THAT(Run({"plan", image, "--json"}).out, HasSubstr(R"({"address":82,"bytes":1}])"));
}

// The component gets 16,384 segments at once, since each of them takes memory.
TEST_F(PlanCommand, CutsAnImageOfManySegmentsAsFlashDoes) {
  std::string records;
  for (unsigned i = 0; i < 16'385; ++i) {
    const unsigned address = 2 * i;
    const unsigned sum = 5 + (address >> 8U) + (address & 0xFFU) + 0x55;
    records += fmt::format("S205{:06X}55{:02X}\n", address, 0xFF - sum % 256);
  }
  const std::string image = folder_.Write("a.s28", records + "S804000000FB\n");
  EXPECT_THAT(Run({"plan", image, "--form", "kline", "-o", folder_.Path("plan")}).out,
              HasSubstr("send      16,385 bytes in 16,385 blocks and 2 documents\n"));
  EXPECT_EQ(
      Run({"flash", image, "--form", "kline", "--artifacts", folder_.Path("artifacts")}).status, 0);
  for (const auto& [planned, run] : {std::pair{"0001", "0008"}, std::pair{"0002", "0009"}}) {
    EXPECT_EQ(folder_.Read(fmt::format("plan/download-{}.xml", planned)),
              folder_.Read(fmt::format("artifacts/documents/{}-download.request.xml", run)));
  }
}

TEST_F(PlanCommand, NeverReplacesTheImageByADocument) {
  const std::string image = folder_.Write("download-0001.xml", kTwoSegments);
  const ToolResult result = Run({"plan", image, "-o", folder_.Path("")});
  EXPECT_EQ(result.status, 73);
  EXPECT_THAT(result.err, HasSubstr("download-0001.xml: -o and IMAGE are the same file"));
  EXPECT_EQ(folder_.Read("download-0001.xml"), kTwoSegments);
}

TEST_F(PlanCommand, ReportsAFolderThatCannotBeMade) {
  const std::string image = folder_.Write("a.s19", kTwoSegments);
  const ToolResult result = Run({"plan", image, "-o", image + "/documents"});
  EXPECT_EQ(result.status, 73);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "quillmark: " + image +
                "/documents: cannot create: Not a directory\n"
                "next      name a file in a folder that exists and that you may write to\n");
}

TEST_F(PlanCommand, RefusesADamagedImage) {
  const std::string image = folder_.Write("a.hex", ":01000000AB55\n");
  const ToolResult result = Run({"plan", image});
  EXPECT_EQ(result.status, 65);
  EXPECT_EQ(result.err,
            "quillmark: " + image +
                ":1: wrong checksum: expected 54, found 55\n"
                "next      look at the file, or get a whole copy of it; nothing was sent\n");
}

}  // namespace
}  // namespace quillmark::host::testing
