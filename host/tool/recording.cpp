// SPDX-License-Identifier: MIT
#include "host/tool/recording.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/Error.hpp>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

#include "host/tool/exit_code.h"
#include "host/tool/outputs.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

/// Indentations of JSON.
constexpr int kOneLine = -1;
constexpr int kReadable = 2;

std::string TextOf(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

/// Raises CLI::ValidationError for a name without a format.
TraceFormat FormatOf(const std::string& trace, TransportForm form) {
  try {
    return TraceFormatOfName(Utf8Path(trace), form);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError("--trace", error.what());
  }
}

std::string DateNow() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(now));
}

/// What `work` raises, in words; empty for nothing.
template <typename Work>
std::string ErrorOf(Work work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

}  // namespace

/// Tells the console and the log, and lets the recording listen.
class Recording::RecordingReporter : public Reporter {
 public:
  RecordingReporter(Recording& recording, Reporter& console)
      : recording_(recording), console_(console) {}

  void Line(const std::string& text) override { console_.Line(text); }
  void Warning(const std::string& text) override { console_.Warning(text); }

  void Event(EventKind kind, const Json& members) override {
    console_.Event(kind, members);
    recording_.OnEvent(kind, members);
  }

  [[nodiscard]] bool TakesEvents() const override {
    return console_.TakesEvents() || recording_.log_ != nullptr;
  }

  void OnProgress(const Progress& progress) override {
    console_.OnProgress(progress);
    recording_.OnProgress(progress);
  }

  void EndProgress() override {
    console_.EndProgress();
    recording_.EndPhase();
  }

 private:
  Recording& recording_;
  Reporter& console_;
};

/// A bus that ends before the recording leaves its last time behind.
class Recording::TappedBus : public TracingBus {
 public:
  TappedBus(Recording& recording, Bus& bus)
      : TracingBus(bus, [&recording](const TraceEntry& entry) { recording.Record(entry); }),
        recording_(recording) {
    recording_.bus_ = this;
  }
  TappedBus(const TappedBus&) = delete;
  TappedBus& operator=(const TappedBus&) = delete;
  TappedBus(TappedBus&&) = delete;
  TappedBus& operator=(TappedBus&&) = delete;
  ~TappedBus() override {
    recording_.last_time_ = TraceTime();
    recording_.bus_ = nullptr;
  }

 private:
  Recording& recording_;
};

void AddRecordingOptions(CLI::App& app, RecordingOptions& options, const std::string& replaced) {
  app.add_option("--trace", options.trace,
                 "record every frame: .log as candump does, .asc for Vector tools; on a K line "
                 ".log or .txt, readable lines")
      ->type_name("FILE");
  app.add_option(
         "--artifacts", options.artifacts,
         "leave plan, documents, replies, trace, log and result in a new folder; see report")
      ->type_name("DIR");
  app.add_flag("--force", options.force, fmt::format("replace existing files of {}", replaced));
  AddRecordsOptions(app, options.records);
}

Recording::Recording(const RecordingOptions& options, const LinkOptions& link,
                     const Surroundings& surroundings)
    : link_(link),
      surroundings_(surroundings),
      artifacts_(options.artifacts.empty() ? "" : std::filesystem::absolute(options.artifacts)),
      bay_(options.bay),
      recorder_(options.records, surroundings.reporter),
      reporter_(std::make_unique<RecordingReporter>(*this, surroundings.reporter)) {
  const Existing existing = ExistingWith(options.force);
  if (!options.trace.empty()) {
    trace_.emplace(Utf8Path(options.trace), FormatOf(options.trace, link.form), existing);
  }
  if (!options.artifacts.empty()) {
    folder_.emplace(Utf8Path(options.artifacts), link.form, existing);
    folder_->WriteResult(
        TextOf({{"outcome", "unfinished"},
                {"message", "the tool is still at work, or was ended in the middle"}},
               kReadable));
    log_ = MakeReporter(ReportStyle::kJson, folder_->log());
  }
}

Recording::~Recording() = default;

void Recording::Run(const std::function<void(const Surroundings& surroundings)>& work,
                    const char* effect) {
  try {
    work({*reporter_, surroundings_.stop_requested, surroundings_.ask, surroundings_.on_memory,
          surroundings_.open_bus});
  } catch (...) {
    RecordFailure();
    throw;
  }
  Json result = {{"outcome", "done"}, {"exit", 0}};
  std::string defect = ErrorOf([this] { Close(); });
  if (!defect.empty()) {
    result["exit"] = static_cast<int>(ExitCode::kInputOutput);
    result["message"] = defect;
  }
  const std::string defect_of_result = ErrorOf([&] { WriteResult(std::move(result)); });
  if (defect.empty()) {
    defect = defect_of_result;
  }
  const std::string defect_of_record = ErrorOf([&] { EndRun(OutcomeState::kDone, defect); });
  if (defect.empty()) {
    defect = defect_of_record;
  }
  if (!defect.empty()) {
    throw ToolError(ExitCode::kInputOutput, fmt::format("{}; {}", defect, effect),
                    "make room on the disk before the next time, or name a file elsewhere");
  }
}

void Recording::Begin(RunRecord run) {
  run.started = std::chrono::system_clock::now();
  run.version = told_.at("version");
  run.bus = told_.at("bus");
  run.settings = told_.at("settings").get<std::vector<std::string>>();
  run.artifacts = artifacts_;
  run.bay = bay_;
  recorder_.Begin(run);
}

