// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/trace.h"
#include "quillmark/portable_platform.h"
#include "support/limited_stream.h"

namespace quillmark::host::testing {
namespace {

std::string ListedTrace(const std::string& text, ListingDetail detail = ListingDetail::kMessages) {
  std::istringstream file(text);
  std::ostringstream out;
  ListTrace(out, Decode(ReadTrace(file)), detail);
  return out.str();
}

std::string ListedDocument(const std::string& xml, TransportForm form,
                           ListingDetail detail = ListingDetail::kMessages) {
  const auto document = CreatePortablePlatform()->CreateDOMDocument();
  document->loadXML(xml);
  std::ostringstream out;
  ListDocument(out, *document, form, detail);
  return out.str();
}

constexpr const char* kKeyExchange =
    "(5.000000) can0 632#10082782A1A2A3A4\n"
    "(5.000300) can0 73A#3001000000000000\n"
    "(5.000600) can0 632#21A5A60000000000\n"
    "(5.003000) can0 73A#037F273500000000\n";

TEST(TraceListing, HasALineForEachMessage) {
  EXPECT_EQ(
      ListedTrace(kKeyExchange),
      "# plain CAN, requests on 632, replies on 73A, 4 frames in 2 messages\n"
      "   0.000000 >    3  27 82 A1 A2 A3 A4 A5 A6     security access: key A1A2A3A4A5A6\n"
      "   0.003000 <    1  7F 27 35                    security access refused: 35, invalid key\n");
}

TEST(TraceListing, EndsAtTheFirstFailureOfItsStream) {
  std::istringstream file(kKeyExchange);
  const Decoding decoding = Decode(ReadTrace(file));
  quillmark::testing::ExpectEndsWithItsStream(
      [&](std::ostream& out) { ListTrace(out, decoding, ListingDetail::kFrames); });
}

TEST(DocumentListing, EndsAtTheFirstFailureOfItsStream) {
  const auto platform = CreatePortablePlatform();
  const auto reprog = CreateDiagOnCANReprog(platform);
  reprog->CANIDs(0x73A, 0x632);
  const auto document = reprog->readseed();
  quillmark::testing::ExpectEndsWithItsStream([&](std::ostream& out) {
    ListDocument(out, *document, TransportForm::kPlainCan, ListingDetail::kFrames);
  });
}

TEST(TraceListing, ListsFramesWhereAsked) {
  EXPECT_EQ(
      ListedTrace(kKeyExchange, ListingDetail::kFrames),
      "# plain CAN, requests on 632, replies on 73A, 4 frames in 2 messages\n"
      "   0.000000 >    3  27 82 A1 A2 A3 A4 A5 A6     security access: key A1A2A3A4A5A6\n"
      "   0.000000 >       10 08 27 82 A1 A2 A3 A4  first frame\n"
      "   0.000300 <       30 01 00 00 00 00 00 00  flow control\n"
      "   0.000600 >       21 A5 A6 00 00 00 00 00  consecutive frame\n"
      "   0.003000 <    1  7F 27 35                    security access refused: 35, invalid key\n"
      "   0.003000 <       03 7F 27 35 00 00 00 00  single frame\n");
}

TEST(TraceListing, TellsBreaksOfAKLineAndDefects) {
  EXPECT_EQ(
      ListedTrace("# quillmark K line trace 1\n"
                  "0.000000 break 25 ms\n"
                  "0.050000 > 81 11 F1 81 04\n"
                  "0.090000 < 83 F1 11 C1 6B 8F 41\n"),
      "# K line, 2 frames in 2 messages\n"
      "   0.000000   break 25 ms\n"
      "   0.050000 >    1  81                          start communication\n"
      "   0.090000 <    1  C1 6B 8F                    start communication, positive: key bytes "
      "6B8F [wrong checksum 41, it should be 40]\n");
}

TEST(DocumentListing, TellsWhatARequestDocumentExpects) {
  EXPECT_EQ(
      ListedDocument("<can><x i=\"1850\"><i>1586</i><s><d>0227810000000000</d></s>"
                     "<r><c>066781</c></r></x></can>",
                     TransportForm::kPlainCan),
      "# plain CAN, requests on 632, replies on 73A, not run yet\n"
      ">    1  27 81                       security access: ask for the seed\n"
      "<    1  67 81                       expected, 6 bytes: security access, positive: seed\n");
}

TEST(DocumentListing, TellsWhatAReplyDocumentHolds) {
  EXPECT_EQ(ListedDocument("<k><bk>25</bk><w>25</w><s><d>8211F127812C</d></s>"
                           "<r><c>86F1116781</c><d>84F1116781010271</d></r></k>",
                           TransportForm::kKLine),
            "# K line, run\n"
            "  break 25 ms\n"
            "  wait 25 ms\n"
            ">    1  27 81                       security access: ask for the seed\n"
            "<    1  67 81 01 02                 security access, positive: seed 0102\n");
}

TEST(DocumentListing, TellsHowOftenARequestWasSent) {
  EXPECT_EQ(ListedDocument("<can><x i=\"1850\"><i>1586</i>"
                           "<s tries=\"silence,\n21, ok\"><d>013E000000000000</d></s>"
                           "<r><c>017E</c><d>017EAAAAAAAAAAAA</d></r></x></can>",
                           TransportForm::kPlainCan),
            "# plain CAN, requests on 632, replies on 73A, run\n"
            ">    1  3E                          tester present\n"
            "  tries: silence, 21, ok\n"
            "<    1  7E                          tester present, positive\n");
}

TEST(DocumentListing, TellsWhereARunFailedAndNothingAfterIt) {
  EXPECT_EQ(
      ListedDocument("<can><x i=\"1850\"><i>1586</i><s><d>0227810000000000</d></s>"
                     "<r><c>066781</c><d>037F273300000000</d><e>received it</e></r>"
                     "<s><d>013E</d></s><r><c>017E</c></r></x></can>",
                     TransportForm::kPlainCan),
      "# plain CAN, requests on 632, replies on 73A, run and failed\n"
      ">    1  27 81                       security access: ask for the seed\n"
      "<    1  7F 27 33                    security access refused: 33, security access denied\n"
      "! failed: received it\n");
}

TEST(DocumentListing, RefusesWhatIsNoDocument) {
  EXPECT_THROW(static_cast<void>(ListedDocument("<image/>", TransportForm::kPlainCan)), Error);
}

}  // namespace
}  // namespace quillmark::host::testing
