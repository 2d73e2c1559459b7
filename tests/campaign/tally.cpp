// SPDX-License-Identifier: MIT
#include "campaign/tally.h"

#include <iomanip>

namespace quillmark::campaign {
namespace {

constexpr int kNameWidth = 38;
constexpr int kNumberWidth = 9;

void PrintRow(std::ostream& out, std::string_view name, std::uint64_t number) {
  out << std::left << std::setw(kNameWidth) << name << std::right << std::setw(kNumberWidth)
      << number << '\n';
}

}  // namespace

void Tally::Add(const Scenario& scenario, const Outcome& outcome) {
  ++flashes_;
  undisturbed_ += outcome.faults.empty() ? 1 : 0;
  succeeded_ += outcome.succeeded ? 1 : 0;
  verified_ += scenario.verify ? 1 : 0;
  verified_successes_ += scenario.verify && outcome.succeeded ? 1 : 0;
  unverified_wrong_ += !scenario.verify && outcome.succeeded && !outcome.memory_is_right ? 1 : 0;
  for (const FaultKind kind : outcome.faults) {
    Ends& ends = faults_[static_cast<std::size_t>(kind)];
    ++ends.happened;
    ends.succeeded += outcome.succeeded ? 1 : 0;
  }
  if (outcome.failure) {
    ++failures_.at(static_cast<std::size_t>(outcome.failure->phase));
  }
  host_failures_ += outcome.host_failed ? 1 : 0;
}

void Tally::Print(std::ostream& out) const {
  PrintRow(out, "flashes", flashes_);
  PrintRow(out, "  without a fault that happened", undisturbed_);
  PrintRow(out, "  successes", succeeded_);
  PrintRow(out, "  verified", verified_);
  PrintRow(out, "  verified successes", verified_successes_);
  PrintRow(out, "  wrong without verification", unverified_wrong_);
  out << "\nfault" << std::setw(kNameWidth + kNumberWidth - 5) << "happened"
      << std::setw(kNumberWidth + 2) << "succeeded" << '\n';
  for (std::size_t kind = 0; kind < faults_.size(); ++kind) {
    if (faults_[kind].happened == 0) {
      continue;
    }
    out << std::left << std::setw(kNameWidth) << NameOf(static_cast<FaultKind>(kind)) << std::right
        << std::setw(kNumberWidth) << faults_[kind].happened << std::setw(kNumberWidth + 2)
        << faults_[kind].succeeded << '\n';
  }
  out << "\nfailed in phase\n";
  for (std::size_t phase = 0; phase < failures_.size(); ++phase) {
    PrintRow(out, host::NameOf(static_cast<host::Phase>(phase)), failures_[phase]);
  }
  PrintRow(out, "(by the host's own exception)", host_failures_);
}

}  // namespace quillmark::campaign
