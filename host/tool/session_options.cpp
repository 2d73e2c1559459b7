// SPDX-License-Identifier: MIT
#include "host/tool/session_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

#include "host/tool/number.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kLogRecordSize = 48;
constexpr NumberRange kTimeRange = {1, 600'000};
constexpr NumberRange kRepeatRange = {0, 100};
constexpr NumberRange kWaitFrameRange = {0, 1'000'000};
constexpr NumberRange kPendingRange = {0, 1'000'000};
/// Where a log record or a voltage of the battery is not wanted.
constexpr std::string_view kNone = "none";
/// Before the bytes of an expected identification that is not text.
constexpr std::string_view kHexPrefix = "hex:";

// Readable text, so that a reader of the record sees which tool programmed the ECU.
Bytes DefaultLogRecord() {
  constexpr std::string_view kText = "PROGRAMMED BY QUILLMARK";
  Bytes record(kText.begin(), kText.end());
  record.resize(kLogRecordSize, ' ');
  return record;
}

std::optional<Bytes> ParseLogRecord(const std::string& text) {
  if (text == kNone) {
    return std::nullopt;
  }
  auto record = BytesOfHex(text);
  if (!record || record->size() != kLogRecordSize) {
    throw CLI::ValidationError("--log-record",
                               fmt::format("expected {} hexadecimal digits or \"{}\", found \"{}\"",
                                           2 * kLogRecordSize, kNone, text));
  }
  return record;
}

/// In millivolts; nothing if no voltage is asked for.
std::optional<std::uint32_t> ParseVoltage(const std::string& text) {
  constexpr double kLeastVolts = 0.001;
  constexpr double kMostVolts = 60;
  if (text == kNone) {
    return std::nullopt;
  }
  double volts = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), volts, std::chars_format::fixed);
  const bool is_number = error == std::errc() && end == text.data() + text.size();
  if (!is_number || !(volts >= kLeastVolts && volts <= kMostVolts)) {
    throw CLI::ValidationError(
        "--min-voltage", fmt::format("expected a voltage from {} to {} V, or {}, found \"{}\"",
                                     kLeastVolts, kMostVolts, kNone, text));
  }
  return static_cast<std::uint32_t>(std::lround(volts * 1000));
}

BusUri ParseBus(const std::string& uri) {
  try {
    return ParseBusUri(uri);
  } catch (const BusUriError& error) {
    throw CLI::ValidationError("--bus", error.what());
  }
}

Bytes ParseExpectedEcu(const std::string& text) {
  const bool is_hex = text.starts_with(kHexPrefix);
  const auto bytes = is_hex ? BytesOfHex(std::string_view(text).substr(kHexPrefix.size()))
                            : std::optional(Bytes(text.begin(), text.end()));
  const ByteView expected = WithoutPadding(bytes ? ByteView(*bytes) : ByteView());
  if (expected.empty()) {
    throw CLI::ValidationError(
        "--expect-ecu",
        fmt::format("expected the text of an identification, or hex: and its bytes in hexadecimal "
                    "digits, found \"{}\"",
                    text));
  }
  return {expected.begin(), expected.end()};
}

void AddExpectedEcuOption(CLI::App& app, SessionOptions& options) {
  app.add_option_function<std::string>(
         "--expect-ecu",
         [&options](const std::string& text) { options.expected_ecu = ParseExpectedEcu(text); },
         "the identification that the ECU must have, as identify prints it, or hex: and its bytes "
         "if that is no text; any other ECU is refused before anything is changed")
      ->type_name("TEXT");
}

void AddKeyOptions(CLI::App& app, SessionOptions& options) {
  app.add_option("--key-command", options.key_command,
                 "program that gets the seed as its last argument, in hexadecimal digits, and "
                 "prints the key, 2 to 5 bytes; only a simulated ECU needs none")
      ->type_name("COMMAND");
  AddTime(app, "--key-timeout", options.key_timeout, kTimeRange,
          "time after which the key command is ended and the flash fails");
}

