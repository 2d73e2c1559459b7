// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/connection.h"
#include "host/tool/link_options.h"
#include "host/tool/run_recorder.h"
#include "host/tool/surroundings.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {

/// What a command leaves behind for later.
struct RecordingOptions {
  std::string trace;
  std::string artifacts;
  bool force = false;  ///< replaces what is there already, a backup apart
  RecordsOptions records;
  std::string bay;  ///< of a station or a job; empty on the command line
};

/// Adds --trace, --artifacts, --force, --records and --no-records; `replaced` lists the options
/// that --force is for.
void AddRecordingOptions(CLI::App& app, RecordingOptions& options, const std::string& replaced);

/// Records what a command does on a bus, as far as the options ask for it.
class Recording {
 public:
  /// Creates the files. Raises ToolError (cannot create), CannotCreateFile and CLI::ValidationError
  /// before anything is sent. The reporter of `surroundings` must outlive the recording.
  Recording(const RecordingOptions& options, const LinkOptions& link,
            const Surroundings& surroundings);
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;
  Recording(Recording&&) = delete;
  Recording& operator=(Recording&&) = delete;
  ~Recording();

  /// Runs `work` in the surroundings with a reporter that records as well, and records how it ends.
  /// Raises what `work` raises; where that was done, ToolError (input/output) if not everything
  /// could be written, with `effect`, which tells what was done nevertheless.
  void Run(const std::function<void(const Surroundings& surroundings)>& work, const char* effect);

  /// Writes down that `run` is about to happen; settings and time are added. Call it when the
  /// settings have been reported and before anything is sent. Raises ToolError.
  void Begin(RunRecord run);

  [[nodiscard]] bool wants_plan() const { return folder_.has_value(); }
  /// What `work` is about to do, for the folder; the link is added.
  void Plan(const Json& plan);
  /// The bus to use instead of `bus`; null if nothing is to be recorded. Neither `bus` nor the
  /// recording may end before it.
  [[nodiscard]] std::unique_ptr<Bus> Tap(Bus& bus);
  /// Records which ECU answers, and the documents that the programmer runs.
  void Follow(Connection& connection);

 private:
  class RecordingReporter;
  class TappedBus;
  struct PhaseTimes {
    std::string name;
    Duration began;
    std::optional<Duration> ended;
  };

  void Record(const TraceEntry& entry);
  void OnEvent(EventKind kind, const Json& members);
  void OnProgress(const Progress& progress);
  void OnDocument(const DocumentRun& run);
  void WriteDocument(const DocumentRun& run);
  void EndPhase();
  void WriteResult(Json result);
  void EndRun(OutcomeState outcome, const std::string& message);
  void RecordFailure();
  void Close();
  [[nodiscard]] Duration Now() const;

  LinkOptions link_;
  Surroundings surroundings_;
  std::filesystem::path artifacts_;
  std::string bay_;
  RunRecorder recorder_;
  std::optional<TraceFile> trace_;
  std::optional<ArtifactFolder> folder_;
  std::unique_ptr<Reporter> log_;
  std::unique_ptr<RecordingReporter> reporter_;
  /// Null before and after the bus.
  const TracingBus* bus_ = nullptr;
  Duration last_time_{};
  std::vector<PhaseTimes> phases_;
  /// What the work said of its result.
  Json told_ = Json::object();
  std::string last_request_;
  /// Why a document could not be written; empty if all were.
  std::string document_error_;
};

}  // namespace quillmark::host
