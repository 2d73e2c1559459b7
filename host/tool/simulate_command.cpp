// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <vector>

#include "host/tool/choice.h"
#include "host/tool/command.h"
#include "host/tool/flash_file.h"
#include "host/tool/interrupt.h"
#include "host/tool/link_options.h"
#include "host/tool/number.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/files.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/host/simulator.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr NumberRange kSizeRange = {1, 0x1000000};

constexpr std::uint32_t kSlcanBaud = 115'200;

#if defined(_WIN32)
constexpr bool kHasPseudoTerminals = false;
#else
constexpr bool kHasPseudoTerminals = true;
#endif

struct SimulateCommandOptions {
  std::string bus;
  /// Empty for a pseudo-terminal.
  std::string port;
  LinkOptions link;
  std::uint8_t memory = 0;
  std::uint8_t check_routine = 0x02;
  std::uint32_t size = 0x100000;
  std::string memory_file;
  Faults faults;
};

bool IsKLine(const SimulateCommandOptions& options) { return options.bus == "kline"; }

EcuOptions EcuOptionsOf(const SimulateCommandOptions& options, Bytes first_cells) {
  EcuOptions ecu =
      SimulatedEcuFor(options.link, options.memory, options.check_routine, options.faults);
  ecu.areas.front().size = options.size;
  ecu.areas.front().first_cells = std::move(first_cells);
  // Neither a pseudo-terminal nor a serial port tells of a break.
  ecu.needs_break = false;
  return ecu;
}

std::unique_ptr<SimulatedAdapter> MakeAdapter(const SimulateCommandOptions& options,
                                              SimulatedWire& wire) {
  const WireSpeed speed = options.link.Speed();
  if (IsKLine(options)) {
    return CreateKLineAdapter(wire, speed);
  }
  return CreateSlcanAdapter(wire, speed.can_bit_rate);
}

/// The line to the tester, and what it opens; nothing for a port, whose other end has a name that
/// only its user knows.
struct OpenLine {
  std::unique_ptr<AdapterLine> line;
  std::string device{};
};

OpenLine OpenTheLine(const SimulateCommandOptions& options) {
#if !defined(_WIN32)
  if (options.port.empty()) {
    auto terminal = std::make_unique<PseudoTerminal>();
    std::string device = terminal->device();
    return {std::move(terminal), std::move(device)};
  }
#endif
  return {OpenAdapterLine(options.port,
                          IsKLine(options) ? options.link.Speed().k_line_baud : kSlcanBaud)};
}

std::string UriOf(const SimulateCommandOptions& options, const std::string& device) {
  const std::string uri = fmt::format("{}:{}", options.bus, device);
  if (!options.link.bit_rate) {
    return uri;
  }
  return fmt::format("{}?{}={}", uri, IsKLine(options) ? "baud" : "bitrate",
                     *options.link.bit_rate);
}

/// What a client has to be told that its defaults do not say.
std::vector<std::string> ArgumentsOfClient(const SimulateCommandOptions& options) {
  const SimulateCommandOptions defaults;
  const LinkOptions& link = options.link;
  std::vector<std::string> arguments;
  if (link.receive_id) {
    arguments.insert(arguments.end(), {"--ids", fmt::format("0x{:03X}", link.ReceiveId()),
                                       fmt::format("0x{:03X}", link.SendId())});
  }
  if (link.address) {
    arguments.insert(arguments.end(), {"--address", fmt::format("0x{:02X}", link.Address())});
  }
  if (link.block_size != defaults.link.block_size ||
      link.separation_time != defaults.link.separation_time) {
    arguments.insert(arguments.end(), {"--flow-control", std::to_string(link.block_size),
                                       std::to_string(link.separation_time)});
  }
  if (options.memory != defaults.memory) {
    arguments.insert(arguments.end(), {"--rl", fmt::format("0x{:02X}", options.memory)});
  }
  if (options.check_routine != defaults.check_routine) {
    arguments.insert(arguments.end(),
                     {"--routine", fmt::format("0x{:02X}", options.check_routine)});
  }
  return arguments;
}

