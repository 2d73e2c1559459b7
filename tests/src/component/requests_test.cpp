// SPDX-License-Identifier: MIT
// A golden document for every request method in every transport form.
#include <numeric>

#include "support/component_test.h"

namespace quillmark::testing {
namespace {

struct Golden {
  Form form;
  std::vector<std::string> steps;

  friend void PrintTo(const Golden& golden, std::ostream* out) { *out << golden.form.name; }
};

class RequestTest : public ComponentTest, public ::testing::WithParamInterface<Golden> {
 protected:
  RequestTest() { Configure(GetParam().form); }

  void ExpectGolden(const std::shared_ptr<DOMDocument>& document) const {
    EXPECT_EQ(XmlOf(*document), Document(GetParam().form, GetParam().steps));
  }
};

TEST_F(ComponentTest, WholeDocumentInPlainCanForm) {
  diag_->CANIDs(1850, 1586);
  EXPECT_EQ(XmlOf(*diag_->readseed()),
            "<?xml version='1.0'?><can>\r\n"
            "<x i=\"1850\">\r\n"
            "<i>1586</i>\r\n"
            "<s><d>0227810000000000</d></s>\r\n"
            "<r><c>066781</c></r>\r\n"
            "</x>\r\n"
            "</can>");
}

TEST_F(ComponentTest, WholeDocumentInGatewayForm) {
  diag_->CANIDs(0, 0x7A);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            "<?xml version='1.0'?><can>\r\n"
            "<x i=\"3\">\r\n"
            "<i>14</i>\r\n"
            "<s><d>01817AF13E2A</d></s>\r\n"
            "<r><c>0181F17A7E6A</c></r>\r\n"
            "</x>\r\n"
            "</can>");
}

TEST_F(ComponentTest, WholeDocumentInKLineForm) {
  diag_->CANIDs(0, 0x11);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            "<?xml version='1.0'?><k>\r\n"
            "<s><d>8111F13EC1</d></s>\r\n"
            "<r><c>81F1117E01</c></r>\r\n"
            "\r\n"
            "</k>");
}

using ReadSeed = RequestTest;
TEST_P(ReadSeed, IsGolden) { ExpectGolden(diag_->readseed()); }
INSTANTIATE_TEST_SUITE_P(
    Forms, ReadSeed,
    ::testing::Values(Golden{kPlainCan, {Send("0227810000000000"), Receive("066781")}},
                      Golden{kGateway,
                             {Send("01816EF18161"), Receive("0183F16EC1"), Send("01826EF1278189"),
                              Receive("0286F16E6781"), Send("81"), Receive("")}},
                      Golden{kKLine, {Send("8211F127812C"), Receive("86F1116781")}}),
    FormName());

using Unlock = RequestTest;
TEST_P(Unlock, IsGolden) { ExpectGolden(diag_->dounlock(String("11223344"))); }
INSTANTIATE_TEST_SUITE_P(
    Forms, Unlock,
    ::testing::Values(Golden{kPlainCan, {Send("0627821122334400"), Receive("026782")}},
                      Golden{kGateway,
                             {Send("02866EF127821122"), Receive("81"), Send("334438"),
                              Receive("0182F16E6782CA")}},
                      Golden{kKLine, {Send("8611F1278211223344DB"), Receive("82F11167826D")}}),
    FormName());

using StartErase = RequestTest;
TEST_P(StartErase, IsGolden) { ExpectGolden(diag_->starterase(0)); }
INSTANTIATE_TEST_SUITE_P(
    Forms, StartErase,
    ::testing::Values(Golden{kPlainCan, {Send("05318100F05A0000"), Receive("03718101")}},
                      Golden{kGateway,
                             {Send("02856EF1318100F0"), Receive("81"), Send("5AE0"),
                              Receive("0183F16E718101D5")}},
                      Golden{kKLine, {Send("8511F1318100F05A83"), Receive("83F11171810178")}}),
    FormName());

using CheckErase = RequestTest;
TEST_P(CheckErase, IsGolden) { ExpectGolden(diag_->checkerase()); }
INSTANTIATE_TEST_SUITE_P(
    Forms, CheckErase,
    ::testing::Values(Golden{kPlainCan, {Send("0331810100000000"), Receive("03718102")}},
                      Golden{kGateway, {Send("01836EF131810195"), Receive("0183F16E718102D6")}},
                      Golden{kKLine, {Send("8311F131810138"), Receive("83F11171810279")}}),
    FormName());

