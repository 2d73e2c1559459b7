// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// What is kept of a run of a command on an ECU. What is not known is empty. Texts may come from an
/// ECU or a file: whoever shows one treats it as text.
struct RunRecord {
  std::string id{};  ///< of `NewRunId`
  /// Kept to the millisecond.
  std::chrono::system_clock::time_point started{};
  std::string command{};  ///< "flash", "verify", "read"
  std::string station{};  ///< the place that it ran at; empty before records knew of stations
  std::string bay{};      ///< of a station; empty on the command line
  std::string bus{};      ///< its URI
  std::string ecu{};      ///< the identification
  std::vector<std::string> images{};                 ///< names of files
  std::string image_sha256{};                        ///< of all images together
  std::vector<std::string> settings{};               ///< lines of a profile
  std::vector<PhaseTimes> phases{};                  ///< in the time of the bus, in microseconds
  OutcomeState outcome = OutcomeState::kUnfinished;  ///< unfinished until the run has ended
  std::string message{};              ///< why it is not done, or what is missing where it is
  Duration time{};                    ///< on the bus
  std::string version{};              ///< of Quillmark
  std::filesystem::path artifacts{};  ///< their folder; empty if none were kept

  friend bool operator==(const RunRecord&, const RunRecord&) = default;
};

/// 128 random bits as 32 hexadecimal digits.
[[nodiscard]] QUILLMARK_API std::string NewRunId();

/// "done", "failed", "cancelled" or "unfinished".
[[nodiscard]] QUILLMARK_API std::string_view NameOf(OutcomeState outcome);

/// Which runs are wanted. What is empty excludes none; letters of ASCII are found in either case.
struct RunFilter {
  std::string station{};                  ///< a part of its name
  std::string ecu{};                      ///< a part of the identification
  std::string image{};                    ///< a part of the name of an image, or of the SHA-256
  std::optional<OutcomeState> outcome{};  ///< how it ended
  std::optional<std::chrono::system_clock::time_point> since{};  ///< started then or later
  std::optional<std::chrono::system_clock::time_point> until{};  ///< started before
  std::string text{};                                            ///< a part of any text of the run
  std::optional<std::size_t> most{};                             ///< the last ones
};

/// Records that cannot be opened, read or written. what() names the file and the reason.
class QUILLMARK_API RecordsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file that holds no records any more, or never did.
class QUILLMARK_API DamagedRecords : public RecordsError {
 public:
  using RecordsError::RecordsError;
};

class StationRecords;

/// The records of all runs, a row each, in an SQLite file that several processes may use at once.
/// What was written is on the disk when the call returns: a crash or a power cut loses no run and
/// changes none. An object is used by one thread at a time.
class QUILLMARK_API RunRecords {
 public:
  /// What a file of records is opened for.
  enum class Use { kRead, kWrite };

  /// How long a call waits for other processes.
  static constexpr std::chrono::milliseconds kPatience{10'000};

  /// Opens the file, and brings one of an earlier version up to this one, whole or not at all. For
  /// writing, the file and its folders are created where they are missing, and a damaged file gets
  /// another name and is replaced by an empty one. Raises RecordsError, also for a database of
  /// another program or of a later version, which is left as it is; for reading, DamagedRecords.
  RunRecords(const std::filesystem::path& file, Use use);
  RunRecords(const RunRecords&) = delete;
  RunRecords& operator=(const RunRecords&) = delete;
  RunRecords(RunRecords&&) = delete;
  RunRecords& operator=(RunRecords&&) = delete;
  ~RunRecords();

  /// Where the damaged file is now that was found in the place of the records; empty if none was.
  [[nodiscard]] const std::filesystem::path& set_aside() const { return set_aside_; }

  /// Adds a run, or replaces all that is known of the one with this id. Raises RecordsError.
  void Write(const RunRecord& run, std::chrono::milliseconds patience = kPatience);

  /// From now on, what is written is meant for a server too: `ForwardTo` sends it. A run that was
  /// not written after this call stays in the file alone.
  void KeepForServer() { is_for_server_ = true; }

  /// Sends what the server does not have yet, the oldest run first, and notes that it has it. The
  /// server gets a run by its id: one that was sent before, by this process or another, is not
  /// there twice, and an earlier state of it replaces no later one. Returns how many runs were
  /// sent. Raises RecordsError if it was not all: what was not sent is sent by the next call.
  std::size_t ForwardTo(StationRecords& server);

  /// The runs that fit, the last one first. Raises RecordsError.
  [[nodiscard]] std::vector<RunRecord> Find(const RunFilter& filter) const;

 private:
  class File;

  void Open();
  void SetAside();

  std::filesystem::path path_;
  std::filesystem::path set_aside_;
  std::unique_ptr<File> file_;
  bool is_for_server_ = false;
};

/// The records of several stations, in one PostgreSQL database. No call waits longer for the server
/// than it may, but for the system to look up the name of a host. The client library of PostgreSQL
/// is loaded when the first object is made. An object is used by one thread at a time.
class QUILLMARK_API StationRecords {
 public:
  /// How long a connection or a statement waits for the server.
  static constexpr std::chrono::milliseconds kPatience{10'000};

  /// Whether a text is the URL of a server and not the name of a file: it begins with
  /// "postgresql://" or "postgres://".
  [[nodiscard]] static bool IsServer(std::string_view text);

  /// SQL for an administrator, who gives it to psql: makes the tables, or brings those of an
  /// earlier version up to this one.
  [[nodiscard]] static std::string_view Schema();

  /// Nothing is sent before the first call. `url` is one of libpq; a password comes from the
  /// environment or the password file, as libpq has it. Raises std::invalid_argument for a URL with
  /// a password, which it does not repeat, and RecordsError without the client library.
  explicit StationRecords(const std::string& url, std::chrono::milliseconds patience = kPatience);
  StationRecords(const StationRecords&) = delete;
  StationRecords& operator=(const StationRecords&) = delete;
  StationRecords(StationRecords&&) = delete;
  StationRecords& operator=(StationRecords&&) = delete;
  ~StationRecords();

  /// The runs of all stations that fit, the last one first. Texts are as they were written, but for
  /// U+FFFD where something was no UTF-8, or a null character. Raises RecordsError.
  [[nodiscard]] std::vector<RunRecord> Find(const RunFilter& filter);

 private:
  friend RunRecords;
  class Server;

  std::unique_ptr<Server> server_;
};

/// records.sqlite in the user's state folder: in $XDG_STATE_HOME/quillmark, or else in
/// ~/.local/state/quillmark. Empty if the environment names no such folder.
[[nodiscard]] QUILLMARK_API std::filesystem::path UsualRecords();

}  // namespace quillmark::host
