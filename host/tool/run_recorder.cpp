// SPDX-License-Identifier: MIT
#include "host/tool/run_recorder.h"

#include <fmt/format.h>

#include <chrono>

#include "host/tool/exit_code.h"

namespace quillmark::host {

#if defined(_WIN32)

// Debian has no SQLite for Windows: nothing is recorded there, and there are no options for it.
void AddRecordsOption(CLI::App& /*app*/, RecordsOptions& /*options*/) {}
void AddRecordsOptions(CLI::App& /*app*/, RecordsOptions& /*options*/) {}
std::string FileOf(const RecordsOptions& /*options*/) { return ""; }
void RunRecorder::Begin(const RunRecord& run) { run_ = run; }
void RunRecorder::Identify(const std::string& ecu) { run_.ecu = ecu; }
void RunRecorder::End() {}

#else

void AddRecordsOption(CLI::App& app, RecordsOptions& options) {
  app.add_option("--records", options.file,
                 "records of all runs, an SQLite file; default records.sqlite in "
                 "$XDG_STATE_HOME/quillmark or ~/.local/state/quillmark")
      ->type_name("FILE");
}

void AddRecordsOptions(CLI::App& app, RecordsOptions& options) {
  AddRecordsOption(app, options);
  app.add_flag("--no-records", options.none, "do not record this run; see history")
      ->excludes("--records");
}

std::string FileOf(const RecordsOptions& options) {
  if (options.none) {
    return "";
  }
  return options.file.empty() ? UsualRecords().string() : options.file;
}

void RunRecorder::Begin(const RunRecord& run) {
  run_ = run;
  run_.id = NewRunId();
  const std::string file = FileOf(options_);
  if (options_.none) {
    return;
  }
  if (file.empty()) {
    Warn("expected a folder for it in $XDG_STATE_HOME or $HOME, found none");
    return;
  }
  try {
    records_ = std::make_unique<RunRecords>(file, RunRecords::Use::kWrite);
    TellWhatWasSetAside();
    records_->Write(run_);
  } catch (const RecordsError& error) {
    records_.reset();
    if (!options_.file.empty()) {
      throw ToolError(ExitCode::kCannotCreate, error.what(),
                      "name another file with --records, or leave the record out with "
                      "--no-records; nothing was sent");
    }
    Warn(error.what());
  }
}

void RunRecorder::Identify(const std::string& ecu) {
  // The session lasts seconds without a request.
  constexpr std::chrono::milliseconds kPatience{1000};
  run_.ecu = ecu;
  if (!records_) {
    return;
  }
  try {
    records_->Write(run_, kPatience);
  } catch (const RecordsError&) {
    // End() tries again, and tells.
  }
}

void RunRecorder::End() {
  if (!records_) {
    return;
  }
  try {
    records_->Write(run_);
    TellWhatWasSetAside();
  } catch (const RecordsError& error) {
    if (!options_.file.empty()) {
      throw;
    }
    Warn(error.what());
  }
}

void RunRecorder::Warn(const std::string& reason) const {
  reporter_.Warning(
      fmt::format("the record of this run is incomplete: {}; --records FILE names "
                  "another file, --no-records leaves it out",
                  reason));
}

void RunRecorder::TellWhatWasSetAside() {
  if (records_->set_aside() == told_) {
    return;
  }
  told_ = records_->set_aside();
  reporter_.Warning(
      fmt::format("the records in {} were damaged: they are now in {}, and new ones were begun",
                  FileOf(options_), told_.string()));
}

#endif

}  // namespace quillmark::host
