// SPDX-License-Identifier: MIT
#include "host/tool/simulated_ecu_options.h"

namespace quillmark::host {
namespace {

constexpr std::uint32_t kSecondGatewayLine = 14;

}  // namespace

EcuOptions SimulatedEcuFor(const LinkOptions& link, std::uint8_t memory, std::uint8_t check_routine,
                           const Faults& faults) {
  EcuOptions options;
  options.form = link.form;
  options.request_id = static_cast<std::uint32_t>(link.SendId());
  options.reply_id = static_cast<std::uint32_t>(link.ReceiveId());
  options.address = static_cast<std::uint8_t>(link.Address());
  if (options.address == kSecondGatewayAddress) {
    options.gateway_line = kSecondGatewayLine;
  }
  options.block_size = static_cast<std::uint8_t>(link.block_size);
  options.separation_time = static_cast<std::uint8_t>(link.separation_time);
  options.areas.front().identifier = memory;
  options.check_routine = check_routine;
  options.misbehaviour = faults.ecu;
  options.write_once = faults.write_once;
  return options;
}

}  // namespace quillmark::host
