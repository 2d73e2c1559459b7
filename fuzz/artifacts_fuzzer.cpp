// SPDX-License-Identifier: MIT
// A folder of artifacts: whatever its files hold, it is refused with a text that names the file, or
// its page has the same tags as any other page, and data that its script can read. A document of it
// is listed or refused.
//
// The input is plan, result, log, trace and a document with a form feed after each; "-" stands for
// a missing file.
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/support/law.h"
#include "quillmark/error.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/report.h"
#include "quillmark/host/trace.h"
#include "quillmark/portable_platform.h"
#include "tests/support/report_page.h"

namespace quillmark::fuzz {
namespace {

using namespace host;

std::optional<std::string> TakeFile(std::string_view& input) {
  const std::string file(input.substr(0, input.find('\f')));
  input.remove_prefix(std::min(file.size() + 1, input.size()));
  return file == "-" ? std::nullopt : std::optional(file);
}

/// What a page has around its data.
struct PageParts {
  std::string head;
  std::string tail;
};

PageParts PartsOf(const std::string& page) {
  constexpr std::string_view kBegin = "id=\"data\">";
  const std::size_t begin = page.find(kBegin) + kBegin.size();
  const std::size_t end = page.find('<', begin);
  return {page.substr(0, begin), page.substr(end)};
}

auto CountsOfMarkup(std::string_view text) {
  std::array<std::ptrdiff_t, 4> counts{};
  std::transform(std::begin("<>\"'"), std::end("<>\"'") - 1, counts.begin(),
                 [text](char mark) { return std::count(text.begin(), text.end(), mark); });
  return counts;
}

void RequireMemory(const nlohmann::json& memory) {
  constexpr std::uint64_t kMostOfABlock = 0xFF;
  std::uint64_t end = 0;
  std::string last;
  for (const nlohmann::json& stretch : memory) {
    const std::uint64_t start = stretch.at(0);
    const std::uint64_t count = stretch.at(1);
    const std::string state = stretch.at(2);
    Law(start >= end && count > 0, "stretches of memory are in order and apart");
    Law(start > end || state != last, "neighbours differ in state");
    end = start + count;
    last = state;
  }
  Law(end <= 0x1000000 + kMostOfABlock, "stretches of memory stay where blocks can be");
}

void RequireData(const nlohmann::json& data, std::size_t frames) {
  Law(data.is_object(), "the data is JSON");
  Law(data["frames"] == frames, "every frame of the trace is in the page");
  std::size_t messages = 0;
  for (const nlohmann::json& count : data["exchanges"]["messages"]) {
    messages += count.get<std::size_t>();
  }
  Law(messages == data["messages"]["text"].size(), "every message is in one exchange");
  for (const nlohmann::json& text : data["messages"]["text"]) {
    Law(text.get<std::size_t>() < data["texts"].size(), "every message has a text");
  }
  RequireMemory(data["memory"]);
}

void RequirePage(const Artifacts& artifacts) {
  static const PageParts other = PartsOf(RenderPage({}));
  const std::string whole = RenderPage(artifacts);
  const PageParts page = PartsOf(whole);
  Law(CountsOfMarkup(page.head) == CountsOfMarkup(other.head), "no text is markup");
  Law(page.tail == other.tail, "nothing but its script follows the data");
  const auto frames =
      std::count_if(artifacts.trace.entries.begin(), artifacts.trace.entries.end(),
                    [](const TraceEntry& entry) { return entry.kind == TraceEntryKind::kFrame; });
  RequireData(testing::DataOfReport(whole), static_cast<std::size_t>(frames));
}

void RunReport(ArtifactFiles files, const std::optional<std::string>& trace) {
  std::istringstream trace_file(trace.value_or(""));
  files.trace = trace ? &trace_file : nullptr;
  try {
    RequirePage(ReadArtifacts(files));
  } catch (const DamagedArtifacts& error) {
    const std::string_view text = error.what();
    Law(text.starts_with("plan.json: ") || text.starts_with("result.json: ") ||
            text.starts_with("log.jsonl: line "),
        "a refusal names its file");
  }
}

void RunDecode(const std::string& trace) {
  std::istringstream file(trace);
  std::ostringstream listing;
  try {
    ListTrace(listing, Decode(ReadTrace(file)), ListingDetail::kFrames);
  } catch (const DamagedTrace&) {
    return;
  }
  const std::string lines = listing.str();
  Law(std::all_of(lines.begin(), lines.end(),
                  [](char byte) { return byte == '\n' || (byte >= 0x20 && byte < 0x7F); }),
      "a listing of a trace is plain text");
}

void RunDocument(const std::string& xml) {
  static const std::shared_ptr<PortablePlatform> platform = CreatePortablePlatform();
  for (const TransportForm form :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    std::ostringstream listing;
    try {
      const auto document = platform->CreateDOMDocument();
      document->loadXML(xml);
      ListDocument(listing, *document, form, ListingDetail::kFrames);
    } catch (const Error&) {
      continue;
    }
  }
}

void Run(std::string_view input) {
  ArtifactFiles files;
  files.plan = TakeFile(input);
  files.result = TakeFile(input);
  files.log = TakeFile(input);
  const std::optional<std::string> trace = TakeFile(input);
  RunReport(files, trace);
  if (trace) {
    RunDecode(*trace);
  }
  RunDocument(std::string(input));
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillmark::fuzz::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
