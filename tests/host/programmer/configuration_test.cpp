// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/host/programmer/workshop.h"

namespace quillmark::host {
namespace {

/// What a programmer says to a configuration; empty if it takes it.
class ConfigurationTest : public ::testing::Test {
 protected:
  std::string Refusal(TransportForm form,
                      const std::function<void(ProgrammerConfig&)>& change = {}) {
    Workshop workshop(form);
    if (change) {
      change(workshop.config);
    }
    try {
      workshop.Open();
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "";
  }
};

constexpr TransportForm kCan = TransportForm::kPlainCan;
constexpr TransportForm kGateway = TransportForm::kGateway;
constexpr TransportForm kKLine = TransportForm::kKLine;

TEST_F(ConfigurationTest, IsTakenInEveryForm) {
  for (const TransportForm form : {kCan, kGateway, kKLine}) {
    EXPECT_EQ(Refusal(form), "");
  }
}

TEST_F(ConfigurationTest, NeedsCanIdentifiers) {
  constexpr const char* kText = "a CAN identifier must be 1 to 0x1FFFFFFF";
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.receive_id = 0; }), kText);
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.send_id = 0x20000000; }), kText);
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.send_id = 0x1FFFFFFF; }), "");
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.send_id = config.receive_id; }),
            "the two CAN identifiers must differ");
}

TEST_F(ConfigurationTest, NeedsAnAddressOfItsForm) {
  EXPECT_EQ(Refusal(kGateway, [](auto& config) { config.address = 0x7A; }), "");
  EXPECT_EQ(Refusal(kGateway, [](auto& config) { config.address = 0x11; }),
            "an address behind the gateway must be 0x6E or 0x7A");
  for (const std::int32_t address : {-1, 0x100, 0x6E, 0x7A}) {
    EXPECT_EQ(Refusal(kKLine, [&](auto& config) { config.address = address; }),
              "an address on the K line must be 0 to 0xFF, but not 0x6E or 0x7A");
  }
}

TEST_F(ConfigurationTest, NeedsFlowControlThatAByteHolds) {
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.block_size = 256; }),
            "the block size must be 0 to 255");
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.separation_time = -1; }),
            "the separation time must be 0 to 255 ms");
}

TEST_F(ConfigurationTest, NeedsAnAlignment) {
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.alignment = 0; }),
            "the alignment must be at least 1");
}

TEST_F(ConfigurationTest, NeedsABlockThatFitsAMessage) {
  constexpr const char* kText =
      "a block must have 1 to 255 bytes, in gateway and K form at most 247";
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.max_block = 255; }), "");
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.max_block = 256; }), kText);
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.max_block = 0; }), kText);
  EXPECT_EQ(Refusal(kGateway, [](auto& config) { config.max_block = 247; }), "");
  EXPECT_EQ(Refusal(kGateway, [](auto& config) { config.max_block = 248; }), kText);
  EXPECT_EQ(Refusal(kKLine, [](auto& config) { config.max_block = 248; }), kText);
}

TEST_F(ConfigurationTest, NeedsALogRecordOf48BytesOrNone) {
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.log_record->pop_back(); }),
            "a log record must have 48 bytes");
  EXPECT_EQ(Refusal(kCan, [](auto& config) { config.log_record.reset(); }), "");
}

TEST_F(ConfigurationTest, NeedsAPlatform) {
  Workshop workshop(kCan);
  workshop.Open();
  EXPECT_THROW(Programmer(nullptr, *workshop.bus, workshop.config), std::invalid_argument);
}

TEST(ProgrammerArguments, AreLookedAtBeforeTheEcuIsTouched) {
  Workshop workshop(kCan);
  workshop.Open();
  EXPECT_EQ(workshop.FailureOfProgram()->cause, Cause::kArgument);
  EXPECT_EQ(workshop.message, "prepare: there are no bytes");
  workshop.FailureOf([&] { workshop.programmer->Program(nullptr, {}); });
  EXPECT_EQ(workshop.message, "prepare: there is no image");
  workshop.FailureOf([&] { workshop.programmer->Verify(nullptr); });
  EXPECT_EQ(workshop.message, "prepare: there is no image");
  workshop.FailureOf([&] { static_cast<void>(workshop.programmer->Read(nullptr)); });
  EXPECT_EQ(workshop.message, "prepare: there is no map");
  EXPECT_EQ(workshop.bus->Now(), Duration{0});
}

}  // namespace
}  // namespace quillmark::host
