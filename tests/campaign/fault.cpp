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
                                                              "cancel"};

}  // namespace

std::string_view NameOf(FaultKind kind) { return kNames.at(static_cast<std::size_t>(kind)); }

std::string Describe(const Fault& fault) {
  return std::string(NameOf(fault.kind)) + " in phase " + std::string(host::NameOf(fault.phase)) +
         ", chance " + std::to_string(fault.chance) + ", detail " + std::to_string(fault.detail);
}

}  // namespace quillmark::campaign
