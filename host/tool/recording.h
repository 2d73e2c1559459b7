#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/bus/bus.h"
#include "host/tool/trace_file.h"

namespace quillmark::host {

/// What a command leaves behind for later.
struct RecordingOptions {
  std::string trace;
};

/// Adds --trace.
void AddRecordingOptions(CLI::App& app, RecordingOptions& options);

/// Records what a command does on a bus, as far as the options ask for it.
class Recording {
 public:
  /// Creates the files. Raises ToolError (cannot create) and CLI::ValidationError before anything
  /// is sent.
  Recording(const RecordingOptions& options, TransportForm form);

  /// The bus to use instead of `bus`; null where nothing is to be recorded. Neither `bus` nor the
  /// recording may end before it.
  [[nodiscard]] std::unique_ptr<Bus> Tap(Bus& bus);

  /// At the end of the work, whether it was done or not. Raises ToolError (input/output) where not
  /// everything could be written.
  void Close();

 private:
  std::optional<TraceFile> trace_;
};

}  // namespace quillmark::host
