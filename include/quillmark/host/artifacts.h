// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/trace.h"

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
class QUILLMARK_API UnreadableArtifacts : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that no command writes like this; the text names the file and the place in it.
class QUILLMARK_API DamagedArtifacts : public std::runtime_error {
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
[[nodiscard]] QUILLMARK_API Artifacts ReadArtifacts(const ArtifactFiles& files);

/// The same of a folder. Also raises UnreadableArtifacts: without any of the files, and where one
/// is not a regular file or larger than a command writes (1 GiB of trace, 64 MiB of any other).
[[nodiscard]] QUILLMARK_API Artifacts ReadArtifacts(const std::filesystem::path& folder);

/// A folder of artifacts that cannot be used for new ones; what() names it and says why.
class QUILLMARK_API RefusedFolder : public CannotCreateFile {
 public:
  RefusedFolder(const std::filesystem::path& folder, const std::string& why, std::string advice)
      : CannotCreateFile(folder, EEXIST, why), advice_(std::move(advice)) {}

  /// What a user can do.
  [[nodiscard]] const std::string& advice() const { return advice_; }

 private:
  std::string advice_;
};

/// The folder in which a command leaves all that it did: the plan, each document and its reply, the
/// trace, a log and the result. docs/traces.md describes the files; `ReadArtifacts` reads them.
class QUILLMARK_API ArtifactFolder {
 public:
  /// Raises RefusedFolder for a folder that holds something, unless that is artifacts and these are
  /// to be replaced, and CannotCreateFile.
  ArtifactFolder(const std::filesystem::path& path, TransportForm form, Existing existing);

  /// Plan and result are JSON. All raise CannotCreateFile and CannotWriteFile.
  void WritePlan(std::string_view json) const;
  void WriteResult(std::string_view json) const;
  /// Returns the name of the file, as the next does.
  std::string WriteRequest(const DocumentRun& run);
  [[nodiscard]] std::string WriteReply(const DocumentRun& run) const;

  [[nodiscard]] TraceFile& trace() { return trace_; }
  /// A line of JSON for each event.
  [[nodiscard]] std::ostream& log() { return log_.stream(); }

  /// Raises CannotWriteFile if trace or log are not complete.
  void Close();

 private:
  [[nodiscard]] std::string DocumentName(const DocumentRun& run, const char* kind) const;

  std::filesystem::path path_;
  TraceFile trace_;
  OutputFile log_;
  std::size_t documents_ = 0;
};

}  // namespace quillmark::host
