// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host::testing {

/// The simulated pass-thru adapter: its libraries, and the settings that the next open of one in
/// this process or in a child finds.
class PassThruSimulator {
 public:
  /// Its report goes into `folder`, which must outlive it.
  explicit PassThruSimulator(const TemporaryFolder& folder) : folder_(folder) { Set(""); }
  PassThruSimulator(const PassThruSimulator&) = delete;
  PassThruSimulator& operator=(const PassThruSimulator&) = delete;
  PassThruSimulator(PassThruSimulator&&) = delete;
  PassThruSimulator& operator=(PassThruSimulator&&) = delete;
  ~PassThruSimulator() { ::unsetenv("QUILLMARK_PASS_THRU_SIMULATOR"); }

  void Set(const std::string& words) {
    const std::string all = "--fast --report " + ReportFile() + ' ' + words;
    ::setenv("QUILLMARK_PASS_THRU_SIMULATOR", all.c_str(), 1);
  }

  [[nodiscard]] static std::string Library(int width) {
    return width == 64 ? QUILLMARK_PASS_THRU_64 : QUILLMARK_PASS_THRU_32;
  }

  /// What broke the rules, and a line for each close; empty if nothing was opened and closed.
  [[nodiscard]] std::string Report() const { return folder_.Read("report"); }

 private:
  [[nodiscard]] std::string ReportFile() const { return folder_.Path("report"); }

  const TemporaryFolder& folder_;
};

inline constexpr const char* kNoViolations = "closed with 0 violations\n";

}  // namespace quillmark::host::testing
