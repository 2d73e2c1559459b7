// SPDX-License-Identifier: MIT
#include "host/tool/command_line.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace quillmark::host {

std::unique_ptr<CLI::App> MakeCommandLine(Command& command) {
  auto app = std::make_unique<CLI::App>("Reprograms ECUs: plans, writes, reads back and explains.",
                                        "quillmark");
  app->set_version_flag("--version", "quillmark " QUILLMARK_VERSION);
  app->require_subcommand(1);
  app->footer(ExitCodeHelp());
  AddFlashCommand(*app, command);
  AddVerifyCommand(*app, command);
  AddReadCommand(*app, command);
  AddIdentifyCommand(*app, command);
  AddProfileCommand(*app, command);
  AddPlanCommand(*app, command);
  AddCallsCommand(*app, command);
  AddDecodeCommand(*app, command);
  AddReportCommand(*app, command);
  AddSimulateCommand(*app, command);
  return app;
}

void AddJsonOption(CLI::App& app, Command& command) {
  app.add_flag("--json", command.json, "print a line of JSON for each event");
}

}  // namespace quillmark::host
