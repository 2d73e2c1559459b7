// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "host/tool/child_process.h"
#include "host/tool/reporter.h"
#include "quillmark/host/records.h"

namespace quillmark::host {

/// Where runs are recorded.
struct RecordsOptions {
  std::string file;     ///< empty: the usual one
  std::string server;   ///< the URL of the one that gets them too; empty: none
  std::string station;  ///< the name of this place; empty: that of the machine
  bool none = false;    ///< nowhere
};

/// Adds --records alone, or with --station and --no-records.
void AddRecordsOption(CLI::App& app, RecordsOptions& options);
void AddRecordsOptions(CLI::App& app, RecordsOptions& options);

/// The file that the options name; empty if there is none.
[[nodiscard]] std::string FileOf(const RecordsOptions& options);

/// Keeps the record of one run. A file that was asked for, by itself or for a server, has to be
/// there before anything is sent; otherwise a run goes on without its record, with a warning.
///
/// A server gets the run from a process of its own, `history --forward`: at the beginning, without
/// waiting for it, and at the end, for a moment. What it does not get then is left to the next run.
class RunRecorder {
 public:
  /// `reporter`, which outlives the recorder, gets the warnings.
  RunRecorder(RecordsOptions options, Reporter& reporter)
      : options_(std::move(options)), reporter_(reporter) {}

  /// Writes the run down as unfinished. Raises ToolError (cannot create) if a file was asked for
  /// and cannot be used.
  void Begin(const RunRecord& run);

  /// Adds which ECU it is, while a session is open: what does not work at once is left to `End`.
  void Identify(const std::string& ecu);

  /// What is known of the run.
  [[nodiscard]] RunRecord& run() { return run_; }

  /// Writes down how it ended. Raises RecordsError if a file was asked for; otherwise warns.
  void End();

 private:
  void Warn(const std::string& reason) const;
  void TellWhatWasSetAside();
  [[nodiscard]] bool IsAskedFor() const;
  void StartForwarding();
  void EndForwarding();

  RecordsOptions options_;
  [[maybe_unused]] Reporter& reporter_;
  RunRecord run_;
#if !defined(_WIN32)
  /// Null where nothing is recorded.
  std::unique_ptr<RunRecords> records_;
  /// Null where nothing is being forwarded.
  std::unique_ptr<ChildProcess> forwarding_;
#endif
  /// What the user knows of already.
  std::filesystem::path told_;
};

}  // namespace quillmark::host
