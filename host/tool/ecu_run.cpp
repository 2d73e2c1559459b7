// SPDX-License-Identifier: MIT
#include "host/tool/ecu_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/tool/connection.h"
#include "host/tool/exit_code.h"
#include "host/tool/image_report.h"
#include "host/tool/memory_file.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/progress_text.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

ProgrammerConfig ConfigOf(const FlashSettings& settings) {
  ProgrammerConfig config = MakeConfig(settings.link, settings.session);
  Apply(settings.transfer, config);
  config.check_routine = settings.flash.check_routine;
  config.log_record = settings.flash.log_record;
  return config;
}

void Report(Reporter& reporter, const ProgramResult& result) {
  const std::string ecu = RecordText(result.identification.record);
  reporter.Line(fmt::format("ecu       {}", ecu));
  reporter.Line(fmt::format("sent      {} in {}, {}; {} left out as fill",
                            BytesText(result.sent_bytes), TimeText(result.download_time),
                            RateText(result.sent_bytes, result.download_time),
                            BytesText(result.image_bytes - result.sent_bytes)));
  reporter.Line("check     the ECU's check routine found the memory right");
  if (result.verified_bytes > 0) {
    reporter.Line(
        fmt::format("verify    {} read back and found equal", BytesText(result.verified_bytes)));
  }
  if (result.repeated > 0) {
    reporter.Line("again     " + RepeatedText(result.repeated));
  }
  if (result.log_record_is_unanswered) {
    reporter.Line("log       not known: the ECU has not answered the log record");
  }
  reporter.Line(fmt::format("done      in {} of bus time", TimeText(result.total_time)));
  reporter.Event(EventKind::kDone, {{"ecu", ecu},
                                    {"image_bytes", result.image_bytes},
                                    {"sent_bytes", result.sent_bytes},
                                    {"verified_bytes", result.verified_bytes},
                                    {"download_seconds", SecondsOf(result.download_time)},
                                    {"seconds", SecondsOf(result.total_time)},
                                    {"repeated", result.repeated},
                                    {"passed_over", result.passed_over},
                                    {"log_record_is_unanswered", result.log_record_is_unanswered}});
}

std::string VoltsText(std::uint32_t millivolts) { return fmt::format("{:g} V", millivolts / 1e3); }

/// Tells the voltage where the adapter knows it. Raises ToolError for one that does not suffice.
void CheckBattery(Reporter& reporter, Connection& connection,
                  std::optional<std::uint32_t> least_millivolts) {
  const std::optional<std::uint32_t> millivolts = connection.BatteryMillivolts();
  if (millivolts) {
    reporter.Line(fmt::format("battery   {}", VoltsText(*millivolts)));
    reporter.Event(EventKind::kBattery, {{"millivolts", *millivolts}});
  }
  if (!least_millivolts) {
    return;
  }
  if (!millivolts) {
    throw ToolError(
        ExitCode::kUnavailable,
        fmt::format("expected a battery of at least {}, but this adapter cannot tell "
                    "its voltage; nothing was erased",
                    VoltsText(*least_millivolts)),
        "measure the voltage and flash with --min-voltage none, or use another adapter");
  }
  if (*millivolts < *least_millivolts) {
    throw ToolError(ExitCode::kUnavailable,
                    fmt::format("expected a battery of at least {}, found {}; nothing was erased",
                                VoltsText(*least_millivolts), VoltsText(*millivolts)),
                    "charge the battery or connect a supply, and flash again");
  }
}

/// Says what is about to happen to which ECU, and asks.
class Announcement {
 public:
  Announcement(const Surroundings& surroundings, const FlashSettings& settings,
               const ImageSegments& segments)
      : surroundings_(surroundings), asks_(!settings.flash.yes && surroundings.ask) {
    question_.memory = settings.transfer.memory;
    question_.image_bytes = SizeOf(segments);
    question_.first_address = segments.front().address;
    question_.last_address =
        static_cast<std::uint32_t>(segments.back().address + segments.back().bytes.size() - 1);
  }

