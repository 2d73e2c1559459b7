// SPDX-License-Identifier: MIT
#include "host/tool/run_recorder.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/tool/exit_code.h"

#if !defined(_WIN32)
#include <unistd.h>

#include <array>
#include <climits>
#endif

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

namespace {

/// How long the end of a run waits for the server.
constexpr std::chrono::milliseconds kForwardingMoment{2000};

std::string NameOfMachine() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  ::gethostname(name.data(), name.size() - 1);
  return name.data();
}

void RequireServer(const std::string& url) {
  try {
    const StationRecords server(url);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError("--records", error.what());
  } catch (const RecordsError& error) {
    throw ToolError(ExitCode::kUnavailable, error.what(),
                    "install it, or record in a file alone; nothing was sent");
  }
}

/// A file, a server, or both.
void SetPlaces(const std::vector<std::string>& places, RecordsOptions& options) {
  for (const std::string& place : places) {
    const bool is_server = StationRecords::IsServer(place);
    std::string& stored = is_server ? options.server : options.file;
    if (!stored.empty()) {
      throw CLI::ValidationError(
          "--records", "expected at most one file and one server, found two of the same kind");
    }
    stored = place;
    if (is_server) {
      RequireServer(place);
    }
  }
}

/// As one word of a shell command.
std::string Quoted(const std::string& text) {
  std::string word = "'";
  for (const char character : text) {
    word += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return word + '\'';
}

/// The message that a run of the tool failed with.
std::string MessageOf(const std::string& errors) {
  constexpr std::string_view kPrefix = "quillmark: ";
  const std::string line = errors.substr(0, errors.find('\n'));
  return line.starts_with(kPrefix) ? line.substr(kPrefix.size()) : line;
}

}  // namespace

void AddRecordsOption(CLI::App& app, RecordsOptions& options) {
  app.add_option_function<std::vector<std::string> >(
         "--records",
         [&options](const std::vector<std::string>& places) { SetPlaces(places, options); },
         "records of all runs, an SQLite file; default records.sqlite in "
         "$XDG_STATE_HOME/quillmark or ~/.local/state/quillmark. postgresql://HOST/DATABASE is a "
         "server that gets them from there as well; both may be given")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

void AddRecordsOptions(CLI::App& app, RecordsOptions& options) {
  AddRecordsOption(app, options);
  app.add_option("--station", options.station,
                 "name of this place in the records; default the name of the machine")
      ->type_name("NAME");
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
  run_.station = options_.station.empty() ? NameOfMachine() : options_.station;
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
    if (!options_.server.empty()) {
      records_->KeepForServer();
    }
    records_->Write(run_);
  } catch (const RecordsError& error) {
    records_.reset();
    if (IsAskedFor()) {
      throw ToolError(ExitCode::kCannotCreate, error.what(),
                      "name another file with --records, or leave the record out with "
                      "--no-records; nothing was sent");
    }
    Warn(error.what());
    return;
  }
  StartForwarding();
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
    if (IsAskedFor()) {
      throw;
    }
    Warn(error.what());
    return;
  }
  StartForwarding();
  EndForwarding();
}

bool RunRecorder::IsAskedFor() const { return !options_.file.empty() || !options_.server.empty(); }

void RunRecorder::StartForwarding() {
  // The one before may have read the run as it was.
  forwarding_.reset();
  if (options_.server.empty()) {
    return;
  }
  try {
    // This program, wherever it is, also where it was replaced since it was started.
    forwarding_ = std::make_unique<ChildProcess>(
        fmt::format("exec /proc/{}/exe history --forward --records {} --records {}", ::getpid(),
                    Quoted(FileOf(options_)), Quoted(options_.server)));
  } catch (const std::system_error&) {
    // What was not forwarded is told at the end.
    return;
  }
}

void RunRecorder::EndForwarding() {
  if (options_.server.empty()) {
    return;
  }
  const auto end = forwarding_ ? forwarding_->Wait(kForwardingMoment) : std::nullopt;
  std::string reason = "there is no process for it";
  if (end) {
    reason = MessageOf(forwarding_->TakeErrors());
  } else if (forwarding_) {
    reason =
        fmt::format("it has not taken all of them within {} s", kForwardingMoment.count() / 1000);
  }
  forwarding_.reset();
  if (!end || end->by_signal || end->status != 0) {
    reporter_.Warning(fmt::format(
        "the server does not have all runs yet: {}; they are kept in {}, and sent after the next "
        "run or by history --forward",
        reason, FileOf(options_)));
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
