// SPDX-License-Identifier: MIT
#include "quillmark/host/artifacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/artifacts/json_field.h"
#include "quillmark/host/text.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {
namespace {

/// Each takes what is there and raises DamagedArtifacts for a member that is not what it should be.
[[nodiscard]] CommandPlan PlanOf(const JsonField& object);
[[nodiscard]] CommandResult ResultOf(const JsonField& object);

/// What a log says about a command that did not reach its result, line by line.
class LogReader {
 public:
  void Add(const JsonField& event);

  /// An unfinished result: the phases, the ECU, and how far the command got.
  [[nodiscard]] CommandResult result() const;

 private:
  void AddPhase(const std::string& name);

  CommandResult result_{};
  std::string error_{};
  std::uint64_t bytes_done_ = 0;
  std::uint64_t bytes_total_ = 0;
};

constexpr std::uint64_t kAddressEnd = 0x1000000;
constexpr std::uint64_t kLastIdentifier = 0x1FFFFFFF;
constexpr std::uint64_t kHighestBitRate = 100'000'000;
/// What fits into the answer of an adapter.
constexpr std::uint64_t kMostMillivolts = 0xFFFFFFFF;
/// A flash may read everything twice and send it once.
constexpr std::uint64_t kMostBytes = 4 * kAddressEnd;

void ReadText(const JsonField& object, const char* key, std::string& text) {
  if (const auto member = object.Member(key)) {
    text = member->Text();
  }
}

void ReadTexts(const JsonField& object, const char* key, std::vector<std::string>& texts) {
  if (const auto member = object.Member(key)) {
    for (const JsonField& element : member->Elements()) {
      texts.push_back(element.Text());
    }
  }
}

void ReadCount(const JsonField& object, const char* key, std::uint64_t& count) {
  if (const auto member = object.Member(key)) {
    count = member->Number(0, kMostBytes);
  }
}

std::optional<std::uint32_t> NumberOf(const JsonField& object, const char* key,
                                      std::uint64_t lowest, std::uint64_t highest) {
  const auto member = object.Member(key);
  return member ? std::optional(static_cast<std::uint32_t>(member->Number(lowest, highest)))
                : std::nullopt;
}

AddressRange RangeOf(const std::vector<JsonField>& numbers) {
  const std::uint64_t start = numbers[0].Number(0, kAddressEnd - 1);
  const std::uint64_t count = numbers[1].Number(0, kAddressEnd - start);
  return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(count)};
}

/// Lists of an address and a count; of a file that was cut off the last one may lack its count.
void ReadRanges(const JsonField& object, const char* key, std::vector<AddressRange>& ranges) {
  const auto member = object.Member(key);
  if (!member) {
    return;
  }
  for (const JsonField& range : member->Elements()) {
    if (const std::vector<JsonField> numbers = range.Elements(); numbers.size() >= 2) {
      ranges.push_back(RangeOf(numbers));
    }
  }
}

template <typename Value, std::size_t kCount>
Value ChoiceOf(const JsonField& word,
               const std::array<std::pair<const char*, Value>, kCount>& choices) {
  std::string expected;
  for (const auto& [name, value] : choices) {
    if (word.Text() == name) {
      return value;
    }
    expected += (expected.empty() ? "" : " or ") + std::string(name);
  }
  word.Refuse(expected);
}

constexpr std::array<std::pair<const char*, PlannedCommand>, 3> kCommands{
    {{"flash", PlannedCommand::kFlash},
     {"verify", PlannedCommand::kVerify},
     {"read", PlannedCommand::kRead}}};
constexpr std::array<std::pair<const char*, OutcomeState>, 4> kOutcomes{
    {{"done", OutcomeState::kDone},
     {"failed", OutcomeState::kFailed},
     {"cancelled", OutcomeState::kCancelled},
     {"unfinished", OutcomeState::kUnfinished}}};

TransportForm FormOf(const JsonField& word) {
  constexpr std::array kForms{TransportForm::kPlainCan, TransportForm::kGateway,
                              TransportForm::kKLine};
  std::array<std::pair<const char*, TransportForm>, kForms.size()> choices;
  std::transform(kForms.begin(), kForms.end(), choices.begin(),
                 [](TransportForm form) { return std::pair(NameOf(form), form); });
  return ChoiceOf(word, choices);
}

PhaseTimes PhaseOf(const JsonField& object) {
  PhaseTimes phase;
  ReadText(object, "phase", phase.name);
  if (const auto began = object.Member("began")) {
    phase.began = began->Time();
  }
  const auto ended = object.Member("ended");
  phase.ended = ended ? ended->Time() : phase.began;
  return phase;
}

AdapterVersions VersionsOf(const JsonField& object) {
  AdapterVersions versions;
  ReadText(object, "firmware", versions.firmware);
  ReadText(object, "library", versions.library);
  ReadText(object, "api", versions.api);
  return versions;
}

