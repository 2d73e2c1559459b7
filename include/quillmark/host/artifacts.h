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
#include "quillmark/host/trace.h"

namespace quillmark::host {

struct DocumentRun;

/// The files in a folder of artifacts.
namespace artifact {
inline constexpr const char* kPlan = "plan.json";       ///< what was going to be done
inline constexpr const char* kResult = "result.json";   ///< how it ended
inline constexpr const char* kTrace = "trace.log";      ///< every frame
inline constexpr const char* kLog = "log.jsonl";        ///< every event
inline constexpr const char* kDocuments = "documents";  ///< a folder: requests and replies
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

/// The command of the tool that left the artifacts; `kUnknown` where the plan does not say.
enum class PlannedCommand : std::uint8_t { kUnknown, kFlash, kVerify, kRead };

/// What a command was going to do. Members that its file lacks are empty.
struct CommandPlan {
  PlannedCommand command = PlannedCommand::kUnknown;  ///< decides which members are used
  std::string started{};                              ///< the date, for people
  std::string version{};                              ///< of the tool
  std::string bus{};                                  ///< its URI
  std::optional<TransportForm> form{};                ///< of the exchange with the ECU
  std::optional<std::uint32_t> receive{};             ///< plain CAN: the identifier of the replies
  std::optional<std::uint32_t> send{};                ///< plain CAN: the identifier of the requests
  std::optional<std::uint32_t> bit_rate{};            ///< of the bus in bits per second, at least 1
  std::vector<std::string> image_files{};             ///< flash, verify: the files of the image
  std::string image_sha256{};                         ///< of the image, as `Sha256Of` computes it
  std::uint64_t image_bytes = 0;                      ///< of the image
  std::vector<AddressRange> segments{};               ///< of the image
  std::vector<AddressRange> blocks{};                 ///< flash: what of it was to be sent
  std::uint8_t fill = 0xFF;                           ///< the byte of runs that are not sent
  std::string output{};                               ///< read: the file
  std::vector<AddressRange> ranges{};                 ///< read: what was to be read
};

/// How a command ended; `kUnfinished` where it is still at work or was killed.
enum class OutcomeState : std::uint8_t { kUnfinished, kDone, kFailed, kCancelled };

/// When a phase of a session took place.
struct PhaseTimes {
  std::string name{};  ///< as `NameOf(Phase)` has it
  Duration began{};    ///< since the trace began
  Duration ended{};    ///< since the trace began

  friend bool operator==(const PhaseTimes&, const PhaseTimes&) = default;
};

/// How a command ended. Members that its file lacks are empty.
struct CommandResult {
  /// Done, or in which way it is not.
  OutcomeState state = OutcomeState::kUnfinished;
  /// Why it failed; if it is done, what is missing in the folder; if it was killed, how far it got.
  std::string message{};
  AdapterVersions adapter{};  ///< what the adapter said of itself
  /// Of the battery before the erase, where the adapter could tell.
  std::optional<std::uint32_t> battery_millivolts{};
  std::string ecu{};                 ///< what the ECU said it is
  std::string ecu_state{};           ///< of a failure: the state that it is probably in
  std::string next{};                ///< of a failure: what to do next
  std::string read_back_sha256{};    ///< of what a verification has read back
  std::uint64_t bytes = 0;           ///< read
  std::uint64_t sent_bytes = 0;      ///< sent; the rest of the image is fill
  std::uint64_t verified_bytes = 0;  ///< read back and found equal
  Duration time{};                   ///< on the bus
  std::vector<PhaseTimes> phases{};  ///< in their order
};

/// What a command left in its folder, as far as it is there.
struct Artifacts {
  CommandPlan plan{};      ///< what it was going to do
  CommandResult result{};  ///< how it ended
  /// Without entries where nothing was sent.
  Trace trace{};
  /// Files that are missing or cut off, a sentence each.
  std::vector<std::string> warnings{};
};

/// The contents of the files; nothing for a missing one.
struct ArtifactFiles {
  std::optional<std::string> plan{};    ///< of `artifact::kPlan`
  std::optional<std::string> result{};  ///< of `artifact::kResult`
  std::optional<std::string> log{};     ///< of `artifact::kLog`
  std::istream* trace = nullptr;        ///< of `artifact::kTrace`, at its beginning, not owned
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
  /// `why` becomes a part of what(), `advice` does not.
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

  /// Writes the plan, an object of JSON. Raises CannotCreateFile and CannotWriteFile, as the next
  /// three do.
  void WritePlan(std::string_view json) const;
  /// Writes the result, an object of JSON, or replaces it.
  void WriteResult(std::string_view json) const;
  /// Writes a document before its run. Returns the name of its file in the folder.
  std::string WriteRequest(const DocumentRun& run);
  /// Writes the document of the last `WriteRequest` after its run, and returns the same.
  [[nodiscard]] std::string WriteReply(const DocumentRun& run) const;

  /// Takes every frame of the bus.
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
