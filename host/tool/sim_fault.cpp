#include "host/tool/sim_fault.h"

#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <array>
#include <cstdint>
#include <string_view>

#include "host/tool/number.h"

namespace quillmark::host {
namespace {

constexpr const char* kOption = "--sim-fault";
constexpr NumberRange kBlockRange = {1, 1'000'000};
constexpr NumberRange kPendingRange = {0, 1'000'000};

std::uint8_t ParseByte(const std::string& text) {
  return static_cast<std::uint8_t>(ParseNumber(kOption, text, kByteRange));
}

[[noreturn]] void RaiseUnknown(const std::string& fault) {
  throw CLI::ValidationError(kOption,
                             fmt::format("expected {}, found \"{}\"", kSimFaultHelp, fault));
}

// What stands behind the '@': nothing, one value, or two with a colon between them.
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
  void (*add)(const std::vector<std::string>& values, Misbehaviour& misbehaviour);
};

const std::array<FaultKind, 6> kFaultKinds = {{
    {"silent", 0, [](const auto&, Misbehaviour& m) { m.silent = true; }},
    {"refuse-key", 0, [](const auto&, Misbehaviour& m) { m.refuses_key = true; }},
    {"bad-checksum", 1,
     [](const auto& values, Misbehaviour& m) {
       m.bad_checksum_at_block =
           static_cast<std::uint32_t>(ParseNumber(kOption, values[0], kBlockRange));
     }},
    {"bad-cell", 1,
     [](const auto& values, Misbehaviour& m) {
       m.bad_cells.insert(
           static_cast<std::uint32_t>(ParseNumber(kOption, values[0], kAddressRange)));
     }},
    {"pending", 2,
     [](const auto& values, Misbehaviour& m) {
       m.pending[ParseByte(values[0])] =
           static_cast<int>(ParseNumber(kOption, values[1], kPendingRange));
     }},
    {"negative", 2,
     [](const auto& values, Misbehaviour& m) {
       m.refused[ParseByte(values[0])] = ParseByte(values[1]);
     }},
}};

void AddSimFault(const std::string& fault, Misbehaviour& misbehaviour) {
  const FaultText text = Split(fault);
  for (const FaultKind& kind : kFaultKinds) {
    if (kind.name == text.name && kind.values == text.values.size()) {
      kind.add(text.values, misbehaviour);
      return;
    }
  }
  RaiseUnknown(fault);
}

}  // namespace

const char* const kSimFaultHelp =
    "silent, refuse-key, bad-checksum@BLOCK, bad-cell@ADDRESS, pending@SERVICE:COUNT or "
    "negative@SERVICE:CODE";

void AddSimFaults(const std::vector<std::string>& faults, Misbehaviour& misbehaviour) {
  for (const std::string& fault : faults) {
    AddSimFault(fault, misbehaviour);
  }
}

}  // namespace quillmark::host