CommandPlan PlanOf(const JsonField& object) {
  CommandPlan plan;
  if (const auto command = object.Member("command")) {
    plan.command = ChoiceOf(*command, kCommands);
  }
  if (const auto form = object.Member("form")) {
    plan.form = FormOf(*form);
  }
  ReadText(object, "started", plan.started);
  ReadText(object, "version", plan.version);
  ReadText(object, "bus", plan.bus);
  ReadText(object, "output", plan.output);
  plan.receive = NumberOf(object, "receive", 0, kLastIdentifier);
  plan.send = NumberOf(object, "send", 0, kLastIdentifier);
  plan.bit_rate = NumberOf(object, "bit_rate", 1, kHighestBitRate);
  if (const auto fill = object.Member("fill")) {
    plan.fill = static_cast<std::uint8_t>(fill->Number(0, 0xFF));
  }
  if (const auto image = object.Member("image")) {
    ReadTexts(*image, "files", plan.image_files);
    ReadText(*image, "sha256", plan.image_sha256);
    ReadCount(*image, "bytes", plan.image_bytes);
    ReadRanges(*image, "segments", plan.segments);
  }
  ReadRanges(object, "blocks", plan.blocks);
  ReadRanges(object, "ranges", plan.ranges);
  return plan;
}

CommandResult ResultOf(const JsonField& object) {
  CommandResult result;
  if (const auto outcome = object.Member("outcome")) {
    result.state = ChoiceOf(*outcome, kOutcomes);
  }
  ReadText(object, "message", result.message);
  ReadText(object, "ecu", result.ecu);
  if (const auto adapter = object.Member("adapter")) {
    result.adapter = VersionsOf(*adapter);
  }
  result.battery_millivolts = NumberOf(object, "battery_millivolts", 0, kMostMillivolts);
  ReadText(object, "ecu_state", result.ecu_state);
  ReadText(object, "next", result.next);
  ReadText(object, "read_back_sha256", result.read_back_sha256);
  ReadCount(object, "bytes", result.bytes);
  ReadCount(object, "sent_bytes", result.sent_bytes);
  ReadCount(object, "verified_bytes", result.verified_bytes);
  if (const auto seconds = object.Member("seconds")) {
    result.time = seconds->Time();
  }
  if (const auto phases = object.Member("phases")) {
    for (const JsonField& phase : phases->Elements()) {
      result.phases.push_back(PhaseOf(phase));
    }
  }
  return result;
}

void LogReader::Add(const JsonField& event) {
  std::string name;
  ReadText(event, "event", name);
  ReadText(event, "ecu", result_.ecu);
  const auto at = event.Member(name == "progress" ? "seconds" : "at");
  const Duration time = at ? at->Time() : result_.time;
  // Not before the last one: so the phases stay in order.
  result_.time = std::max(result_.time, time);
  if (name == "adapter") {
    result_.adapter = VersionsOf(event);
  }
  if (name == "battery") {
    result_.battery_millivolts = NumberOf(event, "millivolts", 0, kMostMillivolts);
  }
  if (name == "error") {
    ReadText(event, "message", error_);
  }
  if (name == "progress") {
    ReadCount(event, "bytes", bytes_done_);
    ReadCount(event, "total", bytes_total_);
  }
  if (const auto phase = event.Member("phase")) {
    AddPhase(phase->Text());
  }
}

void LogReader::AddPhase(const std::string& name) {
  std::vector<PhaseTimes>& phases = result_.phases;
  if (phases.empty() || phases.back().name != name) {
    phases.push_back({name, result_.time, result_.time});
  }
}

CommandResult LogReader::result() const {
  CommandResult result = result_;
  std::vector<PhaseTimes>& phases = result.phases;
  for (std::size_t i = 0; i < phases.size(); ++i) {
    phases[i].ended = i + 1 < phases.size() ? phases[i + 1].began : result.time;
  }
  if (!error_.empty()) {
    result.message = "after the error: " + error_;
  } else if (!phases.empty()) {
    result.message = "in phase " + phases.back().name;
    if (bytes_total_ > 0) {
      result.message +=
          fmt::format(", {} of {} done", WithThousands(bytes_done_), BytesText(bytes_total_));
    }
  }
  return result;
}

namespace fs = std::filesystem;
using Warnings = std::vector<std::string>;

constexpr std::uintmax_t kMebi = std::uintmax_t{1024} * 1024;
constexpr std::uintmax_t kLargestText = 64 * kMebi;
constexpr const char* kGoesOn = "the report goes as far as what comes before";

void WarnOfMissing(const char* file, Warnings& warnings) {
  warnings.push_back(fmt::format("{} is missing", file));
}

nlohmann::json ObjectIn(const std::optional<std::string>& text, const char* file,
                        Warnings& warnings) {
  if (!text) {
    WarnOfMissing(file, warnings);
    return nlohmann::json::object();
  }
  PartialJson parsed = ParseAsFarAsItGoes(*text, file);
  if (parsed.cut_off) {
    warnings.push_back(
        fmt::format("{} is cut off or damaged behind byte {}; {}", file, *parsed.cut_off, kGoesOn));
  }
  return std::move(parsed.json);
}

