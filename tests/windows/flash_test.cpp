// SPDX-License-Identifier: MIT
// A whole reprogramming of the simulated ECU, with the registered component in the middle.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/com/apartment.h"
#include "host/windows/client/com_component.h"
#include "platform/windows/windows_platform.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "tests/host/programmer/workshop_options.h"

namespace quillmark::host {
namespace {

class FlashThroughCom : public ::testing::TestWithParam<TransportForm> {
 protected:
  FlashThroughCom() = default;
  ~FlashThroughCom() override { transfers_->WaitForNone(); }

  void AddSegment(std::int32_t address, const Bytes& bytes) {
    const std::shared_ptr<ByteString> segment = platform_->CreateByteString();
    segment->SetHex(HexOf(bytes));
    segment->SetStartAddress(address);
    image_->AddSegment(*segment);
  }

  const com::Apartment apartment_{COINIT_MULTITHREADED};
  const std::shared_ptr<RunningTransfers> transfers_ = std::make_shared<RunningTransfers>();
  const std::shared_ptr<Platform> platform_ = CreateWindowsPlatform();
  const std::shared_ptr<MemoryImage> image_ = platform_->CreateMemoryImage();
  SimulatedEcu ecu_{EcuOptionsFor(GetParam())};
  SimulatedBus bus_{ecu_};
  Programmer programmer_{platform_, bus_, ConfigFor(GetParam()),
                         [this](const auto&) { return CreateComComponent(transfers_); }};
};

INSTANTIATE_TEST_SUITE_P(Form, FlashThroughCom,
                         ::testing::Values(TransportForm::kPlainCan, TransportForm::kGateway,
                                           TransportForm::kKLine),
                         [](const auto& form) { return NameOfForm(form.param); });

TEST_P(FlashThroughCom, ProgramsAnImageAndReadsItBack) {
  Bytes with_gap = Pattern(100);
  with_gap.resize(1000, 0xFF);
  AddSegment(0x000100, with_gap);
  AddSegment(0x010001, Pattern(40'000));
  const ProgramResult result = programmer_.Program(image_, {.verify = true});
  // The first segment sends a block of 128 and leaves 54 units of 16 out, which leaves 8 bytes.
  EXPECT_EQ(result.sent_bytes, 128U + 8U + 40'000U);
  EXPECT_EQ(result.verified_bytes, 41'000U);
  EXPECT_EQ(ecu_.ReadMemory(0x000100, 1000), with_gap);
  EXPECT_EQ(ecu_.ReadMemory(0x010001, 40'000), Pattern(40'000));
}

}  // namespace
}  // namespace quillmark::host
