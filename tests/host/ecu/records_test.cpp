// SPDX-License-Identifier: MIT
#include "host/ecu/records.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "host/ecu/negative_response.h"
#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

std::string Text(const Bytes& record) { return {record.begin(), record.end()}; }

TEST(Records, AreFoundByTheirIdentifiers) {
  const Records records{EcuOptions{}};
  EXPECT_EQ(Text(records.Read(0x80)), "SIMULATED ECU 001 REV A ");
  EXPECT_EQ(Text(records.Read(0xF0)), "HISTORY 0               ");
  EXPECT_EQ(Text(records.Read(0xF1)), "REPROGRAMMING 0         ");
  EXPECT_EQ(Text(records.Read(0xFE)), "HISTORY 1               ");
  EXPECT_EQ(Text(records.Read(0xFF)), "REPROGRAMMING 1         ");
  EXPECT_EQ(Text(records.Read(0xFC)), "HISTORY 2               ");
  EXPECT_EQ(Text(records.Read(0xF3)), "REPROGRAMMING 7         ");
}

TEST(Records, AreRefusedWhereThereAreNone) {
  EcuOptions options;
  options.history.resize(2);
  const Records records(options);
  EXPECT_NO_THROW(static_cast<void>(records.Read(0xFF)));
  for (const std::uint8_t identifier : Hex("FCF20081EF")) {
    EXPECT_THROW(static_cast<void>(records.Read(identifier)), Refusal) << int{identifier};
  }
}

TEST(Records, ALogRecordBecomesTheFirstEntry) {
  Records records{EcuOptions{}};
  Bytes log(24, 'h');
  log.resize(48, 'r');
  records.Log(log);
  EXPECT_EQ(Text(records.Read(0xF0)), std::string(24, 'h'));
  EXPECT_EQ(Text(records.Read(0xF1)), std::string(24, 'r'));
  EXPECT_EQ(Text(records.Read(0xFE)), "HISTORY 0               ");
  EXPECT_EQ(Text(records.Read(0xF2)), "HISTORY 6               ");
  EXPECT_EQ(records.history().size(), 8U);
}

TEST(Records, HaveTheirSizeAndNumber) {
  EcuOptions options;
  options.identification.pop_back();
  EXPECT_THROW(Records{options}, std::invalid_argument);
  options = {};
  options.history[3].reprogramming.push_back(0);
  EXPECT_THROW(Records{options}, std::invalid_argument);
  options = {};
  options.history.push_back(options.history[0]);
  EXPECT_THROW(Records{options}, std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
