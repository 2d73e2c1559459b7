// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/fault_option.h"
#include "host/tool/link_options.h"
#include "quillmark/host/bytes.h"
#include "quillmark/host/open_bus.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/runner.h"

namespace quillmark::host {

/// The bus and what a session on it needs.
struct SessionOptions {
  /// The file that settings were taken from; empty if none was.
  std::string profile;
  BusUri bus;
  std::string bus_uri = "sim:";
  /// The identification that the ECU has to have, without padding; empty: any.
  Bytes expected_ecu;
  std::string key_command;
  std::chrono::milliseconds key_timeout{30'000};
  Faults faults;
  bool has_faults = false;
  RunnerTiming timing;
  RepetitionLimits repetition;
  std::chrono::milliseconds tester_present_interval{2000};
};

void AddSessionOptions(CLI::App& app, SessionOptions& options);

/// An identification as --expect-ecu takes it: as text if that gives these bytes back.
[[nodiscard]] std::string ExpectedEcuText(ByteView record);

/// Gives `link` the form that the bus carries where none was asked for. Raises CLI::ValidationError
/// for options that do not go with the bus.
void FitToBus(LinkOptions& link, const SessionOptions& session);

/// What a flash session does beside the transfer.
struct FlashOptions {
  std::uint8_t check_routine = 0x02;
  /// 48 bytes; nothing: no log zone is written.
  std::optional<Bytes> log_record;
  bool verify = false;
  bool yes = false;
  /// Below this voltage of the battery nothing is erased; nothing: at any.
  std::optional<std::uint32_t> least_millivolts;
  std::string backup;  ///< empty if none is wanted
};

void AddFlashOptions(CLI::App& app, FlashOptions& options);

/// Adds --routine alone.
void AddRoutineOption(CLI::App& app, std::uint8_t& routine);

/// Adds --min-voltage alone.
void AddVoltageOption(CLI::App& app, std::optional<std::uint32_t>& least_millivolts);

}  // namespace quillmark::host
