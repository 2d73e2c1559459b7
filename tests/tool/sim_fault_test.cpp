#include "host/tool/sim_fault.h"

#include <gtest/gtest.h>

#include <CLI/Error.hpp>

namespace quillmark::host {
namespace {

Misbehaviour Add(const std::vector<std::string>& faults) {
  Misbehaviour misbehaviour;
  AddSimFaults(faults, misbehaviour);
  return misbehaviour;
}

std::string ErrorOf(const std::string& fault) {
  try {
    Add({fault});
  } catch (const CLI::ValidationError& error) {
    return error.what();
  }
  return "(nothing raised)";
}

TEST(SimFault, AddsEachKind) {
  EXPECT_TRUE(Add({"silent"}).silent);
  EXPECT_TRUE(Add({"refuse-key"}).refuses_key);
  EXPECT_EQ(Add({"bad-checksum@3"}).bad_checksum_at_block, 3U);
  EXPECT_EQ(Add({"bad-cell@0x1234", "bad-cell@9"}).bad_cells, (std::set<std::uint32_t>{9, 0x1234}));
  EXPECT_EQ(Add({"pending@0x34:5"}).pending, (std::map<std::uint8_t, int>{{0x34, 5}}));
  EXPECT_EQ(Add({"negative@0x31:0x22"}).refused,
            (std::map<std::uint8_t, std::uint8_t>{{0x31, 0x22}}));
}

TEST(SimFault, AddsNothingByItself) {
  const Misbehaviour misbehaviour = Add({});
  EXPECT_FALSE(misbehaviour.silent);
  EXPECT_FALSE(misbehaviour.refuses_key);
  EXPECT_EQ(misbehaviour.bad_checksum_at_block, std::nullopt);
}

TEST(SimFault, RefusesAnUnknownKindOrTheWrongValues) {
  for (const std::string fault :
       {"", "slow", "silent@1", "bad-cell", "bad-cell@1:2", "pending@1"}) {
    EXPECT_EQ(ErrorOf(fault),
              "--sim-fault: expected silent, refuse-key, bad-checksum@BLOCK, bad-cell@ADDRESS, "
              "pending@SERVICE:COUNT or negative@SERVICE:CODE, found \"" +
                  fault + "\"");
  }
}

TEST(SimFault, RefusesANumberOutOfRange) {
  EXPECT_EQ(ErrorOf("negative@1:2:3"),
            "--sim-fault: expected a number from 0 to 255, found \"2:3\"");
  EXPECT_EQ(ErrorOf("bad-checksum@0"),
            "--sim-fault: expected a number from 1 to 1000000, found \"0\"");
  EXPECT_EQ(ErrorOf("bad-cell@0x1000000"),
            "--sim-fault: expected a number from 0 to 16777215, found \"0x1000000\"");
}

}  // namespace
}  // namespace quillmark::host
