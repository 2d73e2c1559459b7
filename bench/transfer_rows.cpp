// SPDX-License-Identifier: MIT
// Whole downloads and uploads, from the call to the end marker, beside the two references.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "bench/inputs.h"
#include "bench/measure.h"
#include "bench/reference.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

/// Ends the process with a message unless both references give the component's documents byte for
/// byte, in this configuration, for the first MiB of `image`.
void RequireSameDownload(const Form& form, Span image, std::int32_t alignment,
                         std::int32_t max_size);

/// The same for the first MiB of an upload of `size` bytes.
void RequireSameUpload(const Form& form, std::size_t size);

using Texts = std::vector<std::string>;

struct TextWriter final : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

std::string TextOf(const pugi::xml_document& document) {
  TextWriter writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return writer.text;
}

template <typename Run>
Texts TextsOfTrees(const Form& form, Run run) {
  Texts texts;
  TreeSink sink(form.transport,
                [&](const pugi::xml_document& document) { texts.push_back(TextOf(document)); });
  run(Reference(form, sink));
  return texts;
}

template <typename Run>
Texts TextsOfStrings(const Form& form, Run run) {
  Texts texts;
  TextSink sink(form.transport, [&](std::string_view text) { texts.emplace_back(text); });
  run(Reference(form, sink));
  return texts;
}

void RequireSame(const Form& form, const char* reference, const Texts& ours, const Texts& theirs) {
  if (ours.empty() || ours != theirs) {
    std::cerr << "reference " << reference << " does not build our documents (" << form.name
              << ")\n";
    std::exit(EXIT_FAILURE);
  }
}

template <typename Run>
void RequireSame(const Form& form, const Texts& ours, Run run) {
  RequireSame(form, "A", ours, TextsOfTrees(form, run));
  RequireSame(form, "B", ours, TextsOfStrings(form, run));
}

void RequireSameDownload(const Form& form, Span image, std::int32_t alignment,
                         std::int32_t max_size) {
  const Span start = image.first(std::min(image.size(), kMiB));
  Texts ours;
  Session session(form);
  session.Download(session.Image(start), alignment, max_size,
                   [&](IXMLDOMNode& node) { ours.push_back(node.xml()); });
  RequireSame(form, ours, [&](auto reference) {
    reference.Download(start, static_cast<std::uint32_t>(alignment),
                       static_cast<std::uint32_t>(max_size));
  });
}

void RequireSameUpload(const Form& form, std::size_t size) {
  const std::size_t start = std::min(size, kMiB);
  Texts ours;
  Session session(form);
  session.Upload(session.Map(start), [&](IXMLDOMNode& node) { ours.push_back(node.xml()); });
  RequireSame(form, ours,
              [&](auto reference) { reference.Upload(static_cast<std::uint32_t>(start)); });
}

constexpr std::int32_t kAlignment = 16;
constexpr std::size_t kBoundFrom = 4 * kMiB;
constexpr double kBoundOnDenseCan = 0.9;
constexpr double kBoundOnOthers = 1.2;
constexpr double kBoundOnUpload = 1.0;
constexpr double kBoundOnSpread = 1.15;

const std::vector<std::string> kColumns = {"row",         "ours",        "rate",
                                           "ours a MiB",  "reference A", "ours / A",
                                           "reference B", "ours / B",    "bound on ours / A"};

/// Runs `run` with the reference that builds trees, then destroys them.
template <typename Run>
void WithTrees(const Form& form, Run run) {
  TreeSink sink(form.transport, [](const pugi::xml_document& /*document*/) {});
  run(Reference(form, sink));
}

/// Reference B, its string made once, outside of what is measured.
class TextReference {
 public:
  explicit TextReference(const Form& form) : form_(form), sink_(form.transport, Visit{}) {}

  template <typename Run>
  void operator()(Run run) {
    run(Reference(form_, sink_));
  }

 private:
  struct Visit {
    void operator()(std::string_view /*text*/) const {}
  };

  Form form_;
  TextSink<Visit> sink_;
};

std::string Name(const Form& form, std::size_t size, const std::string& rest) {
  return std::string(form.name) + ", " + std::to_string(size / kMiB) + " MiB" + rest;
}

void PrintTransfer(const std::string& name, std::size_t size, const std::vector<double>& seconds,
                   const std::string& verdict) {
  const auto bytes = static_cast<double>(size);
  PrintRow({name, Duration(seconds[0]), Rate(bytes, seconds[0]),
            Duration(seconds[0] / (bytes / static_cast<double>(kMiB))), Duration(seconds[1]),
            Number(seconds[0] / seconds[1]), Duration(seconds[2]), Number(seconds[0] / seconds[2]),
            verdict});
}

