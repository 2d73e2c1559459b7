// SPDX-License-Identifier: MIT
// Checks of whole transfer documents, beside pugixml parsing the same text.
#include <pugixml.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/reply_documents.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 15;
constexpr std::uint32_t kDocumentSize = 32768;
constexpr std::uint32_t kManyDocuments = 10;
constexpr double kBoundOnParse = 2;
constexpr double kBoundOnKLineUpload = 1.6;
constexpr std::uint32_t kLoadedSize = 96 * 1024;  // A plain CAN run document of 1.5 MB.
constexpr double kBoundOnGrowth = 12;

std::shared_ptr<DOMDocument> Load(const Session& session, const std::string& text) {
  auto document = session.GetPlatform().CreateDOMDocument();
  document->loadXML(text);
  return document;
}

void RequireParsed(const pugi::xml_parse_result& result) {
  if (!result) {
    throw std::runtime_error("the text does not parse");
  }
}

std::vector<double> Measure(const std::string& text, const std::function<void()>& check) {
  return MedianSeconds(
      {{"ours", check},
       {"pugixml parse",
        [&] {
          pugi::xml_document document;
          RequireParsed(document.load_buffer(text.data(), text.size(), pugi::parse_full));
        }}},
      kRepetitions);
}

std::vector<double> MeasureDownloadCheck(const Form& form, std::uint32_t size) {
  const Session session(form);
  const std::string text = RunDownloadDocument(form, MakeImage(size, Filling::kDense));
  const auto document = Load(session, text);
  return Measure(text, [&] { session.Diag().checkdownload(document); });
}

/// The number of bytes that an image holds.
std::size_t SizeOf(const MemoryImage& image) {
  std::size_t size = 0;
  for (const auto& segment : image.Segments()) {
    size += static_cast<std::size_t>(segment->Length());
  }
  return size;
}

std::vector<double> MeasureUploadCheck(const Form& form, std::uint32_t size) {
  const Session session(form);
  const std::string text = RunUploadDocument(form, size);
  const auto document = Load(session, text);
  const auto first = session.GetPlatform().CreateMemoryImage();
  session.Diag().checkupload(document, first);
  if (SizeOf(*first) != size) {
    throw std::runtime_error("checkupload lost bytes");
  }
  return Measure(text, [&] {
    session.Diag().checkupload(document, session.GetPlatform().CreateMemoryImage());
  });
}

void PrintCheck(const std::string& name, const std::vector<double>& one,
                const std::vector<double>& many, double bound = kBoundOnParse) {
  const double ratio = one[0] / one[1];
  const double growth = many[0] / one[0];
  PrintRow({name, Duration(one[0]), Duration(one[1]), Number(ratio), AtMost(bound, ratio),
            Duration(many[0]), Number(many[0] / many[1]), AtMost(bound, many[0] / many[1]),
            Number(growth), AtMost(kBoundOnGrowth, growth)});
}

/// `loadXML` normalises line ends and refuses what is not well formed, which the parse does not.
void RunLoading() {
  const std::string text = RunUploadDocument(kPlainCan, kLoadedSize);
  const std::vector<double> seconds = MedianSeconds(
      {{"loadXML", [&] { CreatePortablePlatform()->CreateDOMDocument()->loadXML(text); }},
       {"pugixml parse",
        [&] {
          pugi::xml_document parsed;
          RequireParsed(parsed.load_buffer(text.data(), text.size(),
                                           pugi::parse_full | pugi::parse_ws_pcdata));
        }}},
      kRepetitions);
  const double ratio = seconds[0] / seconds[1];
  PrintHeader("loadXML of a run document with CR LF line ends",
              {"row", "ours", "parse that keeps white space", "ours / parse", "bound"});
  PrintRow({Number(static_cast<double>(text.size()) / 1e6) + " MB", Duration(seconds[0]),
            Duration(seconds[1]), Number(ratio), AtMost(kBoundOnParse, ratio)});
}

}  // namespace

void RunChecks(bool /*quick*/) {
  PrintHeader("Checks of run documents", {"row", "32 KiB", "parse", "ours / parse", "bound",
                                          "320 KiB", "ours / parse", "bound", "growth", "bound"});
  for (const Form& form : kForms) {
    PrintCheck("checkdownload, " + std::string(form.name),
               MeasureDownloadCheck(form, kDocumentSize),
               MeasureDownloadCheck(form, kManyDocuments * kDocumentSize));
    PrintCheck("checkupload, " + std::string(form.name), MeasureUploadCheck(form, kDocumentSize),
               MeasureUploadCheck(form, kManyDocuments * kDocumentSize),
               form.transport == Transport::kKLine ? kBoundOnKLineUpload : kBoundOnParse);
  }
  RunLoading();
}

}  // namespace quillmark::bench
