// SPDX-License-Identifier: MIT
#include "context/context.h"

#include <utility>

#include "base/checked.h"
#include "base/hex.h"
#include "context/message_table.h"

namespace quillmark {
namespace {

constexpr std::uint8_t kTesterAddress = 0xF1;
constexpr std::int32_t kGatewayChannel = 3;

/// The gateway line of an ECU address; nothing for an address on a K line.
std::optional<std::int32_t> GatewayLine(std::uint8_t ecu_address) {
  switch (ecu_address) {
    case 0x6E:
      return 13;
    case 0x7A:
      return 14;
    default:
      return std::nullopt;
  }
}

Addressing ByIdentifiers(Addressing addressing, std::int32_t RCANId, std::int32_t XCANId) {
  // The K line flag stays as it is: D1.
  addressing.gateway_form = false;
  addressing.channel = RCANId;
  addressing.line = XCANId;
  return addressing;
}

Addressing ByEcuAddress(Addressing addressing, std::uint8_t ecu_address) {
  addressing.ecu_address = ecu_address;
  addressing.tester_address = kTesterAddress;
  addressing.channel = kGatewayChannel;
  const auto line = GatewayLine(ecu_address);
  addressing.gateway_form = line.has_value();
  if (line) {
    addressing.line = *line;
  } else {
    addressing.k_form = true;
  }
  return addressing;
}

/// What a flow-control frame must begin with.
Bytes FlowControlPrefix(std::uint8_t block_size, std::uint8_t separation_time) {
  // D5.
  if (block_size == 1) {
    return {0x30, block_size};
  }
  return {0x30, block_size, separation_time};
}

}  // namespace

Context::Context(std::shared_ptr<Platform> platform) : platform_(std::move(platform)) {
  if (!platform_) {
    throw Error(error_number::kObjectNotSet);
  }
}

void Context::CANIDs(std::int32_t RCANId, std::int32_t XCANId) {
  const bool by_address = RCANId == 0;
  const Addressing addressing = by_address ? ByEcuAddress(addressing_, checked::ToByte(XCANId))
                                           : ByIdentifiers(addressing_, RCANId, XCANId);
  auto request_template = BuildRequestTemplate(*platform_, addressing, free_threaded_);

  addressing_ = addressing;
  identifiers_ = Identifiers{RCANId, XCANId};
  request_template_ = std::move(request_template);
  buffers_ = FrameBuffers{};
}

void Context::FlowControl(std::int32_t BS, std::int32_t STMin) {
  if (STMin < 0) {
    RaiseMessage(error_number::kSeparationTimeNegative);
  }
  if (STMin > 255) {
    RaiseMessage(error_number::kSeparationTimeTooLarge);
  }
  if (BS < 0) {
    RaiseMessage(error_number::kBlockSizeNegative);
  }
  if (BS > 255) {
    RaiseMessage(error_number::kBlockSizeTooLarge);
  }
  flow_control_ = {BS, STMin, FlowControlPrefix(checked::ToByte(BS), checked::ToByte(STMin))};
}

Context::Identifiers Context::ConfiguredIdentifiers() const {
  if (!identifiers_) {
    throw Error(error_number::kObjectNotSet);
  }
  return *identifiers_;
}

}  // namespace quillmark
