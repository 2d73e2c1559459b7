// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quillmark::host {

/// Keeps the keys of an object in the order in which they were set.
using Json = nlohmann::ordered_json;

/// How the tool ends, in the numbers of sysexits.h where it has one.
enum class ExitCode : std::uint8_t {
  kDone = 0,
  kDifference = 1,
  kUsage = 64,
  kData = 65,
  kNoInput = 66,
  kUnavailable = 69,
  kInternal = 70,
  kCannotCreate = 73,
  kInputOutput = 74,
  kProtocol = 76,
  kInterrupted = 130,
};

struct ExitCodeMeaning {
  ExitCode code;
  const char* meaning;
};

/// All of them, by number.
[[nodiscard]] const std::vector<ExitCodeMeaning>& ExitCodeMeanings();

/// The same as a table for --help.
[[nodiscard]] std::string ExitCodeHelp();

/// Ends the tool with a code and a message.
class ToolError : public std::runtime_error {
 public:
  /// `next`: what to do about it; empty for the usual advice for the code.
  ToolError(ExitCode code, const std::string& message, std::string next = "")
      : std::runtime_error(message), code_(code), next_(std::move(next)) {}

  [[nodiscard]] ExitCode code() const noexcept { return code_; }
  [[nodiscard]] const std::string& next() const noexcept { return next_; }

 private:
  ExitCode code_;
  std::string next_;
};

/// A failed command as the user and a machine see it.
struct FailureReport {
  ExitCode code = ExitCode::kInternal;
  std::string message;
  /// For people: the step, the state of the ECU, what to do next.
  std::vector<std::string> lines{};
  Json details = Json::object();  ///< phase, cause, address, … as far as they are known
};

/// The report on the exception in flight. Whatever a stopped command failed with, such as a key
/// command that got the signal too, the stop is the reason.
[[nodiscard]] FailureReport ReportCurrentException(bool was_stopped);

}  // namespace quillmark::host
