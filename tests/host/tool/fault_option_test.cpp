// SPDX-License-Identifier: MIT
#include "host/tool/fault_option.h"

#include <gtest/gtest.h>

#include <CLI/Error.hpp>

namespace quillmark::host {
namespace {

Misbehaviour Add(const std::vector<std::string>& faults) { return ParseFaults(faults).ecu; }

std::string ErrorOfFault(const std::string& fault) {
  try {
    static_cast<void>(Add({fault}));
  } catch (const CLI::ValidationError& error) {
    return error.what();
  }
  return "(nothing raised)";
}

TEST(FaultOption, AddsEachKind) {
  EXPECT_TRUE(Add({"silent"}).silent);
  EXPECT_TRUE(Add({"refuse-key"}).refuses_key);
  EXPECT_EQ(Add({"bad-checksum@3"}).bad_checksum_at_block, 3U);
  EXPECT_EQ(Add({"bad-cell@0x1234", "bad-cell@9"}).bad_cells, (std::set<std::uint32_t>{9, 0x1234}));
  EXPECT_EQ(Add({"pending@0x34:5"}).pending, (std::map<std::uint8_t, int>{{0x34, 5}}));
  EXPECT_EQ(Add({"negative@0x31:0x22"}).refused,
            (std::map<std::uint8_t, std::uint8_t>{{0x31, 0x22}}));
}

TEST(FaultOption, AddsEachKindOnTheWire) {
  EXPECT_EQ(ParseFaults({"lose-frame@7"}).wire.lost_frame, 7U);
  EXPECT_EQ(ParseFaults({"lose-every@500"}).wire.lost_every, 500U);
  EXPECT_EQ(ParseFaults({"flip-byte@0x10"}).wire.flipped_frame, 16U);
  EXPECT_EQ(ParseFaults({"silent@1"}).wire.silent_from, 1U);
  EXPECT_EQ(ParseFaults({"unplug@9"}).wire.unplugged_at, 9U);
  EXPECT_FALSE(ParseFaults({"silent@1"}).ecu.silent);
}

TEST(FaultOption, AsksForAMemoryThatTakesAValueOnce) {
  EXPECT_FALSE(ParseFaults({}).write_once);
  EXPECT_TRUE(ParseFaults({"write-once"}).write_once);
}

TEST(FaultOption, AddsNothingByItself) {
  const Misbehaviour misbehaviour = Add({});
  EXPECT_FALSE(misbehaviour.silent);
  EXPECT_FALSE(misbehaviour.refuses_key);
  EXPECT_EQ(misbehaviour.bad_checksum_at_block, std::nullopt);
}

TEST(FaultOption, RefusesAnUnknownKindOrTheWrongValues) {
  for (const std::string fault :
       {"", "slow", "silent@1:2", "unplug", "bad-cell", "bad-cell@1:2", "pending@1"}) {
    EXPECT_EQ(ErrorOfFault(fault),
              "--fault: expected silent, silent@FRAME, lose-frame@FRAME, lose-every@COUNT, "
              "flip-byte@FRAME, unplug@FRAME, write-once, refuse-key, bad-checksum@BLOCK, "
              "bad-cell@ADDRESS, "
              "pending@SERVICE:COUNT or negative@SERVICE:CODE, found \"" +
                  fault + "\"");
  }
}

TEST(FaultOption, RefusesANumberOutOfRange) {
  EXPECT_EQ(ErrorOfFault("negative@1:2:3"),
            "--fault: expected a number from 0 to 255, found \"2:3\"");
  EXPECT_EQ(ErrorOfFault("bad-checksum@0"),
            "--fault: expected a number from 1 to 1000000, found \"0\"");
  EXPECT_EQ(ErrorOfFault("lose-every@0"),
            "--fault: expected a number from 1 to 1000000000, found \"0\"");
  EXPECT_EQ(ErrorOfFault("bad-cell@0x1000000"),
            "--fault: expected a number from 0 to 16777215, found \"0x1000000\"");
}

}  // namespace
}  // namespace quillmark::host
