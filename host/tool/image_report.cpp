// SPDX-License-Identifier: MIT
#include "host/tool/image_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "host/services/count_text.h"
#include "host/tool/digest.h"
#include "host/tool/text.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host {

namespace {

constexpr std::size_t kMostListed = 40;

Json SegmentsOf(const ImageFile& image) {
  Json segments = Json::array();
  for (const ImageSegment& segment : image.segments) {
    segments.push_back({{"address", segment.address}, {"bytes", segment.bytes.size()}});
  }
  return segments;
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

}  // namespace

Json PlannedImage(const std::string& file, const ImageFile& image) {
  Json ranges = Json::array();
  for (const ImageSegment& segment : image.segments) {
    ranges.push_back({segment.address, segment.bytes.size()});
  }
  return {{"file", file},
          {"format", NameOf(image.format)},
          {"bytes", SizeOf(image.segments)},
          {"sha256", Sha256Of(image.segments)},
          {"segments", ranges}};
}

void ReportImage(Reporter& reporter, const std::string& file, const ImageFile& image) {
  reporter.Line(fmt::format("image     {}: {}, {} in {}", file, NameOf(image.format),
                            BytesText(SizeOf(image.segments)),
                            CountText(image.segments.size(), "segment")));
  ListSegments(reporter, image.segments);
  const std::string digest = Sha256Of(image.segments);
  reporter.Line(fmt::format("          SHA-256 {}", digest));
  if (image.repeated_records > 0) {
    reporter.Line(fmt::format("warning   {} repeated with the same values",
                              CountText(image.repeated_records, "record")));
  }
  if (reporter.TakesEvents()) {
    reporter.Event(EventKind::kImage, {{"file", file},
                                       {"format", NameOf(image.format)},
                                       {"bytes", SizeOf(image.segments)},
                                       {"sha256", digest},
                                       {"segments", SegmentsOf(image)},
                                       {"repeated_records", image.repeated_records}});
  }
}

}  // namespace quillmark::host