void AddTimingOptions(CLI::App& app, SessionOptions& options) {
  AddTime(app, "--p2", options.timing.p2, kTimeRange, "how long the ECU may take to answer");
  AddTime(app, "--p2-star", options.timing.p2_star, kTimeRange,
          "the same after it has answered \"response pending\"");
  AddNumber(app, "--max-pending", options.timing.max_pending, kPendingRange,
            "how often \"response pending\" is accepted for one request; default 1000");
  AddNumber(app, "--repeat", options.repetition.most, kRepeatRange,
            "how often a request is sent again if its answer is missing or damaged; 0: never, also "
            "not if the ECU is busy; default 2");
  AddNumber(app, "--max-wait-frames", options.timing.max_wait_frames, kWaitFrameRange,
            "how many ISO 15765-2 flow controls \"wait\" may come in a row; default 10");
  AddTime(app, "--tester-present", options.tester_present_interval, kTimeRange,
          "time without a request after which the session is kept alive");
}

}  // namespace

void AddSessionOptions(CLI::App& app, SessionOptions& options) {
  app.add_option_function<std::string>(
         "--bus",
         [&options](const std::string& uri) {
           options.bus = ParseBus(uri);
           options.bus_uri = uri;
         },
         fmt::format("where the ECU is: {}; default sim:, which simulates one", kBusUriForms))
      ->type_name("URI");
  AddExpectedEcuOption(app, options);
  AddKeyOptions(app, options);
  app.add_option_function<std::vector<std::string>>(
         "--fault",
         [&options](const std::vector<std::string>& texts) {
           options.faults = ParseFaults(texts);
           options.has_faults = true;
         },
         fmt::format("inject a fault on sim:; may be given several times: {}", kFaultHelp))
      ->type_name("FAULT")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  AddTimingOptions(app, options);
}

std::string ExpectedEcuText(ByteView record) {
  record = WithoutPadding(record);
  const std::string text = RecordText(record);
  const bool reads_back = std::equal(text.begin(), text.end(), record.begin(), record.end()) &&
                          WithoutBlanks(text) == text && !text.starts_with(kHexPrefix);
  return reads_back ? text : std::string(kHexPrefix) + HexOf(record);
}

void FitToBus(LinkOptions& link, const SessionOptions& session) {
  if (session.bus.kind == BusKind::kSimulated) {
    return;
  }
  if (session.has_faults) {
    throw CLI::ValidationError("--fault", "only for --bus sim: and for quillmark simulate");
  }
  if (link.bit_rate) {
    throw CLI::ValidationError("--bitrate",
                               "only for --bus sim:, an adapter is told its own in its URI");
  }
  if (link.form_given && link.form == TransportForm::kGateway) {
    throw CLI::ValidationError("--form", "the gateway form runs on the simulator only, --bus sim:");
  }
  const bool k_line = session.bus.form == TransportForm::kKLine;
  if (link.form_given && (link.form == TransportForm::kKLine) != k_line) {
    throw CLI::ValidationError(
        "--form",
        fmt::format("this bus carries the form {} alone, leave it out", k_line ? "kline" : "can"));
  }
  link.form = session.bus.form;
}

void AddRoutineOption(CLI::App& app, std::uint8_t& routine) {
  AddNumber(app, "--routine", routine, kByteRange, "identifier of the check routine; default 2");
}

void AddVoltageOption(CLI::App& app, std::optional<std::uint32_t>& least_millivolts) {
  app.add_option_function<std::string>(
         "--min-voltage",
         [&least_millivolts](const std::string& text) { least_millivolts = ParseVoltage(text); },
         "refuse to erase below this voltage of the vehicle's battery, such as 11.5, and with an "
         "adapter that cannot tell it; none: at any, the default")
      ->type_name("VOLTS");
}

void AddFlashOptions(CLI::App& app, FlashOptions& options) {
  options.log_record = DefaultLogRecord();
  AddRoutineOption(app, options.check_routine);
  app.add_option_function<std::string>(
         "--log-record",
         [&options](const std::string& text) { options.log_record = ParseLogRecord(text); },
         "48 bytes for the log zone as hexadecimal digits, or none; default a text")
      ->type_name("HEX");
  app.add_flag("--verify", options.verify, "read the memory back and compare");
  app.add_option("--backup", options.backup,
                 "before the erase, read what the image will replace into this new file, in the "
                 "format of its extension as for read")
      ->type_name("FILE");
  AddVoltageOption(app, options.least_millivolts);
  app.add_flag("--yes", options.yes, "do not ask on a terminal before the ECU is erased");
}

}  // namespace quillmark::host
