// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "host/station/job.h"
#include "host/tool/command.h"
#include "host/tool/ecu_run.h"
#include "host/tool/surroundings.h"
#include "host/tool/terminal.h"

namespace quillmark::host {
namespace {

/// Raises CLI::ValidationError for an option about one ECU.
void RequireOptionsOfAJob(const CLI::App& flash) {
  constexpr std::array<std::string_view, 7> kOptionsOfAJob{
      "--job", "--yes", "--artifacts", "--force", "--records", "--no-records", "--json"};
  for (const CLI::Option* const option : flash.get_options()) {
    const std::string name = option->get_name();
    if (option->count() > 0 &&
        std::find(kOptionsOfAJob.begin(), kOptionsOfAJob.end(), name) == kOptionsOfAJob.end()) {
      throw CLI::ValidationError(name, "not with --job, whose file has it for each bay");
    }
  }
}

ReportStyle StyleOf(const Command& command) {
  if (command.json) {
    return ReportStyle::kJson;
  }
  return IsTerminal(StandardStream::kOutput) ? ReportStyle::kTerminal : ReportStyle::kPlain;
}

}  // namespace

void AddFlashCommand(CLI::App& app, Command& command) {
  CLI::App& flash = *app.add_subcommand("flash", "write an image into the ECU");
  const auto settings = std::make_shared<FlashSettings>();
  const auto job = std::make_shared<std::string>();
  AddImageOptions(flash, settings->transfer);
  AddEcuFlashOptions(flash, *settings);
  flash
      .add_option_function<std::string>(
          "--job",
          [&flash, job](const std::string& file) {
            *job = file;
            flash.get_option("IMAGE")->required(false);
          },
          "flash several ECUs at once, as this JSON file says; artifacts are left in a folder for "
          "each bay")
      ->type_name("FILE");
  AddRecordingOptions(flash, settings->recording, "--trace and --artifacts, never a backup");
  AddJsonOption(flash, command);
  flash.callback([settings, job, &flash, &command] {
    if (!job->empty()) {
      RequireOptionsOfAJob(flash);
      command.run = [settings, job, &command](Reporter& /*reporter*/) {
        RunJob({*job, settings->flash.yes, settings->recording}, StyleOf(command));
      };
    } else {
      command.run = [settings](Reporter& reporter) {
        FlashRun(*settings).Run(SurroundingsOfProcess(reporter, true));
      };
    }
    command.effect = kFlashEffect;
  });
}

}  // namespace quillmark::host
