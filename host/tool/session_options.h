#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/bus/bytes.h"

namespace quillmark::host {

/// The bus and what a session on it needs.
struct SessionOptions {
  std::string bus = "sim:";
  std::string key_command;
  std::vector<std::string> sim_faults;
};

void AddSessionOptions(CLI::App& app, SessionOptions& options);

/// What a flash session does beside the transfer.
struct FlashOptions {
  std::uint8_t check_routine = 0x02;
  /// 48 bytes; nothing: no log zone is written.
  std::optional<Bytes> log_record;
  bool verify = false;
};

void AddFlashOptions(CLI::App& app, FlashOptions& options);

}  // namespace quillmark::host
