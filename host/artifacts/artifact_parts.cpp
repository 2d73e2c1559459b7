// SPDX-License-Identifier: MIT
#include "host/artifacts/artifact_parts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

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

}  // namespace

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

}  // namespace quillmark::host
