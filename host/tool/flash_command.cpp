// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/tool/command.h"
#include "host/tool/confirmation.h"
#include "host/tool/connection.h"
#include "host/tool/exit_code.h"
#include "host/tool/image_report.h"
#include "host/tool/interrupt.h"
#include "host/tool/link_options.h"
#include "host/tool/memory_file.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/progress_text.h"
#include "host/tool/recording.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr const char* kFlashEffect = "the flash itself succeeded";

struct FlashCommandOptions {
  LinkOptions link;
  SessionOptions session;
  RecordingOptions recording;
  TransferOptions transfer;
  FlashOptions flash;
};

ProgrammerConfig ConfigOf(const FlashCommandOptions& options) {
  ProgrammerConfig config = MakeConfig(options.link, options.session);
  Apply(options.transfer, config);
  config.check_routine = options.flash.check_routine;
  config.log_record = options.flash.log_record;
  return config;
}

Profile SettingsOf(const FlashCommandOptions& options) {
  Profile settings = ProfileOf(options.link, options.session);
  for (const Setting& setting : ProfileOf(options.transfer)) {
    settings.push_back(setting);
  }
  settings.push_back(RoutineSetting(options.flash.check_routine));
  return settings;
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

/// What is going to be done, for the artifacts.
Json PlanOf(const FlashCommandOptions& options, const Images& images) {
  const DownloadPlan plan = PlanOf(ConfigOf(options), options.link.Speed(), images.segments);
  Json blocks = Json::array();
  for (const AddressRange& block : plan.blocks) {
    blocks.push_back({block.start, block.count});
  }
  return {{"command", "flash"},
          {"image", PlannedImage(images)},
          {"memory", options.transfer.memory},
          {"fill", options.transfer.fill},
          {"fill_bytes", plan.fill_bytes()},
          {"sent_bytes", plan.sent_bytes},
          {"blocks", blocks},
          {"documents", plan.documents},
          {"wire_seconds", SecondsOf(plan.wire_time)},
          {"verify", options.flash.verify}};
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
    throw ToolError(ExitCode::kUnavailable,
                    fmt::format("expected a battery of at least {}, but this adapter cannot tell "
                                "its voltage; nothing was erased",
                                VoltsText(*least_millivolts)),
                    "measure the voltage and leave out --min-voltage, or use another adapter");
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
  Announcement(Reporter& reporter, const FlashCommandOptions& options,
               const ImageSegments& segments)
      : reporter_(reporter),
        options_(options),
        segments_(segments),
        question_(!options.flash.yes) {}

  [[nodiscard]] Programmer::Answer Make(const Identification& identification) {
    if (!made_) {
      made_ = true;
      Tell(RecordText(identification.record));
    }
    return question_.Ask(subject_);
  }

 private:
  void Tell(const std::string& ecu) {
    const std::uint64_t bytes = SizeOf(segments_);
    const std::uint32_t first = segments_.front().address;
    const auto last =
        static_cast<std::uint32_t>(segments_.back().address + segments_.back().bytes.size() - 1);
    for (const std::string& line :
         {fmt::format("about to  erase memory {:02X} of {}", options_.transfer.memory, ecu),
          fmt::format("          and write {} into {:06X} to {:06X}", BytesText(bytes), first,
                      last)}) {
      reporter_.Line(line);
      subject_ += line + '\n';
    }
    reporter_.Event(EventKind::kAboutToErase, {{"ecu", ecu},
                                               {"memory", options_.transfer.memory},
                                               {"image_bytes", bytes},
                                               {"first_address", first},
                                               {"last_address", last}});
  }

  Reporter& reporter_;
  const FlashCommandOptions& options_;
  const ImageSegments& segments_;
  Confirmation question_;
  bool made_ = false;
  std::string subject_;
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

void Flash(const FlashCommandOptions& options, const Images& images,
           std::optional<MemoryFile>& backup, Recording& recording, Reporter& reporter) {
  ReportSettings(reporter, options);
  recording.Begin(RunOf("flash", images));
  if (recording.wants_plan()) {
    recording.Plan(PlanOf(options, images));
  }
  Connection connection(options.link, options.session, ConfigOf(options), reporter,
                        [&recording](Bus& bus) { return recording.Tap(bus); });
  recording.Follow(connection);
  ReportImages(reporter, images);
  connection.ShowProgress();
  Announcement announcement(reporter, options, images.segments);
  Programmer::ProgramOptions what{.verify = options.flash.verify};
  what.confirm = [&, is_checked = false](const Identification& ecu) mutable {
    if (!std::exchange(is_checked, true)) {
      CheckBattery(reporter, connection, options.flash.least_millivolts);
    }
    return announcement.Make(ecu);
  };
  std::string saved_in;
  if (backup) {
    what.backup = [&](const MemoryImage& memory) {
      Save(*backup, memory, options.transfer.fill, reporter);
      saved_in = backup->path();
    };
  }
  try {
    const auto memory = ImageOf(images.segments, connection.platform());
    const ProgramResult result = connection.programmer().Program(memory, what);
    reporter.EndProgress();
    Report(reporter, result);
  } catch (const ProgrammingError& error) {
    Failure failure = error.failure();
    failure.backup = saved_in;
    throw ProgrammingError(failure);
  }
}

void Run(const FlashCommandOptions& options, Reporter& console) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  const Images images = ReadImagesOf(options.transfer);
  CheckOutputs(InputsOf(options.transfer, options.session.profile),
               {{{"--backup", options.flash.backup}, OutputKind::kBackup},
                {{"--trace", options.recording.trace}, OutputKind::kFile},
                {{"--artifacts", options.recording.artifacts}, OutputKind::kFolder},
                {{"--records", FileOf(options.recording.records)}, OutputKind::kAddedTo}},
               ExistingWith(options.recording.force));
  std::optional<MemoryFile> backup;
  if (!options.flash.backup.empty()) {
    backup.emplace(options.flash.backup, Existing::kKept);
  }
  CatchInterrupts();
  Recording recording(options.recording, options.link, console);
  recording.Run([&](Reporter& reporter) { Flash(options, images, backup, recording, reporter); },
                kFlashEffect);
}

}  // namespace

void AddFlashCommand(CLI::App& app, Command& command) {
  CLI::App& flash = *app.add_subcommand("flash", "write an image into the ECU");
  const auto options = std::make_shared<FlashCommandOptions>();
  AddTransferOptions(flash, options->transfer);
  AddEcuOptions(flash, options->link, options->session);
  AddFlashOptions(flash, options->flash);
  AddRecordingOptions(flash, options->recording, "--trace and --artifacts, never a backup");
  AddJsonOption(flash, command);
  flash.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
    command.effect = kFlashEffect;
  });
}

}  // namespace quillmark::host
