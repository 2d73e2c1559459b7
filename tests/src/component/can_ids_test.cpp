// SPDX-License-Identifier: MIT
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

std::string TemplateOf(DiagOnCANReprog& diag) {
  const std::string text = XmlOf(*diag.TesterPresent());
  return text.substr(0, text.find("<s>"));
}

TEST_F(ComponentTest, IdentifiersGivePlainCanForm) {
  diag_->CANIDs(1850, 1586);
  EXPECT_EQ(TemplateOf(*diag_), kPlainCan.head);
}

TEST_F(ComponentTest, IdentifiersAreAnySignedNumber) {
  diag_->CANIDs(-1, -2147483647 - 1);
  EXPECT_EQ(TemplateOf(*diag_),
            "<?xml version='1.0'?><can>\r\n<x i=\"-1\">\r\n<i>-2147483648</i>\r\n");
}

TEST_F(ComponentTest, GatewayAddressesGiveGatewayForm) {
  diag_->CANIDs(0, 0x6E);
  EXPECT_EQ(TemplateOf(*diag_), "<?xml version='1.0'?><can>\r\n<x i=\"3\">\r\n<i>13</i>\r\n");
  diag_->CANIDs(0, 0x7A);
  EXPECT_EQ(TemplateOf(*diag_), "<?xml version='1.0'?><can>\r\n<x i=\"3\">\r\n<i>14</i>\r\n");
}

TEST_F(ComponentTest, OtherAddressesGiveKLineForm) {
  for (const std::int32_t address : {0x00, 0x11, 0x6D, 0x6F, 0x79, 0x7B, 0xFF}) {
    const auto diag = CreateDiagOnCANReprog(platform_);
    diag->CANIDs(0, address);
    EXPECT_EQ(TemplateOf(*diag), "<?xml version='1.0'?><k>\r\n") << address;
  }
}

TEST_F(ComponentTest, AddressOutsideAByteOverflows) {
  EXPECT_ERROR(diag_->CANIDs(0, 300), 6, "Overflow");
  EXPECT_ERROR(diag_->CANIDs(0, -1), 6, "Overflow");
}

TEST_F(ComponentTest, FailingCANIDsChangesNothing) {
  diag_->CANIDs(1850, 1586);
  static_cast<void>(diag_->dounlock(String("1122334455")));
  EXPECT_ERROR(diag_->CANIDs(0, 300), 6, "Overflow");
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            Document(kPlainCan, {Send("013E821122334455"), Receive("017E")}));
}

TEST_F(ComponentTest, CANIDsStartsWithFreshFrameBuffers) {
  diag_->CANIDs(1850, 1586);
  static_cast<void>(diag_->dounlock(String("1122334455")));
  diag_->CANIDs(1850, 1586);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            Document(kPlainCan, {Send("013E000000000000"), Receive("017E")}));
}

TEST_F(ComponentTest, FormsOfCANMayFollowEachOther) {
  diag_->CANIDs(0, 0x6E);
  diag_->CANIDs(1850, 1586);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            Document(kPlainCan, {Send("013E000000000000"), Receive("017E")}));
  diag_->CANIDs(0, 0x6E);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            Document(kGateway, {Send("01816EF13E1E"), Receive("0181F16E7E5E")}));
}

// D1.
TEST_F(ComponentTest, KLineFormStays) {
  diag_->CANIDs(0, 0x11);
  diag_->CANIDs(1850, 1586);
  EXPECT_EQ(XmlOf(*diag_->TesterPresent()),
            Document(kKLine, {Send("8111F13EC1"), Receive("81F1117E01")}));
}

// D2.
TEST_F(ComponentTest, GatewayAddressAfterKLineFormStartsTwiceInReadseedAlone) {
  diag_->CANIDs(0, 0x11);
  diag_->CANIDs(0, 0x6E);
  EXPECT_EQ(XmlOf(*diag_->readseed()),
            Document(kKLine, {Send("816EF18161"), Receive("83F16EC1"), Send("826EF1278189"),
                              Receive("86F16E6781")}));
  const std::string start = XmlOf(*diag_->StartDiag());
  EXPECT_EQ(start.rfind("<?xml version='1.0'?><k>\r\n<bk>25</bk><w>25</w><s><d>816EF18161</d>", 0),
            0U);
  EXPECT_EQ(start.find("816EF18262"), std::string::npos);
}

TEST_F(ComponentTest, ObjectNeedsAPlatform) {
  EXPECT_ERROR(CreateDiagOnCANReprog(nullptr), 91,
               "Object variable or With block variable not set");
}

// D31.
TEST_F(ComponentTest, ClientClassCannotBeCreated) {
  EXPECT_ERROR(CreateXMLDocClient(), 9, "pure virtual class");
}

}  // namespace
}  // namespace quillmark::testing
