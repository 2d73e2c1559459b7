// SPDX-License-Identifier: MIT
#include "host/tool/image_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <span>

#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kMostListed = 40;

Json SegmentsOf(const ImageSegments& segments) {
  Json list = Json::array();
  for (const ImageSegment& segment : segments) {
    list.push_back({{"address", segment.address}, {"bytes", segment.bytes.size()}});
  }
  return list;
}

/// For people, who do not read thousands of lines.
void ListSegments(Reporter& reporter, const ImageSegments& segments) {
  const std::size_t listed = std::min(segments.size(), kMostListed);
  for (const ImageSegment& segment : std::span(segments).first(listed)) {
    const std::uint64_t last = segment.address + segment.bytes.size() - 1;
    reporter.Line(fmt::format("          {:06X} to {:06X}  {}", segment.address, last,
                              BytesText(segment.bytes.size())));
  }
  if (segments.size() > listed) {
    reporter.Line(fmt::format("          and {} more", WithThousands(segments.size() - listed)));
  }
}

/// Ends with the digest, which it returns.
std::string ReportSegments(Reporter& reporter, const std::string& subject,
                           const ImageSegments& segments) {
  reporter.Line(fmt::format("{}{} in {}", subject, BytesText(SizeOf(segments)),
                            CountText(segments.size(), "segment")));
  ListSegments(reporter, segments);
  const std::string digest = Sha256Of(segments);
  reporter.Line(fmt::format("          SHA-256 {}", digest));
  return digest;
}

void ReportImage(Reporter& reporter, const NamedImage& image) {
  const ImageFile& content = image.content;
  const std::string digest = ReportSegments(
      reporter, fmt::format("image     {}: {}, ", image.file, NameOf(content.format)),
      content.segments);
  if (content.repeated_records > 0) {
    reporter.Line(fmt::format("warning   {} repeated with the same values",
                              CountText(content.repeated_records, "record")));
  }
  if (reporter.TakesEvents()) {
    reporter.Event(EventKind::kImage, {{"file", image.file},
                                       {"format", NameOf(content.format)},
                                       {"bytes", SizeOf(content.segments)},
                                       {"sha256", digest},
                                       {"segments", SegmentsOf(content.segments)},
                                       {"repeated_records", content.repeated_records}});
  }
}

void ReportTogether(Reporter& reporter, const Images& images) {
  std::uint64_t repeated = 0;
  for (const NamedImage& image : images.files) {
    repeated += SizeOf(image.content.segments);
  }
  repeated -= SizeOf(images.segments);
  const std::string digest = ReportSegments(reporter, "together  ", images.segments);
  if (repeated > 0) {
    reporter.Line(
        fmt::format("warning   {} in several images, with the same values", BytesText(repeated)));
  }
  if (reporter.TakesEvents()) {
    reporter.Event(EventKind::kImages, {{"files", images.files.size()},
                                        {"bytes", SizeOf(images.segments)},
                                        {"sha256", digest},
                                        {"segments", SegmentsOf(images.segments)},
                                        {"repeated_bytes", repeated}});
  }
}

}  // namespace

Json PlannedImage(const Images& images) {
  Json files = Json::array();
  for (const NamedImage& image : images.files) {
    files.push_back(image.file);
  }
  Json ranges = Json::array();
  for (const ImageSegment& segment : images.segments) {
    ranges.push_back({segment.address, segment.bytes.size()});
  }
  return {{"files", files},
          {"bytes", SizeOf(images.segments)},
          {"sha256", Sha256Of(images.segments)},
          {"segments", ranges}};
}

RunRecord RunOf(const char* command, const Images& images) {
  RunRecord run{.command = command, .image_sha256 = Sha256Of(images.segments)};
  for (const NamedImage& image : images.files) {
    run.images.push_back(image.file);
  }
  return run;
}

void ReportImages(Reporter& reporter, const Images& images) {
  for (const NamedImage& image : images.files) {
    ReportImage(reporter, image);
  }
  if (images.files.size() > 1) {
    ReportTogether(reporter, images);
  }
}

}  // namespace quillmark::host