int Repetitions(std::size_t size) { return size > 16 * kMiB ? 3 : 7; }

/// Ours / A of the dense downloads in one form, the smallest image first.
using Series = std::vector<double>;

void PrintLinearity(const std::map<std::string, Series>& all,
                    const std::vector<std::size_t>& sizes) {
  std::vector<std::string> columns = {"row"};
  for (const std::size_t size : sizes) {
    columns.push_back(std::to_string(size) + " MiB");
  }
  columns.insert(columns.end(), {"most / least", "bound"});
  PrintHeader("Linearity of dense downloads: ours / A by size", columns);
  for (const auto& [name, series] : all) {
    std::vector<std::string> cells = {name};
    std::transform(series.begin(), series.end(), std::back_inserter(cells), Number);
    const auto [least, most] = std::minmax_element(series.begin(), series.end());
    cells.insert(cells.end(), {Number(*most / *least), AtMost(kBoundOnSpread, *most / *least)});
    PrintRow(cells);
  }
}

/// What is asked of a download; nothing where no bound is set.
std::string Verdict(const Form& form, std::size_t size, Filling filling, double ratio) {
  if (filling == Filling::kSparse) {
    return AtMost(kBoundOnOthers, ratio);
  }
  if (filling == Filling::kHalf || size < kBoundFrom) {
    return "";
  }
  return AtMost(form.transport == Transport::kKLine ? kBoundOnOthers : kBoundOnDenseCan, ratio);
}

/// Returns ours / A.
double RunDownload(const Form& form, Span image, std::int32_t max_size, Filling filling) {
  RequireSameDownload(form, image, kAlignment, max_size);
  Session session(form);
  const auto memory = session.Image(image);
  TextReference texts(form);
  const auto run = [&](auto reference) {
    reference.Download(image, kAlignment, static_cast<std::uint32_t>(max_size));
  };
  const std::vector<double> seconds =
      MedianSeconds({{"ours", [&] { session.Download(memory, kAlignment, max_size); }},
                     {"reference A", [&] { WithTrees(form, run); }},
                     {"reference B", [&] { texts(run); }}},
                    Repetitions(image.size()));
  const double ratio = seconds[0] / seconds[1];
  const std::string rest =
      ", " + std::to_string(max_size) + " a block, " + std::string(NameOf(filling));
  PrintTransfer(Name(form, image.size(), rest), image.size(), seconds,
                Verdict(form, image.size(), filling, ratio));
  return ratio;
}

void RunUpload(const Form& form, std::size_t size) {
  RequireSameUpload(form, size);
  Session session(form);
  const auto map = session.Map(size);
  TextReference texts(form);
  const auto run = [&](auto reference) { reference.Upload(static_cast<std::uint32_t>(size)); };
  const std::vector<double> seconds = MedianSeconds({{"ours", [&] { session.Upload(map); }},
                                                     {"reference A", [&] { WithTrees(form, run); }},
                                                     {"reference B", [&] { texts(run); }}},
                                                    Repetitions(size));
  PrintTransfer(Name(form, size, ""), size, seconds,
                AtMost(kBoundOnUpload, seconds[0] / seconds[1]));
}

}  // namespace

void RunDownloads(bool quick) {
  PrintHeader("ComputeDownload", kColumns);
  const std::vector<std::size_t> sizes =
      quick ? std::vector<std::size_t>{1, 4} : std::vector<std::size_t>{1, 4, 16, 64};
  std::map<std::string, Series> dense;
  for (const Filling filling : {Filling::kDense, Filling::kHalf, Filling::kSparse}) {
    for (const std::size_t size : sizes) {
      const std::vector<std::uint8_t> image = MakeImage(size * kMiB, filling);
      for (const Form& form : kForms) {
        for (const std::int32_t max_size : {128, 240}) {
          const double ratio = RunDownload(form, image, max_size, filling);
          if (filling == Filling::kDense) {
            dense[std::string(form.name) + ", " + std::to_string(max_size) + " a block"].push_back(
                ratio);
          }
        }
      }
    }
  }
  PrintLinearity(dense, sizes);
}

void RunUploads(bool quick) {
  PrintHeader("ComputeUpload", kColumns);
  // Flow control is not a parameter of an upload: its worker has the defaults.
  for (const Form& form : {kPlainCan, kGateway, kKLine}) {
    RunUpload(form, (quick ? 4 : 16) * kMiB);
  }
}

}  // namespace quillmark::bench