CommandResult ReadLog(const std::optional<std::string>& text, Warnings& warnings) {
  if (!text) {
    WarnOfMissing(artifact::kLog, warnings);
    return {};
  }
  LogReader log;
  std::string_view rest = *text;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::optional<nlohmann::json> event = ParseLine(line);
    const std::string place = fmt::format("{}: line {}", artifact::kLog, number);
    if (!event) {
      warnings.push_back(fmt::format("{} is cut off or damaged; {}", place, kGoesOn));
      break;
    }
    log.Add(JsonField(*event, place));
  }
  return log.result();
}

/// The log counts if there is no outcome.
CommandResult ReadResult(const ArtifactFiles& files, Warnings& warnings) {
  const CommandResult told = ReadLog(files.log, warnings);
  if (!files.result) {
    return told;
  }
  const nlohmann::json object = ObjectIn(files.result, artifact::kResult, warnings);
  const CommandResult result = ResultOf(JsonField(object, artifact::kResult));
  return result.state == OutcomeState::kUnfinished ? told : result;
}

/// The roles of the identifiers, if the trace does not tell them.
std::optional<Exchange> ExchangeOf(const CommandPlan& plan) {
  if (plan.form != TransportForm::kPlainCan || !plan.receive || !plan.send) {
    return std::nullopt;
  }
  return Exchange{TransportForm::kPlainCan, *plan.receive, *plan.send};
}

bool EndsInsideALine(std::istream& in) {
  in.clear();
  in.seekg(-1, std::ios::end);
  return in.get() != '\n';
}

Trace ReadTraceFile(std::istream* in, const CommandPlan& plan, Warnings& warnings) {
  Trace trace{.exchange = ExchangeOf(plan).value_or(
                  Exchange{.form = plan.form.value_or(TransportForm::kPlainCan)})};
  if (in == nullptr) {
    WarnOfMissing(artifact::kTrace, warnings);
    return trace;
  }
  if (in->peek() == std::istream::traits_type::eof()) {
    return trace;
  }
  try {
    trace = ReadTrace(*in, ExchangeOf(plan));
  } catch (const DamagedTrace& error) {
    // Not even its first line is complete.
    trace.damage = error.what();
  }
  if (!trace.damage.empty()) {
    warnings.push_back(fmt::format("{}: {}; {}", artifact::kTrace, trace.damage, kGoesOn));
  } else if (EndsInsideALine(*in)) {
    warnings.push_back(fmt::format("{} is cut off inside its last line", artifact::kTrace));
  }
  return trace;
}

/// Nothing if there is no such file.
std::optional<std::ifstream> Opened(const fs::path& file, std::uintmax_t largest) {
  std::error_code unknown;
  const fs::file_status status = fs::status(file, unknown);
  if (!fs::exists(status)) {
    return std::nullopt;
  }
  if (!fs::is_regular_file(status)) {
    throw UnreadableArtifacts(file.string() + ": expected a regular file");
  }
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  const std::uintmax_t size = fs::file_size(file, unknown);
  if (!in || unknown) {
    throw UnreadableArtifacts(fmt::format("{}: {}", file.string(), std::strerror(errno)));
  }
  if (size > largest) {
    throw UnreadableArtifacts(fmt::format("{}: expected at most {} MiB, found {}", file.string(),
                                          largest / kMebi, BytesText(size)));
  }
  return in;
}

std::optional<std::string> TextOf(const fs::path& file) {
  std::optional<std::ifstream> in = Opened(file, kLargestText);
  if (!in) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(*in), {});
}

}  // namespace

Artifacts ReadArtifacts(const ArtifactFiles& files) {
  Artifacts artifacts;
  const nlohmann::json plan = ObjectIn(files.plan, artifact::kPlan, artifacts.warnings);
  artifacts.plan = PlanOf(JsonField(plan, artifact::kPlan));
  artifacts.result = ReadResult(files, artifacts.warnings);
  artifacts.trace = ReadTraceFile(files.trace, artifacts.plan, artifacts.warnings);
  return artifacts;
}

Artifacts ReadArtifacts(const fs::path& folder) {
  std::optional<std::ifstream> trace = Opened(folder / artifact::kTrace, kLargestTrace);
  const ArtifactFiles files{.plan = TextOf(folder / artifact::kPlan),
                            .result = TextOf(folder / artifact::kResult),
                            .log = TextOf(folder / artifact::kLog),
                            .trace = trace ? &*trace : nullptr};
  if (!files.plan && !files.result && !files.log) {
    throw UnreadableArtifacts((folder / artifact::kPlan).string() +
                              ": cannot be read; is this a folder that --artifacts made?");
  }
  return ReadArtifacts(files);
}

}  // namespace quillmark::host
