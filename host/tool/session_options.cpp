#include "host/tool/session_options.h"

#include <fmt/format.h>

#include <string_view>

#include "host/tool/number.h"
#include "host/tool/sim_fault.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kLogRecordSize = 48;
constexpr std::string_view kNoLogRecord = "none";

// Readable text, so that whoever reads the record sees which tool programmed the ECU.
Bytes DefaultLogRecord() {
  constexpr std::string_view kText = "PROGRAMMED BY QUILLMARK";
  Bytes record(kText.begin(), kText.end());
  record.resize(kLogRecordSize, ' ');
  return record;
}

std::optional<Bytes> ParseLogRecord(const std::string& text) {
  if (text == kNoLogRecord) {
    return std::nullopt;
  }
  auto record = BytesOfHex(text);
  if (!record || record->size() != kLogRecordSize) {
    throw CLI::ValidationError("--log-record",
                               fmt::format("expected {} hexadecimal digits or \"{}\", found \"{}\"",
                                           2 * kLogRecordSize, kNoLogRecord, text));
  }
  return record;
}

}  // namespace

void AddSessionOptions(CLI::App& app, SessionOptions& options) {
  app.add_option("--bus", options.bus, "where the ECU is; sim: (default) simulates one")
      ->type_name("URI");
  app.add_option("--key-command", options.key_command,
                 "program that gets the seed as its last argument, in hexadecimal digits, and "
                 "prints the key, 2 to 5 bytes; default on sim: what the simulated ECU wants")
      ->type_name("COMMAND");
  app.add_option("--sim-fault", options.sim_faults,
                 fmt::format("what the simulated ECU does wrong: {}", kSimFaultHelp))
      ->type_name("FAULT")
      ->expected(1)
      ->take_all();
}

void AddFlashOptions(CLI::App& app, FlashOptions& options) {
  options.log_record = DefaultLogRecord();
  AddNumber(app, "--routine", options.check_routine, kByteRange,
            "identifier of the check routine; default 2");
  app.add_option_function<std::string>(
         "--log-record",
         [&options](const std::string& text) { options.log_record = ParseLogRecord(text); },
         "48 bytes for the log zone as hexadecimal digits, or none; default a text")
      ->type_name("HEX");
  app.add_flag("--verify", options.verify, "read the memory back and compare");
}

}  // namespace quillmark::host
