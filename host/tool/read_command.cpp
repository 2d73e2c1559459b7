// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "host/tool/command.h"
#include "host/tool/connection.h"
#include "host/tool/link_options.h"
#include "host/tool/memory_file.h"
#include "host/tool/number.h"
#include "host/tool/outputs.h"
#include "host/tool/profile.h"
#include "host/tool/recording.h"
#include "host/tool/session_options.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr const char* kReadEffect = "the memory itself was read and written to its file";

struct Range {
  std::int32_t start;
  std::int32_t count;
};

struct ReadCommandOptions {
  LinkOptions link;
  SessionOptions session;
  RecordingOptions recording;
  std::uint8_t memory = 0;
  std::uint8_t fill = 0xFF;
  std::vector<Range> ranges;
  std::string output;
};

constexpr const char* kRangeOption = "--range";

Range ParseRange(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    throw CLI::ValidationError(kRangeOption,
                               fmt::format("expected START:COUNT, found \"{}\"", text));
  }
  const std::int64_t start = ParseNumber(kRangeOption, text.substr(0, colon), kAddressRange);
  const std::int64_t count =
      ParseNumber(kRangeOption, text.substr(colon + 1), {1, kAddressRange.highest + 1 - start});
  return {static_cast<std::int32_t>(start), static_cast<std::int32_t>(count)};
}

void CheckRanges(std::vector<Range> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const Range& a, const Range& b) { return a.start < b.start; });
  const auto overlap = std::adjacent_find(
      ranges.begin(), ranges.end(),
      [](const Range& a, const Range& b) { return b.start < a.start + a.count; });
  if (overlap != ranges.end()) {
    throw CLI::ValidationError(
        kRangeOption, fmt::format("address 0x{:06X} is there twice", std::next(overlap)->start));
  }
}

void Report(Reporter& reporter, const ReadCommandOptions& options,
            const MemoryFile::Content& content) {
  const std::string_view format = NameOf(content.format);
  reporter.Line(
      fmt::format("read      {} to {} as {}", BytesText(content.bytes), options.output, format));
  if (content.filled_bytes > 0) {
    reporter.Line(fmt::format("          {} between the ranges filled with {:02X}",
                              BytesText(content.filled_bytes), options.fill));
  }
  reporter.Event(EventKind::kDone, {{"file", options.output},
                                    {"format", format},
                                    {"bytes", content.bytes},
                                    {"filled_bytes", content.filled_bytes}});
}

/// What is going to be done, for the artifacts.
Json PlanOf(const ReadCommandOptions& options) {
  Json ranges = Json::array();
  for (const Range& range : options.ranges) {
    ranges.push_back({range.start, range.count});
  }
  return {{"command", "read"},
          {"output", options.output},
          {"memory", options.memory},
          {"ranges", ranges}};
}

Profile SettingsOf(const ReadCommandOptions& options) {
  Profile settings = ProfileOf(options.link, options.session);
  settings.push_back(MemorySetting(options.memory));
  return settings;
}

void Read(const ReadCommandOptions& options, MemoryFile& file, Recording& recording,
          const Surroundings& surroundings) {
  Reporter& reporter = surroundings.reporter;
  ReportSettings(reporter, options);
  recording.Begin({.command = "read"});
  if (recording.wants_plan()) {
    recording.Plan(PlanOf(options));
  }
  ProgrammerConfig config = MakeConfig(options.link, options.session);
  config.memory = options.memory;
  Connection connection(options.link, options.session, config, surroundings,
                        [&recording](Bus& bus) { return recording.Tap(bus); });
  recording.Follow(connection);
  const auto map = connection.platform().CreateMemoryMap();
  for (const Range& range : options.ranges) {
    map->AddRange(range.start, range.count);
  }
  connection.ShowProgress();
  const auto image = connection.programmer().Read(map);
  reporter.EndProgress();
  Report(reporter, options, file.Write(*image, options.fill));
}

void Run(const ReadCommandOptions& options, Reporter& console) {
  CheckLinkOptions(options.link);
  CheckRanges(options.ranges);
  const Existing existing = ExistingWith(options.recording.force);
  CheckOutputs({{"--profile", options.session.profile}},
               {{{"-o", options.output}, OutputKind::kFile},
                {{"--trace", options.recording.trace}, OutputKind::kFile},
                {{"--artifacts", options.recording.artifacts}, OutputKind::kFolder},
                {{"--records", FileOf(options.recording.records)}, OutputKind::kAddedTo}},
               existing);
  MemoryFile file(options.output, existing);
  Recording recording(options.recording, options.link, SurroundingsOfProcess(console));
  recording.Run([&](const Surroundings& around) { Read(options, file, recording, around); },
                kReadEffect);
}

}  // namespace

void AddReadCommand(CLI::App& app, Command& command) {
  CLI::App& read = *app.add_subcommand("read", "read memory of the ECU into a file");
  const auto options = std::make_shared<ReadCommandOptions>();
  read.add_option_function<std::vector<std::string>>(
          kRangeOption,
          [options](const std::vector<std::string>& ranges) {
            for (const std::string& range : ranges) {
              options->ranges.push_back(ParseRange(range));
            }
          },
          "what to read; may be given several times")
      ->type_name("START:COUNT")
      ->required()
      ->take_all();
  read.add_option("-o,--output", options->output,
                  "the extension selects the format: .hex .ihex .ihx, .s19 .s28 .s37 .srec .mot "
                  ".sx .s, anything else raw binary")
      ->type_name("FILE")
      ->required();
  AddNumber(read, "--fill", options->fill, kByteRange,
            "byte for the gaps of a raw binary; default 0xFF");
  AddMemoryOption(read, options->memory);
  AddEcuOptions(read, options->link, options->session);
  AddRecordingOptions(read, options->recording, "-o, --trace and --artifacts");
  AddJsonOption(read, command);
  read.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
    command.effect = kReadEffect;
  });
}

}  // namespace quillmark::host
