// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/tool/child_process.h"
#include "quillmark/host/conformance.h"

namespace quillmark::host {

/// The process of a runner cannot be used any further: it has ended, is silent, or writes what is
/// not of the protocol.
class RunnerProcessError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Another process that runs documents, in any language. It speaks lines of text: this one writes
/// to its standard input and reads its standard output, as the page "Testing a runner" says. It
/// keeps the standard error.
///
/// Threads: used by one thread at a time.
class RunnerProcess {
 public:
  /// Starts the program, which is looked for in PATH. Raises RunnerProcessError.
  explicit RunnerProcess(const std::vector<std::string>& command);

  /// Has the process run a document, which then holds what it made of it. Raises
  /// RunnerProcessError, also for each task after such a failure.
  void Run(const RunnerTask& task);

  /// Why the process could not be used; empty as long as it can.
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  void Converse(const RunnerTask& task);
  void WriteLine(std::string_view line);
  [[nodiscard]] std::string ReadLine();
  [[nodiscard]] std::string HowItEnded();

  std::optional<PipedProcess> process_;
  /// What was read and is not a whole line yet.
  std::string begun_;
  std::string failure_;
};

}  // namespace quillmark::host
