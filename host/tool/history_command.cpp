// SPDX-License-Identifier: MIT
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/tool/command.h"
#include "host/tool/printable_output.h"
#include "host/tool/run_recorder.h"
#include "quillmark/host/records.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

using Time = std::chrono::system_clock::time_point;

struct HistoryCommandOptions {
  RecordsOptions records;
  RunFilter filter;
  bool csv = false;
  bool all_stations = false;
  bool forward = false;
  bool schema = false;
};

constexpr std::array kOutcomes{OutcomeState::kDone, OutcomeState::kFailed, OutcomeState::kCancelled,
                               OutcomeState::kUnfinished};

OutcomeState ParseOutcome(const std::string& text) {
  const auto* const found = std::find_if(kOutcomes.begin(), kOutcomes.end(),
                                         [&](OutcomeState state) { return NameOf(state) == text; });
  if (found == kOutcomes.end()) {
    throw CLI::ValidationError(
        "--outcome",
        fmt::format("expected done, failed, cancelled or unfinished, found \"{}\"", text));
  }
  return *found;
}

/// A date or a date with a time, in UTC; nothing for anything else.
std::optional<Time> TimeOf(const std::string& text, const char* format) {
  std::tm parts{};
  const char* const end = ::strptime(text.c_str(), format, &parts);
  if (end == nullptr || (*end != '\0' && std::string_view(end) != "Z")) {
    return std::nullopt;
  }
  const std::tm asked = parts;
  const std::time_t seconds = ::timegm(&parts);
  // A date that no calendar has becomes another.
  const bool exists = parts.tm_mday == asked.tm_mday && parts.tm_mon == asked.tm_mon;
  return exists ? std::optional(std::chrono::system_clock::from_time_t(seconds)) : std::nullopt;
}

/// A date alone means its beginning, or the end of that day for `day` 24 hours.
Time ParseTime(const char* option, const std::string& text, std::chrono::hours day) {
  if (const auto date = TimeOf(text, "%Y-%m-%d")) {
    return *date + day;
  }
  for (const char* const format : {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M"}) {
    if (const auto time = TimeOf(text, format)) {
      return *time;
    }
  }
  throw CLI::ValidationError(
      option, fmt::format("expected a date such as 2026-11-22 or 2026-11-22T18:30, in UTC, found "
                          "\"{}\"",
                          text));
}

std::string TextOf(Time time) {
  const auto thousandths =
      std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(time)), thousandths);
}

Json ToJson(const RunRecord& run) {
  Json phases = Json::array();
  for (const PhaseTimes& phase : run.phases) {
    phases.push_back({{"phase", phase.name},
                      {"began", SecondsOf(phase.began)},
                      {"ended", SecondsOf(phase.ended)}});
  }
  return {{"id", run.id},
          {"started", TextOf(run.started)},
          {"command", run.command},
          {"outcome", NameOf(run.outcome)},
          {"message", run.message},
          {"seconds", SecondsOf(run.time)},
          {"station", run.station},
          {"bay", run.bay},
          {"bus", run.bus},
          {"ecu", run.ecu},
          {"images", run.images},
          {"image_sha256", run.image_sha256},
          {"settings", run.settings},
          {"phases", phases},
          {"version", run.version},
          {"artifacts", run.artifacts.string()}};
}

/// A cell of a table as RFC 4180 has it. A spreadsheet takes a text that begins like a formula for
/// one, and may run it: an apostrophe before it makes it text.
std::string CellOf(std::string_view text) {
  std::string cell = "\"";
  if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos) {
    cell += '\'';
  }
  for (const char character : text) {
    cell.append(character == '"' ? 2 : 1, character);
  }
  return cell + '"';
}

std::string PhasesText(const RunRecord& run) {
  std::vector<std::string> phases;
  for (const PhaseTimes& phase : run.phases) {
    phases.push_back(fmt::format("{} {}", phase.name, SecondsOf(phase.ended - phase.began)));
  }
  return fmt::format("{}", fmt::join(phases, "; "));
}

void PrintRow(const std::vector<std::string>& texts) {
  std::vector<std::string> cells(texts.size());
  std::transform(texts.begin(), texts.end(), cells.begin(), CellOf);
  std::cout << fmt::format("{}", fmt::join(cells, ",")) << TerminalControl{"\r"} << '\n';
}

void PrintTable(const std::vector<RunRecord>& runs) {
  PrintRow({"id", "started", "command", "outcome", "message", "seconds", "station", "bay", "bus",
            "ecu", "images", "image_sha256", "settings", "phases", "version", "artifacts"});
  for (const RunRecord& run : runs) {
    PrintRow({run.id, TextOf(run.started), run.command, std::string(NameOf(run.outcome)),
              run.message, fmt::format("{}", SecondsOf(run.time)), run.station, run.bay, run.bus,
              run.ecu, fmt::format("{}", fmt::join(run.images, "; ")), run.image_sha256,
              fmt::format("{}", fmt::join(run.settings, "; ")), PhasesText(run), run.version,
              run.artifacts.string()});
  }
}

void Print(const RunRecord& run, bool with_station, Reporter& reporter) {
  const std::string started = TextOf(run.started).substr(0, sizeof "2026-11-22T18:30:00" - 1);
  const std::string station = run.station.empty() ? "-" : run.station;
  reporter.Line(fmt::format("{}Z  {:10}  {:6}  {:>9}  {}{}{}{}", started, NameOf(run.outcome),
                            run.command, run.time.count() > 0 ? TimeText(run.time) : "-",
                            with_station ? station + "  " : "", run.ecu.empty() ? "-" : run.ecu,
                            run.images.empty() ? "" : "  ", fmt::join(run.images, ", ")));
  if (!run.message.empty()) {
    reporter.Line("                      " + run.message);
  }
  reporter.Event(EventKind::kRun, ToJson(run));
}