using StartRoutine = RequestTest;
TEST_P(StartRoutine, IsGolden) { ExpectGolden(diag_->startroutine(5)); }
INSTANTIATE_TEST_SUITE_P(
    Forms, StartRoutine,
    ::testing::Values(Golden{kPlainCan, {Send("0331050000000000"), Receive("03710501")}},
                      Golden{kGateway, {Send("01836EF131050018"), Receive("0183F16E71050159")}},
                      Golden{kKLine, {Send("8311F1310500BB"), Receive("83F111710501FC")}}),
    FormName());

using RoutineStatus = RequestTest;
TEST_P(RoutineStatus, IsGolden) { ExpectGolden(diag_->routinestatus(0xFF)); }
INSTANTIATE_TEST_SUITE_P(
    Forms, RoutineStatus,
    ::testing::Values(Golden{kPlainCan, {Send("0331FF0100000000"), Receive("0371FF02")}},
                      Golden{kGateway, {Send("01836EF131FF0113"), Receive("0183F16E71FF0254")}},
                      Golden{kKLine, {Send("8311F131FF01B6"), Receive("83F11171FF02F7")}}),
    FormName());

using TesterPresent = RequestTest;
TEST_P(TesterPresent, IsGolden) { ExpectGolden(diag_->TesterPresent()); }
INSTANTIATE_TEST_SUITE_P(
    Forms, TesterPresent,
    ::testing::Values(Golden{kPlainCan, {Send("013E000000000000"), Receive("017E")}},
                      Golden{kGateway, {Send("01816EF13E1E"), Receive("0181F16E7E5E")}},
                      Golden{kKLine, {Send("8111F13EC1"), Receive("81F1117E01")}}),
    FormName());

using StopCommunication = RequestTest;
// D22.
TEST_P(StopCommunication, IsGolden) { ExpectGolden(diag_->stopcomm()); }
INSTANTIATE_TEST_SUITE_P(
    Forms, StopCommunication,
    ::testing::Values(Golden{kPlainCan, {Send("0210810000000000"), Receive("025081")}},
                      Golden{kGateway, {Send("01816EF18262"), Receive("0181F16EC2A2")}},
                      Golden{kKLine, {Send("8111F18205"), Receive("81F111C245")}}),
    FormName());

/// 34 83 00 00 00 30, the bytes 01 to 30, and their sum 057F.
using WriteLogZone = RequestTest;
TEST_P(WriteLogZone, IsGolden) {
  const auto history = platform_->CreateByteString();
  history->SetLength(48);
  for (std::int32_t position = 1; position <= 48; ++position) {
    history->SetItem(position, static_cast<std::uint8_t>(position));
  }
  ExpectGolden(diag_->writelogzone(history));
}
INSTANTIATE_TEST_SUITE_P(
    Forms, WriteLogZone,
    ::testing::Values(Golden{kPlainCan,
                             {Send("1038348300000030"), Receive("3001"), Send("2101020304050607"),
                              Receive("3001"), Send("2208090A0B0C0D0E"), Receive("3001"),
                              Send("230F101112131415"), Receive("3001"), Send("24161718191A1B1C"),
                              Receive("3001"), Send("251D1E1F20212223"), Receive("3001"),
                              Send("262425262728292A"), Receive("3001"), Send("272B2C2D2E2F3005"),
                              Receive("3001"), Send("287F2C2D2E2F3005"), Receive("027402")}},
                      Golden{kGateway,
                             {Send("08B86EF134830000"), Receive("81"), Send("0030010203040506"),
                              Receive("81"), Send("0708090A0B0C0D0E"), Receive("81"),
                              Send("0F10111213141516"), Receive("81"), Send("1718191A1B1C1D1E"),
                              Receive("81"), Send("1F20212223242526"), Receive("81"),
                              Send("2728292A2B2C2D2E"), Receive("81"), Send("2F30057F1A"),
                              Receive("0182F16E740257")}},
                      Golden{kKLine,
                             {Send("B811F134830000003001020304050607"
                                   "08090A0B0C0D0E0F1011121314151617"
                                   "18191A1B1C1D1E1F2021222324252627"
                                   "28292A2B2C2D2E2F30057FBD"),
                              Receive("82F1117402FA")}}),
    FormName());

