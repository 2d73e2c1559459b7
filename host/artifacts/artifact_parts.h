// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/artifacts/json_field.h"
#include "quillmark/host/artifacts.h"

namespace quillmark::host {

/// Each takes what is there and raises DamagedArtifacts for a member that is not what it should be.
[[nodiscard]] CommandPlan PlanOf(const JsonField& object);
[[nodiscard]] CommandResult ResultOf(const JsonField& object);

/// What a log says about a command that did not reach its result, line by line.
class LogReader {
 public:
  void Add(const JsonField& event);

  /// An unfinished result: the phases, the ECU, and how far the command got.
  [[nodiscard]] CommandResult result() const;

 private:
  void AddPhase(const std::string& name);

  CommandResult result_{};
  std::string error_{};
  std::uint64_t bytes_done_ = 0;
  std::uint64_t bytes_total_ = 0;
};

}  // namespace quillmark::host