/// Null where nothing was ever recorded.
std::unique_ptr<RunRecords> RecordsOf(const HistoryCommandOptions& options) {
  const std::string file = FileOf(options.records);
  if (options.records.file.empty() && !std::filesystem::exists(file)) {
    return nullptr;
  }
  return std::make_unique<RunRecords>(file, RunRecords::Use::kRead);
}

/// Raises what `use` raises on records as ToolError.
template <typename Use>
auto WithFile(const HistoryCommandOptions& options, Use use) {
  try {
    const auto records = RecordsOf(options);
    return use(records.get());
  } catch (const DamagedRecords& error) {
    throw ToolError(ExitCode::kData, error.what(),
                    "the next run that is recorded there keeps the file under another name, and "
                    "begins a new one");
  } catch (const RecordsError& error) {
    throw ToolError(ExitCode::kNoInput, error.what(), "name a file that --records wrote");
  }
}

/// Calls `use` with the server that the options name.
template <typename Use>
auto WithServer(const HistoryCommandOptions& options, const char* option, Use use) {
  if (options.records.server.empty()) {
    throw CLI::ValidationError(
        option, "expected --records postgresql://HOST/DATABASE as well, found no server");
  }
  try {
    StationRecords server(options.records.server);
    return use(server);
  } catch (const RecordsError& error) {
    throw ToolError(
        ExitCode::kUnavailable, error.what(),
        "look after the server and the connection to it; what is recorded here is kept");
  }
}

void Forward(const HistoryCommandOptions& options, Reporter& reporter) {
  const std::size_t count = WithFile(options, [&options](RunRecords* records) {
    return WithServer(options, "--forward", [records](StationRecords& server) {
      return records == nullptr ? 0 : records->ForwardTo(server);
    });
  });
  reporter.Line("forwarded " + CountText(count, "run"));
}

std::vector<RunRecord> RunsOf(const HistoryCommandOptions& options) {
  if (options.all_stations) {
    return WithServer(options, "--all-stations",
                      [&options](StationRecords& server) { return server.Find(options.filter); });
  }
  return WithFile(options, [&options](const RunRecords* records) {
    return records == nullptr ? std::vector<RunRecord>{} : records->Find(options.filter);
  });
}

void Run(const HistoryCommandOptions& options, Reporter& reporter) {
  if (options.schema) {
    std::cout << StationRecords::Schema();
    return;
  }
  if (options.forward) {
    Forward(options, reporter);
    return;
  }
  const std::vector<RunRecord> runs = RunsOf(options);
  if (options.csv) {
    PrintTable(runs);
    return;
  }
  for (const RunRecord& run : runs) {
    Print(run, options.all_stations, reporter);
  }
  if (runs.empty()) {
    reporter.Line("no run fits");
  }
}

}  // namespace

void AddHistoryCommand(CLI::App& app, Command& command) {
  CLI::App& history =
      *app.add_subcommand("history", "list the recorded runs of flash, verify and read");
  const auto options = std::make_shared<HistoryCommandOptions>();
  AddRecordsOption(history, options->records);
  RunFilter& filter = options->filter;
  CLI::Option* const all_stations =
      history.add_flag("--all-stations", options->all_stations,
                       "the runs of all stations, from the server that --records names");
  CLI::Option* const forward = history.add_flag(
      "--forward", options->forward, "send what the server does not have yet, and list nothing");
  CLI::Option* const schema = history.add_flag(
      "--schema", options->schema, "print the SQL that makes the tables of a server, for psql");
  all_stations->excludes(forward)->excludes(schema);
  forward->excludes(schema);
  history.add_option("--station", filter.station, "a part of the name of the station")
      ->type_name("TEXT");
  history.add_option("--ecu", filter.ecu, "a part of the identification of the ECU")
      ->type_name("TEXT");
  history.add_option("--image", filter.image, "a part of the name of an image, or of its SHA-256")
      ->type_name("TEXT");
  history
      .add_option_function<std::string>(
          "--outcome", [&filter](const std::string& text) { filter.outcome = ParseOutcome(text); },
          "done, failed, cancelled or unfinished")
      ->type_name("OUTCOME");
  history
      .add_option_function<std::string>(
          "--since",
          [&filter](const std::string& text) {
            filter.since = ParseTime("--since", text, std::chrono::hours(0));
          },
          "started on this day or later; DATE or DATETHH:MM, in UTC")
      ->type_name("DATE");
  history
      .add_option_function<std::string>(
          "--until",
          [&filter](const std::string& text) {
            filter.until = ParseTime("--until", text, std::chrono::hours(24));
          },
          "started on this day or earlier; with a time, before it")
      ->type_name("DATE");
  history.add_option("--search", filter.text, "a part of anything that is recorded of the run")
      ->type_name("TEXT");
  history
      .add_option_function<std::size_t>(
          "--last", [&filter](std::size_t most) { filter.most = most; },
          "at most this many, the last ones")
      ->type_name("COUNT");
  CLI::Option* const csv =
      history.add_flag("--csv", options->csv, "print a table of comma-separated values (RFC 4180)");
  AddJsonOption(history, command);
  history.get_option("--json")->excludes(csv);
  history.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