  [[nodiscard]] Programmer::Answer Make(const Identification& identification) {
    if (!std::exchange(made_, true)) {
      question_.ecu = RecordText(identification.record);
      Tell(surroundings_.reporter);
    }
    return asks_ ? surroundings_.ask(question_) : Programmer::Answer::kYes;
  }

 private:
  void Tell(Reporter& reporter) const {
    const std::vector<std::string> lines = LinesOf(question_);
    reporter.Line("about to  " + lines[0]);
    reporter.Line("          " + lines[1]);
    reporter.Event(EventKind::kAboutToErase, {{"ecu", question_.ecu},
                                              {"memory", question_.memory},
                                              {"image_bytes", question_.image_bytes},
                                              {"first_address", question_.first_address},
                                              {"last_address", question_.last_address}});
  }

  const Surroundings& surroundings_;
  bool asks_;
  bool made_ = false;
  EraseQuestion question_;
};

void ReportBackup(Reporter& reporter, const std::string& path, const MemoryFile::Content& content) {
  reporter.Line(fmt::format("backup    {} in {} as {}", BytesText(content.bytes), path,
                            NameOf(content.format)));
  reporter.Event(EventKind::kBackup,
                 {{"file", path}, {"format", NameOf(content.format)}, {"bytes", content.bytes}});
}

/// Saves what is about to be erased. Raises ToolError if it is not on the disk.
void Save(MemoryFile& backup, const MemoryImage& memory, std::uint8_t fill, Reporter& reporter) {
  try {
    ReportBackup(reporter, backup.path(), backup.Write(memory, fill));
  } catch (const CannotWriteFile& error) {
    throw ToolError(ExitCode::kInputOutput, fmt::format("{}; nothing was erased", error.what()),
                    "make room on the disk, or name a file elsewhere");
  }
}

void ReportLines(Reporter& reporter, const Identification& identification) {
  reporter.Line(fmt::format("identification  {}", RecordText(identification.record)));
  if (identification.entries.empty()) {
    reporter.Line("no history");
    return;
  }
  std::size_t width = std::string_view("history").size();
  for (const auto& entry : identification.entries) {
    width = std::max(width, RecordText(entry.history).size());
  }
  reporter.Line(fmt::format("entry  {:<{}}  reprogramming", "history", width));
  std::size_t number = 0;
  for (const auto& entry : identification.entries) {
    reporter.Line(fmt::format("{:>5}  {:<{}}  {}", number++, RecordText(entry.history), width,
                              RecordText(entry.reprogramming)));
  }
}

Json HexOrNull(const Bytes& record) { return record.empty() ? Json() : Json(HexOf(record)); }

void ReportEvent(Reporter& reporter, const Identification& identification) {
  Json entries = Json::array();
  for (const auto& entry : identification.entries) {
    entries.push_back(
        {{"history", HexOrNull(entry.history)}, {"reprogramming", HexOrNull(entry.reprogramming)}});
  }
  reporter.Event(EventKind::kIdentification,
                 {{"record", HexOrNull(identification.record)}, {"entries", entries}});
}

}  // namespace

void AddEcuFlashOptions(CLI::App& app, FlashSettings& settings) {
  AddCuttingOptions(app, settings.transfer);
  AddEcuOptions(app, settings.link, settings.session);
  AddFlashOptions(app, settings.flash);
}

Profile SettingsOf(const FlashSettings& flash) {
  Profile settings = ProfileOf(flash.link, flash.session);
  for (const Setting& setting : ProfileOf(flash.transfer)) {
    settings.push_back(setting);
  }
  for (const Setting& setting : ProfileOf(flash.flash)) {
    settings.push_back(setting);
  }
  return settings;
}

FlashRun::FlashRun(const FlashSettings& settings)
    : FlashRun(settings, std::make_shared<Images>(ReadImagesOf(settings.transfer))) {}

