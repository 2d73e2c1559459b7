// SPDX-License-Identifier: MIT
#include "host/tool/fault_option.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <array>
#include <cstdint>
#include <string_view>

#include "host/tool/number.h"

namespace quillmark::host {
namespace {

constexpr std::uint32_t kSecondGatewayLine = 14;

constexpr const char* kOption = "--fault";
constexpr NumberRange kBlockRange = {1, 1'000'000};
constexpr NumberRange kFrameRange = {1, 1'000'000'000};
constexpr NumberRange kPendingRange = {0, 1'000'000};

std::uint8_t ParseByte(const std::string& text) {
  return static_cast<std::uint8_t>(ParseNumber(kOption, text, kByteRange));
}

std::uint64_t ParseFrame(const std::vector<std::string>& values) {
  return static_cast<std::uint64_t>(ParseNumber(kOption, values[0], kFrameRange));
}

[[noreturn]] void RaiseUnknown(const std::string& fault) {
  throw CLI::ValidationError(kOption, fmt::format("expected {}, found \"{}\"", kFaultHelp, fault));
}

// What follows the '@': nothing, one value, or two with a colon between them.
struct FaultText {
  std::string name;
  std::vector<std::string> values;
};

FaultText Split(const std::string& fault) {
  const std::size_t at = fault.find('@');
  FaultText split{fault.substr(0, at), {}};
  if (at == std::string::npos) {
    return split;
  }
  const std::string values = fault.substr(at + 1);
  const std::size_t colon = values.find(':');
  split.values.push_back(values.substr(0, colon));
  if (colon != std::string::npos) {
    split.values.push_back(values.substr(colon + 1));
  }
  return split;
}

struct FaultKind {
  std::string_view name;
  std::size_t values;
  void (*add)(const std::vector<std::string>& values, Faults& faults);
};

const std::array<FaultKind, 12> kFaultKinds = {{
    {"silent", 0, [](const auto&, Faults& f) { f.ecu.silent = true; }},
    {"refuse-key", 0, [](const auto&, Faults& f) { f.ecu.refuses_key = true; }},
    {"bad-checksum", 1,
     [](const auto& values, Faults& f) {
       f.ecu.bad_checksum_at_block =
           static_cast<std::uint32_t>(ParseNumber(kOption, values[0], kBlockRange));
     }},
    {"bad-cell", 1,
     [](const auto& values, Faults& f) {
       f.ecu.bad_cells.insert(
           static_cast<std::uint32_t>(ParseNumber(kOption, values[0], kAddressRange)));
     }},
    {"pending", 2,
     [](const auto& values, Faults& f) {
       f.ecu.pending[ParseByte(values[0])] =
           static_cast<int>(ParseNumber(kOption, values[1], kPendingRange));
     }},
    {"negative", 2,
     [](const auto& values, Faults& f) {
       f.ecu.refused[ParseByte(values[0])] = ParseByte(values[1]);
     }},
    {"lose-frame", 1,
     [](const auto& values, Faults& f) { f.wire.lost_frame = ParseFrame(values); }},
    {"lose-every", 1,
     [](const auto& values, Faults& f) { f.wire.lost_every = ParseFrame(values); }},
    {"write-once", 0, [](const auto&, Faults& f) { f.write_once = true; }},
    {"flip-byte", 1,
     [](const auto& values, Faults& f) { f.wire.flipped_frame = ParseFrame(values); }},
    {"silent", 1, [](const auto& values, Faults& f) { f.wire.silent_from = ParseFrame(values); }},
    {"unplug", 1, [](const auto& values, Faults& f) { f.wire.unplugged_at = ParseFrame(values); }},
}};

void AddFault(const std::string& fault, Faults& faults) {
  const FaultText text = Split(fault);
  for (const FaultKind& kind : kFaultKinds) {
    if (kind.name == text.name && kind.values == text.values.size()) {
      kind.add(text.values, faults);
      return;
    }
  }
  RaiseUnknown(fault);
}

}  // namespace

const char* const kFaultHelp =
    "silent, silent@FRAME, lose-frame@FRAME, lose-every@COUNT, flip-byte@FRAME, "
    "unplug@FRAME, write-once, refuse-key, bad-checksum@BLOCK, bad-cell@ADDRESS, "
    "pending@SERVICE:COUNT or negative@SERVICE:CODE";

Faults ParseFaults(const std::vector<std::string>& texts) {
  Faults faults;
  for (const std::string& text : texts) {
    AddFault(text, faults);
  }
  return faults;
}

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
