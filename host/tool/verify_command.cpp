// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>

#include "host/tool/command.h"
#include "host/tool/connection.h"
#include "host/tool/image_report.h"
#include "host/tool/link_options.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/progress_text.h"
#include "host/tool/recording.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr const char* kVerifyEffect = "the memory was read back and found equal";

struct VerifyCommandOptions {
  LinkOptions link;
  SessionOptions session;
  RecordingOptions recording;
  TransferOptions transfer;
};

Profile SettingsOf(const VerifyCommandOptions& options) {
  Profile settings = ProfileOf(options.link, options.session);
  settings.push_back(MemorySetting(options.transfer.memory));
  return settings;
}

/// What is going to be done, for the artifacts.
Json PlanOf(const VerifyCommandOptions& options, const Images& images) {
  return {
      {"command", "verify"}, {"image", PlannedImage(images)}, {"memory", options.transfer.memory}};
}

void Report(Reporter& reporter, const ProgramResult& result) {
  const std::string ecu = RecordText(result.identification.record);
  reporter.Line(fmt::format("ecu       {}", ecu));
  reporter.Line(
      fmt::format("verify    {} read back and found equal", BytesText(result.verified_bytes)));
  if (result.repeated > 0) {
    reporter.Line("again     " + RepeatedText(result.repeated));
  }
  reporter.Line(fmt::format("done      in {} of bus time", TimeText(result.total_time)));
  reporter.Event(EventKind::kDone, {{"ecu", ecu},
                                    {"verified_bytes", result.verified_bytes},
                                    {"seconds", SecondsOf(result.total_time)},
                                    {"repeated", result.repeated},
                                    {"passed_over", result.passed_over}});
}

void Verify(const VerifyCommandOptions& options, const Images& images, Recording& recording,
            const Surroundings& surroundings) {
  Reporter& reporter = surroundings.reporter;
  ReportSettings(reporter, options);
  recording.Begin(RunOf("verify", images));
  if (recording.wants_plan()) {
    recording.Plan(PlanOf(options, images));
  }
  ProgrammerConfig config = MakeConfig(options.link, options.session);
  config.memory = options.transfer.memory;
  Connection connection(options.link, options.session, config, surroundings,
                        [&recording](Bus& bus) { return recording.Tap(bus); });
  recording.Follow(connection);
  ReportImages(reporter, images);
  connection.ShowProgress();
  const ProgramResult result =
      connection.programmer().Verify(ImageOf(images.segments, connection.platform()));
  reporter.EndProgress();
  Report(reporter, result);
}

void Run(const VerifyCommandOptions& options, Reporter& console) {
  CheckLinkOptions(options.link);
  const Images images = ReadImagesOf(options.transfer);
  CheckOutputs(InputsOf(options.transfer, options.session.profile),
               {{{"--trace", options.recording.trace}, OutputKind::kFile},
                {{"--artifacts", options.recording.artifacts}, OutputKind::kFolder},
                {{"--records", FileOf(options.recording.records)}, OutputKind::kAddedTo}},
               ExistingWith(options.recording.force));
  Recording recording(options.recording, options.link, SurroundingsOfProcess(console));
  recording.Run([&](const Surroundings& around) { Verify(options, images, recording, around); },
                kVerifyEffect);
}

}  // namespace

void AddVerifyCommand(CLI::App& app, Command& command) {
  CLI::App& verify =
      *app.add_subcommand("verify", "read the memory of the ECU back and compare it with an image");
  const auto options = std::make_shared<VerifyCommandOptions>();
  AddImageOptions(verify, options->transfer);
  AddMemoryOption(verify, options->transfer.memory);
  AddEcuOptions(verify, options->link, options->session);
  AddRecordingOptions(verify, options->recording, "--trace and --artifacts");
  AddJsonOption(verify, command);
  verify.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
    command.effect = kVerifyEffect;
  });
}

}  // namespace quillmark::host