FlashRun::FlashRun(FlashSettings settings, std::shared_ptr<const Images> images)
    : settings_(std::move(settings)), images_(std::move(images)) {
  CheckLinkOptions(settings_.link);
  CheckTransferOptions(settings_.transfer, settings_.link);
  CheckOutputs(InputsOf(settings_.transfer, settings_.session.profile),
               {{{"--backup", settings_.flash.backup}, OutputKind::kBackup},
                {{"--trace", settings_.recording.trace}, OutputKind::kFile},
                {{"--artifacts", settings_.recording.artifacts}, OutputKind::kFolder},
                {{"--records", FileOf(settings_.recording.records)}, OutputKind::kAddedTo}},
               ExistingWith(settings_.recording.force));
}

const DownloadPlan& FlashRun::Plan(const std::function<bool()>& stop_requested) {
  if (!plan_) {
    plan_ = PlanOf(ConfigOf(settings_), settings_.link.Speed(), images_->segments,
                   {.stop_requested = stop_requested});
  }
  return *plan_;
}

Json FlashRun::ToJson(const DownloadPlan& plan) const {
  Json blocks = Json::array();
  for (const AddressRange& block : plan.blocks) {
    blocks.push_back({block.start, block.count});
  }
  return {{"command", "flash"},
          {"image", PlannedImage(*images_)},
          {"memory", settings_.transfer.memory},
          {"fill", settings_.transfer.fill},
          {"fill_bytes", plan.fill_bytes()},
          {"sent_bytes", plan.sent_bytes},
          {"blocks", blocks},
          {"documents", plan.documents},
          {"wire_seconds", SecondsOf(plan.wire_time)},
          {"verify", settings_.flash.verify}};
}

void FlashRun::Run(const Surroundings& surroundings) {
  std::optional<MemoryFile> backup;
  if (!settings_.flash.backup.empty()) {
    backup.emplace(settings_.flash.backup, Existing::kKept);
  }
  Recording recording(settings_.recording, settings_.link, surroundings);
  recording.Run([&](const Surroundings& around) { Flash(backup, recording, around); },
                kFlashEffect);
}

void FlashRun::Flash(std::optional<MemoryFile>& backup, Recording& recording,
                     const Surroundings& surroundings) {
  Reporter& reporter = surroundings.reporter;
  ReportSettings(reporter, settings_);
  recording.Begin(RunOf("flash", *images_));
  if (recording.wants_plan()) {
    recording.Plan(ToJson(Plan(surroundings.stop_requested)));
  }
  Connection connection(settings_.link, settings_.session, ConfigOf(settings_), surroundings,
                        [&recording](Bus& bus) { return recording.Tap(bus); });
  recording.Follow(connection);
  ReportImages(reporter, *images_);
  connection.ShowProgress();
  Announcement announcement(surroundings, settings_, images_->segments);
  Programmer::ProgramOptions what{.verify = settings_.flash.verify};
  what.confirm = [&, is_checked = false](const Identification& ecu) mutable {
    if (!std::exchange(is_checked, true)) {
      CheckBattery(reporter, connection, settings_.flash.least_millivolts);
    }
    return announcement.Make(ecu);
  };
  std::string saved_in;
  if (backup) {
    what.backup = [&](const MemoryImage& memory) {
      Save(*backup, memory, settings_.transfer.fill, reporter);
      saved_in = backup->path();
    };
  }
  try {
    const auto memory = ImageOf(images_->segments, connection.platform());
    const ProgramResult result = connection.programmer().Program(memory, what);
    reporter.EndProgress();
    Report(reporter, result);
  } catch (const ProgrammingError& error) {
    Failure failure = error.failure();
    failure.backup = saved_in;
    throw ProgrammingError(failure);
  }
}

Identification Identify(const LinkOptions& link, const SessionOptions& session,
                        const Surroundings& surroundings) {
  CheckLinkOptions(link);
  Reporter& reporter = surroundings.reporter;
  Connection connection(link, session, MakeConfig(link, session), surroundings);
  Identification identification = connection.programmer().Identify();
  ReportLines(reporter, identification);
  if (link.form == TransportForm::kKLine) {
    reporter.Line("on a K line no more of the history can be read");
  }
  ReportEvent(reporter, identification);
  return identification;
}

}  // namespace quillmark::host
