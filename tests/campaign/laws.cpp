// SPDX-License-Identifier: MIT
#include "campaign/laws.h"

#include <string_view>

namespace quillmark::campaign {
namespace {

bool NamesItsStep(const Outcome& outcome) {
  const host::Failure& failure = *outcome.failure;
  const std::string_view name = host::NameOf(outcome.phase);
  return failure.phase == outcome.phase && !failure.text.empty() &&
         std::string_view(outcome.message).substr(0, name.size()) == name;
}

/// Whether the host's own handler or backup threw: such an exception reaches the host unchanged.
/// One from the key function becomes a failure of the programmer.
bool ThrewByItself(const Outcome& outcome) {
  for (const FaultKind kind : outcome.faults) {
    if (kind == FaultKind::kThrowingHandler || kind == FaultKind::kThrowingBackup) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<std::string> BrokenLaws(const Scenario& scenario, const Outcome& faulty,
                                    const Outcome& again) {
  std::vector<std::string> broken;
  const auto require = [&](bool holds, const char* text) {
    if (!holds) {
      broken.emplace_back(text);
    }
  };
  require(!faulty.succeeded || !scenario.verify || faulty.memory_is_right,
          "reported a success although the memory differs from the image");
  require(!faulty.faults.empty() || faulty.succeeded, "failed without a fault");
  require(!faulty.faults.empty() || faulty.memory_is_right,
          "wrote something else, without a fault");
  require(!scenario.backup || faulty.backup_was_kept || !faulty.memory_was_changed,
          "changed the memory before its content was kept");
  require(!scenario.backup || !faulty.faults.empty() || faulty.backup_is_right,
          "read back something else, without a fault");
  require(!faulty.failure || NamesItsStep(faulty), "failed without naming the step");
  require(!faulty.host_failed || ThrewByItself(faulty), "let an exception through");
  require(again.succeeded && again.memory_is_right && (!scenario.backup || again.backup_is_right),
          "could not be used for the next flash");
  return broken;
}

}  // namespace quillmark::campaign
