// SPDX-License-Identifier: MIT
#include "campaign/fault.h"

#include <array>

namespace quillmark::campaign {
namespace {

constexpr std::array<std::string_view, kFaultKinds> kNames = {"lost frame",
                                                              "doubled frame",
                                                              "delayed frame",
                                                              "overtaken frame",
                                                              "truncated frame",
                                                              "flipped bits",
                                                              "wrong sequence",
                                                              "negative response",
                                                              "endless response pending",
                                                              "silence",
                                                              "ECU reset",
                                                              "bus error",
                                                              "bad memory cell",
                                                              "unseen bad memory cell",
                                                              "throwing handler",
                                                              "throwing key function",
                                                              "throwing backup function",
                                                              "cancel",
                                                              "flipped bits that the checksum sees",
                                                              "hurt block (77)",
                                                              "flow status wait",
                                                              "busy ECU (21)",
                                                              "stray frame",
                                                              "noise before a message",
                                                              "pause inside a message",
                                                              "endless replies",
                                                              "hanging key function"};

}  // namespace

std::string_view NameOf(FaultKind kind) { return kNames.at(static_cast<std::size_t>(kind)); }

const std::vector<FaultKind>& TransientKindsOf(host::TransportForm form) {
  using enum FaultKind;
  static const std::vector kPlainCan = {
      kLostFrame,     kDoubledFrame, kDelayedFrame, kOvertakenFrame, kTruncatedFrame,
      kWrongSequence, kHurtBlock,    kWait,         kBusy,           kStray};
  static const std::vector kGateway = {
      kLostFrame,     kDoubledFrame, kDelayedFrame, kOvertakenFrame, kTruncatedFrame,
      kWrongSequence, kSeenBits,     kHurtBlock,    kBusy,           kStray};
  static const std::vector kKLine = {kLostFrame, kDelayedFrame, kTruncatedFrame, kWrongSequence,
                                     kSeenBits,  kHurtBlock,    kBusy,           kStray,
                                     kNoise,     kPause};
  switch (form) {
    case host::TransportForm::kPlainCan:
      return kPlainCan;
    case host::TransportForm::kGateway:
      return kGateway;
    default:
      return kKLine;
  }
}

std::string Describe(const Fault& fault) {
  return std::string(NameOf(fault.kind)) +
         (fault.phase ? " in phase " + std::string(host::NameOf(*fault.phase)) : "") + ", chance " +
         std::to_string(fault.chance) + ", detail " + std::to_string(fault.detail);
}

}  // namespace quillmark::campaign