void Recording::Plan(const Json& plan) {
  // What is short comes first, so that a plan that is cut off still has it.
  Json whole = {{"command", plan.at("command")},
                {"started", DateNow()},
                {"form", NameOf(link_.form)},
                {"bit_rate", link_.BitRate()}};
  if (link_.form == TransportForm::kPlainCan) {
    whole["receive"] = link_.ReceiveId();
    whole["send"] = link_.SendId();
  }
  // The settings, which were told first.
  whole.update(told_);
  whole.update(plan);
  // On one line: a large image has thousands of blocks.
  folder_->WritePlan(TextOf(whole, kOneLine));
}

std::unique_ptr<Bus> Recording::Tap(Bus& bus) { return std::make_unique<TappedBus>(*this, bus); }

void Recording::Follow(Connection& connection) {
  connection.OnIdentified([this](const Identification& identification) {
    recorder_.Identify(RecordText(identification.record));
  });
  if (folder_) {
    connection.programmer().OnDocument([this](const DocumentRun& run) { OnDocument(run); });
  }
}

void Recording::Record(const TraceEntry& entry) {
  if (trace_) {
    trace_->Write(entry);
  }
  if (folder_) {
    folder_->trace().Write(entry);
  }
}

void Recording::OnEvent(EventKind kind, const Json& members) {
  if (log_) {
    Json logged = {{"at", SecondsOf(Now())}};
    logged.update(members);
    log_->Event(kind, logged);
  }
  if (kind == EventKind::kDone || kind == EventKind::kSettings) {
    told_.update(members);
  } else if (kind == EventKind::kImage || kind == EventKind::kImages) {
    told_["image_sha256"] = members["sha256"];
  } else if (kind == EventKind::kAdapter) {
    told_["adapter"] = members;
  } else if (kind == EventKind::kBattery) {
    told_["battery_millivolts"] = members["millivolts"];
  } else if (kind == EventKind::kReadBack) {
    told_["read_back_sha256"] = members["sha256"];
  } else if (members.contains("ecu")) {
    told_["ecu"] = members["ecu"];
  }
}

void Recording::OnProgress(const Progress& progress) {
  if (log_) {
    log_->OnProgress(progress);
  }
  const std::string name(NameOf(progress.phase));
  if (phases_.empty() || phases_.back().name != name || phases_.back().ended) {
    EndPhase();
    phases_.push_back({name, Now(), std::nullopt});
  }
}

/// It must not throw: the work on the ECU continues without what cannot be written.
void Recording::OnDocument(const DocumentRun& run) {
  try {
    WriteDocument(run);
  } catch (const std::exception& error) {
    if (document_error_.empty()) {
      document_error_ = error.what();
    }
  }
}

void Recording::WriteDocument(const DocumentRun& run) {
  if (run.outcome == nullptr) {
    last_request_ = folder_->WriteRequest(run);
    return;
  }
  OnEvent(EventKind::kDocument, {{"phase", NameOf(run.phase)},
                                 {"request", last_request_},
                                 {"reply", folder_->WriteReply(run)},
                                 {"complete", run.outcome->complete()},
                                 {"step", run.outcome->step},
                                 {"reason", run.outcome->reason},
                                 {"seconds", SecondsOf(run.outcome->elapsed)}});
}

void Recording::EndPhase() {
  if (!phases_.empty() && !phases_.back().ended) {
    phases_.back().ended = Now();
  }
}

void Recording::EndRun(OutcomeState outcome, const std::string& message) {
  EndPhase();
  RunRecord& run = recorder_.run();
  run.outcome = outcome;
  run.message = message;
  run.time = Now();
  for (const PhaseTimes& phase : phases_) {
    run.phases.push_back({phase.name, phase.began, *phase.ended});
  }
  recorder_.End();
}

void Recording::WriteResult(Json result) {
  if (!folder_) {
    return;
  }
  EndPhase();
  told_["seconds"] = told_.value("seconds", SecondsOf(Now()));
  for (const auto& [name, value] : told_.items()) {
    if (!result.contains(name)) {
      result[name] = value;
    }
  }
  result["phases"] = Json::array();
  for (const PhaseTimes& phase : phases_) {
    result["phases"].push_back({{"phase", phase.name},
                                {"began", SecondsOf(phase.began)},
                                {"ended", SecondsOf(*phase.ended)}});
  }
  folder_->WriteResult(TextOf(result, kReadable));
}

/// The failure of the work says more than what else may fail now.
void Recording::RecordFailure() {
  const FailureReport report = ReportCurrentException(surroundings_.stop_requested());
  const bool is_cancelled = report.code == ExitCode::kInterrupted;
  try {
    EndRun(is_cancelled ? OutcomeState::kCancelled : OutcomeState::kFailed, report.message);
  } catch (const std::exception& error) {
    surroundings_.reporter.Warning(error.what());
  }
  try {
    Json event = {{"exit", static_cast<int>(report.code)}, {"message", report.message}};
    event.update(report.details);
    OnEvent(EventKind::kError, event);
    Json result = {{"outcome", is_cancelled ? "cancelled" : "failed"}};
    result.update(event);
    WriteResult(result);
    Close();
  } catch (const std::exception&) {
    return;
  }
}

void Recording::Close() {
  if (trace_) {
    trace_->Close();
  }
  if (folder_) {
    folder_->Close();
  }
  if (!document_error_.empty()) {
    throw ToolError(ExitCode::kInputOutput, document_error_);
  }
}

Duration Recording::Now() const { return bus_ == nullptr ? last_time_ : bus_->TraceTime(); }

}  // namespace quillmark::host
