// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <stdexcept>

#include "host/calls/json.h"
#include "host/trace/trace.h"

namespace quillmark::host {

/// The files in a folder of artifacts.
namespace artifact {
inline constexpr const char* kPlan = "plan.json";
inline constexpr const char* kResult = "result.json";
inline constexpr const char* kTrace = "trace.log";
inline constexpr const char* kLog = "log.jsonl";
inline constexpr const char* kDocuments = "documents";
}  // namespace artifact

/// A folder that cannot be reported on; the text names the file.
class DamagedArtifacts : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a command left in its folder.
struct Artifacts {
  Json plan{};
  /// Null where the command was ended before it could write one.
  Json result{};
  /// Without entries where nothing was sent.
  Trace trace{};
};

/// Raises DamagedArtifacts.
[[nodiscard]] Artifacts ReadArtifacts(const std::filesystem::path& folder);

/// "can", "gateway" or "kline", as in the plan and on the command line.
[[nodiscard]] const char* NameOf(TransportForm form);

}  // namespace quillmark::host
