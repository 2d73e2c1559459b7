// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/pass_thru_simulator/device.h"

namespace quillmark::host::pass_thru {

/// A call that returns a status without doing anything.
struct FailingCall {
  /// Of the function, such as "PassThruReadMsgs"; of an ioctl with its number, "PassThruIoctl:3".
  std::string function;
  /// Counted from 1; 0: every call.
  std::uint64_t call = 0;
  std::uint32_t status = 0;
};

/// What is simulated, and where it leaves word.
struct Settings {
  DeviceOptions device{};
  std::vector<FailingCall> failing{};
  /// Gets a line for each call that breaks the rules, and one for each close; empty: no file.
  std::string report;
  std::string memory_file;
  std::uint32_t size = 0x10000;
};

/// Reads settings in the words of `quillmark simulate`, with blanks between them, and those of the
/// adapter itself. Raises CLI::Error.
[[nodiscard]] Settings ParseSettings(const std::string& words);

}  // namespace quillmark::host::pass_thru
