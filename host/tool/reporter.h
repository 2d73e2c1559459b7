// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "host/calls/json.h"
#include "host/programmer/programmer.h"

namespace quillmark::host {

/// What a command tells about its work, to people or to machines.
class Reporter {
 public:
  Reporter() = default;
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  Reporter(Reporter&&) = delete;
  Reporter& operator=(Reporter&&) = delete;
  virtual ~Reporter() = default;

  /// A line for people.
  virtual void Line(const std::string& text) = 0;
  /// A line of JSON for machines: `{"event":NAME, …}`. The names are `image` (what a file holds),
  /// `progress`, `plan`, `identification`, `about-to-erase`, `backup`, `ready` (where a
  /// simulator listens), `done` (what flash and read did) and `error`, which is
  /// the last line wherever a command fails.
  virtual void Event(const std::string& name, const Json& members) = 0;
  /// How far the work is.
  virtual void OnProgress(const Progress& progress) = 0;
  /// The work has ended, well or not: nothing of it is to be drawn any more.
  virtual void EndProgress() = 0;
};

enum class ReportStyle : std::uint8_t {
  kPlain,     ///< a line for each phase and each tenth of its bytes
  kTerminal,  ///< a bar for each phase, redrawn in place
  kJson,      ///< a line of JSON for each event
};

/// A reporter on `out`, which outlives it and is flushed after each line. `columns` is the width of
/// the terminal.
[[nodiscard]] std::unique_ptr<Reporter> MakeReporter(ReportStyle style, std::ostream& out,
                                                     std::size_t columns = 80);

}  // namespace quillmark::host
