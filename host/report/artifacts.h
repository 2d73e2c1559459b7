// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

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

/// No folder of artifacts; the text names the file that is missing or cannot be read.
class UnreadableArtifacts : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that no command writes like this; the text names the file and the place in it.
class DamagedArtifacts : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A range of memory within 24 bits.
struct AddressRange {
  std::uint32_t start = 0;
  std::uint32_t count = 0;

  friend bool operator==(const AddressRange&, const AddressRange&) = default;
};

enum class PlannedCommand : std::uint8_t { kUnknown, kFlash, kVerify, kRead };

/// What a command was going to do. Members that its file lacks are empty.
struct Plan {
  PlannedCommand command = PlannedCommand::kUnknown;
  std::string started{};
  std::string version{};  ///< of the tool
  std::string bus{};      ///< its URI
  std::optional<TransportForm> form{};
  /// Plain CAN.
  std::optional<std::uint32_t> receive{};
  std::optional<std::uint32_t> send{};
  /// At least 1.
  std::optional<std::uint32_t> bit_rate{};
  /// Flash and verify: the image, and what of it was to be sent.
  std::vector<std::string> image_files{};
  std::string image_sha256{};
  std::uint64_t image_bytes = 0;
  std::vector<AddressRange> segments{};
  std::vector<AddressRange> blocks{};
  std::uint8_t fill = 0xFF;
  /// Read: the file, and what was to be read.
  std::string output{};
  std::vector<AddressRange> ranges{};
};

enum class OutcomeState : std::uint8_t { kUnfinished, kDone, kFailed, kCancelled };

struct PhaseTimes {
  std::string name{};
  Duration began{};
  Duration ended{};

  friend bool operator==(const PhaseTimes&, const PhaseTimes&) = default;
};

/// How a command ended. Members that its file lacks are empty.
struct Result {
  OutcomeState state = OutcomeState::kUnfinished;
  /// Why it failed; if it is done, what is missing in the folder; if it was killed, how far it got.
  std::string message{};
  std::string ecu{};
  std::string ecu_state{};
  std::string next{};
  std::string read_back_sha256{};
  std::uint64_t bytes = 0;
  std::uint64_t sent_bytes = 0;
  std::uint64_t verified_bytes = 0;
  Duration time{};
  std::vector<PhaseTimes> phases{};
};

/// What a command left in its folder, as far as it is there.
struct Artifacts {
  Plan plan{};
  Result result{};
  /// Without entries where nothing was sent.
  Trace trace{};
  /// Files that are missing or cut off, a sentence each.
  std::vector<std::string> warnings{};
};

/// The contents of the files; nothing for a missing one.
struct ArtifactFiles {
  std::optional<std::string> plan{};
  std::optional<std::string> result{};
  std::optional<std::string> log{};
  std::istream* trace = nullptr;
};

/// Reads what is there. A file that is missing or cut off, for example by a full disk, is not an
/// error; a number out of range or a value of the wrong type is: DamagedArtifacts. Without the end
/// of `result`, the log says how far the command got.
[[nodiscard]] Artifacts ReadArtifacts(const ArtifactFiles& files);

/// The same of a folder. Also raises UnreadableArtifacts: without any of the files, and where one
/// is not a regular file or larger than a command writes (1 GiB of trace, 64 MiB of any other).
[[nodiscard]] Artifacts ReadArtifacts(const std::filesystem::path& folder);

/// "can", "gateway" or "kline", as in the plan and on the command line.
[[nodiscard]] const char* NameOf(TransportForm form);

}  // namespace quillmark::host
