// SPDX-License-Identifier: MIT
#include "host/pass_thru_simulator/settings.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>
#include <utility>

#include "host/tool/fault_option.h"
#include "host/tool/flash_file.h"
#include "host/tool/link_options.h"
#include "host/tool/number.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host::pass_thru {
namespace {

constexpr NumberRange kSizeRange = {1, 0x1000000};
constexpr NumberRange kMillivoltRange = {0, 60'000};
constexpr NumberRange kTimeRange = {0, 600'000};
constexpr NumberRange kBufferRange = {1, 100'000};
constexpr NumberRange kCallRange = {0, 1'000'000'000};
constexpr NumberRange kStatusRange = {1, 0xFF};

/// FUNCTION@CALL:STATUS
FailingCall ParseFailingCall(const std::string& text) {
  const std::size_t at = text.find('@');
  const std::size_t colon = text.rfind(':');
  if (at == std::string::npos || colon == std::string::npos || colon < at) {
    throw CLI::ValidationError("--fail", "expected FUNCTION@CALL:STATUS, found \"" + text + '"');
  }
  const std::string call = text.substr(at + 1, colon - at - 1);
  return {.function = text.substr(0, at),
          .call = static_cast<std::uint64_t>(ParseNumber("--fail", call, kCallRange)),
          .status = static_cast<std::uint32_t>(
              ParseNumber("--fail", text.substr(colon + 1), kStatusRange))};
}

struct EcuSettings {
  LinkOptions link;
  std::uint8_t memory = 0;
  std::uint8_t check_routine = 0x02;
  /// How long erase and check run; nothing: as long as a simulated ECU needs.
  std::optional<std::chrono::milliseconds> routine_time{};
  Faults faults;
};

void AddEcuOptions(CLI::App& app, EcuSettings& ecu) {
  AddLinkOptions(app, ecu.link);
  AddMemoryOption(app, ecu.memory);
  AddRoutineOption(app, ecu.check_routine);
  app.add_option_function<std::string>("--routine-time", [&ecu](const std::string& text) {
    ecu.routine_time = std::chrono::milliseconds(ParseNumber("--routine-time", text, kTimeRange));
  });
  app.add_option_function<std::vector<std::string>>(
         "--fault",
         [&ecu](const std::vector<std::string>& texts) { ecu.faults = ParseFaults(texts); })
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
}

void AddAdapterOptions(CLI::App& app, Settings& settings) {
  DeviceOptions& device = settings.device;
  AddNumber(app, "--millivolts", device.millivolts, kMillivoltRange, "of the battery");
  app.add_flag_callback("--no-battery", [&device] { device.millivolts.reset(); });
  app.add_flag("--fast", device.is_fast);
  app.add_flag("--keeps-parameters", device.keeps_parameters);
  app.add_flag_callback("--no-echoes", [&device] { device.echoes = false; });
  app.add_option_function<std::string>("--slow-write", [&device](const std::string& text) {
    device.slow_write = std::chrono::milliseconds(ParseNumber("--slow-write", text, kTimeRange));
  });
  AddNumber(app, "--receive-buffer", device.receive_buffer, kBufferRange, "in messages");
  app.add_option_function<std::vector<std::string>>(
         "--fail",
         [&settings](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             settings.failing.push_back(ParseFailingCall(text));
           }
         })
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  app.add_option("--report", settings.report);
  app.add_option("--memory", settings.memory_file);
  AddNumber(app, "--size", settings.size, kSizeRange, "of the flash");
}

}  // namespace

Settings ParseSettings(const std::string& words) {
  Settings settings;
  const auto ecu = std::make_shared<EcuSettings>();
  CLI::App app;
  AddEcuOptions(app, *ecu);
  AddAdapterOptions(app, settings);
  app.parse(words);
  settings.device.faults = ecu->faults.wire;
  settings.device.speed = ecu->link.Speed();
  const FlashFile file(settings.memory_file, settings.size);
  settings.device.ecu = [ecu, file, size = settings.size](TransportForm form) {
    LinkOptions link = ecu->link;
    link.form = form;
    EcuOptions options = SimulatedEcuFor(link, ecu->memory, ecu->check_routine, ecu->faults);
    options.timing.erase_time = ecu->routine_time.value_or(options.timing.erase_time);
    options.timing.check_time = ecu->routine_time.value_or(options.timing.check_time);
    options.areas.front().size = size;
    options.areas.front().first_cells = file.Load();
    return options;
  };
  return settings;
}

}  // namespace quillmark::host::pass_thru