using AnyRequest = EveryForm;

TEST_P(AnyRequest, RequestBeforeCANIDsHasNoObject) {
  const auto fresh = CreateDiagOnCANReprog(platform_);
  EXPECT_ERROR(fresh->StartDiag(), 91, kNotSet);
  EXPECT_ERROR(fresh->readseed(), 91, kNotSet);
  EXPECT_ERROR(fresh->dounlock(String("")), 91, kNotSet);
  EXPECT_ERROR(fresh->starterase(0), 91, kNotSet);
  EXPECT_ERROR(fresh->checkerase(), 91, kNotSet);
  EXPECT_ERROR(fresh->startroutine(0), 91, kNotSet);
  EXPECT_ERROR(fresh->routinestatus(0), 91, kNotSet);
  EXPECT_ERROR(fresh->writelogzone(String("")), 91, kNotSet);
  EXPECT_ERROR(fresh->stopcomm(), 91, kNotSet);
  EXPECT_ERROR(fresh->TesterPresent(), 91, kNotSet);
}

TEST_P(AnyRequest, RequestsLeaveEarlierDocumentsAlone) {
  const auto first = diag_->TesterPresent();
  const std::string before = XmlOf(*first);
  static_cast<void>(diag_->stopcomm());
  EXPECT_EQ(XmlOf(*first), before);
}

TEST_P(AnyRequest, EmptyKeyIsTheServiceAlone) {
  const std::string request = XmlOf(*diag_->dounlock(String("")));
  EXPECT_NE(request.find("2782"), std::string::npos);
}

TEST_P(AnyRequest, MissingKeyHasNoObject) {
  EXPECT_ERROR(diag_->dounlock(nullptr), 91, "Object variable or With block variable not set");
}

TEST_P(AnyRequest, LogZoneTakes48BytesOfALongerRecord) {
  const std::string record(96, 'A');
  EXPECT_EQ(XmlOf(*diag_->writelogzone(String(record + "BBBB"))),
            XmlOf(*diag_->writelogzone(String(record))));
}

TEST_P(AnyRequest, LogZoneFillsAShorterRecordWithZero) {
  EXPECT_EQ(XmlOf(*diag_->writelogzone(String("AABB"))),
            XmlOf(*diag_->writelogzone(String("AABB" + std::string(92, '0')))));
}

INSTANTIATE_TEST_SUITE_P(Forms, AnyRequest, ::testing::ValuesIn(kAllForms), FormName());

TEST_F(ComponentTest, PlainCanRequestHasAtMost4095Bytes) {
  Configure(kPlainCan);
  EXPECT_ERROR(diag_->dounlock(String(std::string(std::size_t{2} * 4094, '0'))), 1000,
               "Invalid request length (4096)");
  EXPECT_NO_THROW(
      static_cast<void>(diag_->dounlock(String(std::string(std::size_t{2} * 4093, '0')))));
}

TEST_F(ComponentTest, KStyleRequestHasAtMost255Bytes) {
  for (const Form& form : {kGateway, kKLine}) {
    const auto diag = CreateDiagOnCANReprog(platform_);
    diag->CANIDs(form.RCANId, form.XCANId);
    EXPECT_ERROR(diag->dounlock(String(std::string(std::size_t{2} * 254, '0'))), 1000,
                 "Invalid request length (256)");
    EXPECT_NO_THROW(
        static_cast<void>(diag->dounlock(String(std::string(std::size_t{2} * 253, '0')))));
  }
}

TEST_F(ComponentTest, KStyleRequestOf63BytesHasItsOwnLengthByte) {
  Configure(kKLine);
  const auto frame = [&](std::size_t key_size) {
    const auto document = diag_->dounlock(String(std::string(2 * key_size, '0')));
    return document->selectSingleNode("/k/s/d")->text();
  };
  EXPECT_EQ(frame(60).substr(0, 10), "BE11F12782");
  EXPECT_EQ(frame(61).substr(0, 12), "8011F13F2782");
}

}  // namespace
}  // namespace quillmark::testing