void ReportReady(Reporter& reporter, const SimulateCommandOptions& options,
                 const std::string& device) {
  const std::string uri = UriOf(options, device.empty() ? "PORT" : device);
  const std::vector<std::string> arguments = ArgumentsOfClient(options);
  reporter.Line(device.empty()
                    ? fmt::format("port      {}; PORT is the other end of its cable", options.port)
                    : fmt::format("device    {}", device));
  reporter.Line(fmt::format("try       quillmark flash IMAGE --bus {}{}{}", uri,
                            arguments.empty() ? "" : " ", fmt::join(arguments, " ")));
  reporter.Event(
      EventKind::kReady,
      {{"device", device.empty() ? options.port : device}, {"bus", uri}, {"arguments", arguments}});
}

void Run(const SimulateCommandOptions& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CatchInterrupts();
  FlashFile file(options.memory_file, options.size);
  SimulatedEcu ecu(EcuOptionsOf(options, file.Load()));
  const auto save = [&] { file.Save(ecu); };
  save();
  SimulatedWire wire(ecu, options.link.Speed());
  wire.Select(ecu.exchange());
  wire.InjectFaults(InjectorOf(options.faults.wire));
  const auto adapter = MakeAdapter(options, wire);
  OpenLine open = OpenTheLine(options);
  ReportReady(reporter, options, open.device);
  if (!std::cout) {
    return;  // Nobody learns where the ECU is.
  }
  try {
    EcuServer(*open.line, wire, *adapter).Run({.stop_requested = Interrupted, .on_quiet = save});
  } catch (const BusError& error) {
    open.line.reset();
    reporter.Line(fmt::format("unplugged {}", error.what()));
  }
  save();
  const std::uint32_t blocks = ecu.blocks_written();
  reporter.Line(fmt::format("done      {} were written", CountText(blocks, "block")));
  reporter.Event(EventKind::kDone, {{"blocks", blocks}});
}

}  // namespace

void AddSimulateCommand(CLI::App& app, Command& command) {
  CLI::App& simulate = *app.add_subcommand(
      "simulate", kHasPseudoTerminals
                      ? "simulate an ECU behind a pseudo-terminal, in real time, until interrupted"
                      : "simulate an ECU behind a serial port, in real time, until interrupted");
  const auto options = std::make_shared<SimulateCommandOptions>();
  AddChoice<std::string>(
      simulate, "--bus", {{"slcan", "slcan"}, {"kline", "kline"}},
      [options](const std::string& bus) { options->bus = bus; }, "the adapter to simulate")
      ->required();
  simulate
      .add_option("--port", options->port,
                  kHasPseudoTerminals
                      ? "a serial port instead of the pseudo-terminal; a null-modem cable connects "
                        "it to that of the tester"
                      : "serial port; a null-modem cable connects it to that of the tester")
      ->type_name("DEVICE")
      ->required(!kHasPseudoTerminals);
  simulate
      .add_option("--memory", options->memory_file,
                  "keep the flash in this file from run to run, a raw binary from address 0")
      ->type_name("FILE");
  AddNumber(simulate, "--size", options->size, kSizeRange, "bytes of the flash; default 1048576");
  AddMemoryOption(simulate, options->memory);
  AddRoutineOption(simulate, options->check_routine);
  AddLinkOptions(simulate, options->link);
  simulate
      .add_option_function<std::vector<std::string>>(
          "--fault",
          [options](const std::vector<std::string>& texts) {
            options->faults = ParseFaults(texts);
          },
          fmt::format("inject a fault; may be given several times: {}", kFaultHelp))
      ->type_name("FAULT")
      ->expected(1)
      ->take_all();
  AddJsonOption(simulate, command);
  simulate.callback([options, &command] {
    const TransportForm form = IsKLine(*options) ? TransportForm::kKLine : TransportForm::kPlainCan;
    if (options->link.form_given && options->link.form != form) {
      throw CLI::ValidationError("--form",
                                 fmt::format("--bus {} decides on it, leave it out", options->bus));
    }
    options->link.form = form;
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
