// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "host/tool/exit_code.h"
#include "host/tool/reporter.h"

namespace quillmark::host {

/// The command that the command line chose.
struct Command {
  /// What was done, if the command itself succeeded and only reporting it failed; null for a
  /// command that does nothing but report.
  const char* effect = nullptr;
  /// Raises if it fails; see ReportCurrentException.
  std::function<void(Reporter&)> run;
  bool json = false;
};

/// Each adds one command to the command line; parsing it fills `command`.
void AddFlashCommand(CLI::App& app, Command& command);
void AddVerifyCommand(CLI::App& app, Command& command);
void AddReadCommand(CLI::App& app, Command& command);
void AddIdentifyCommand(CLI::App& app, Command& command);
void AddProfileCommand(CLI::App& app, Command& command);
void AddPlanCommand(CLI::App& app, Command& command);
void AddCallsCommand(CLI::App& app, Command& command);
void AddDecodeCommand(CLI::App& app, Command& command);
void AddHistoryCommand(CLI::App& app, Command& command);
void AddReportCommand(CLI::App& app, Command& command);
void AddDevicesCommand(CLI::App& app, Command& command);
void AddSimulateCommand(CLI::App& app, Command& command);
void AddConformanceCommand(CLI::App& app, Command& command);
void AddStationCommand(CLI::App& app, Command& command);

/// Adds --json.
void AddJsonOption(CLI::App& app, Command& command);

}  // namespace quillmark::host
