// SPDX-License-Identifier: MIT
#include "quillmark/host/artifacts.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

#include "host/artifacts/artifact_parts.h"
#include "host/artifacts/json_field.h"
#include "quillmark/host/text.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {
namespace {

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
