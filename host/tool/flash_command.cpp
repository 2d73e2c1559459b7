// SPDX-License-Identifier: MIT
#include <memory>

#include "host/tool/command.h"
#include "host/tool/ecu_run.h"
#include "host/tool/surroundings.h"

namespace quillmark::host {

void AddFlashCommand(CLI::App& app, Command& command) {
  CLI::App& flash = *app.add_subcommand("flash", "write an image into the ECU");
  const auto settings = std::make_shared<FlashSettings>();
  AddImageOptions(flash, settings->transfer);
  AddEcuFlashOptions(flash, *settings);
  AddRecordingOptions(flash, settings->recording, "--trace and --artifacts, never a backup");
  AddJsonOption(flash, command);
  flash.callback([settings, &command] {
    command.run = [settings](Reporter& reporter) {
      FlashRun run(*settings);
      run.Run(SurroundingsOfProcess(reporter, true));
    };
    command.effect = kFlashEffect;
  });
}

}  // namespace quillmark::host
