// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <array>
#include <iostream>
#include <string>

#include "host/tool/command.h"
#include "host/tool/printable_output.h"
#include "quillmark/host/adapter_list.h"

namespace quillmark::host {
namespace {

constexpr std::array<const char*, 3> kKindNames{"pass-thru", "serial-port", "can-interface"};

/// As a word of a command line, for the shell of the system.
std::string ShellWord(const std::string& text) {
#if defined(_WIN32)
  return text.find_first_of(" &|<>()^") == std::string::npos ? text : '"' + text + '"';
#else
  if (text.find_first_of(" \"'`$&|;<>()*[]{}!~#\\") == std::string::npos) {
    return text;
  }
  std::string quoted = "'";
  for (const char each : text) {
    quoted += each == '\'' ? std::string("'\\''") : std::string(1, each);
  }
  return quoted + '\'';
#endif
}

void ReportDevices(Reporter& reporter) {
  const AdapterList list = ListAdapters();
  for (const std::string& warning : list.warnings) {
    std::cerr << "quillmark: warning: " << OneLine(warning) << std::endl;
  }
  for (const AdapterEntry& entry : list.adapters) {
    reporter.Line(entry.description);
    for (const std::string& uri : entry.uris) {
      reporter.Line(fmt::format("  --bus {}", ShellWord(uri)));
    }
    reporter.Event(EventKind::kDevice,
                   {{"kind", kKindNames.at(static_cast<std::size_t>(entry.kind))},
                    {"description", entry.description},
                    {"buses", entry.uris}});
  }
  if (list.adapters.empty()) {
    reporter.Line("no adapter was found");
  }
}

}  // namespace

void AddDevicesCommand(CLI::App& app, Command& command) {
  CLI::App& devices = *app.add_subcommand(
      "devices",
      "list what may be an adapter: pass-thru libraries, serial ports and CAN interfaces");
  AddJsonOption(devices, command);
  devices.callback([&command] { command.run = ReportDevices; });
}

}  // namespace quillmark::host
