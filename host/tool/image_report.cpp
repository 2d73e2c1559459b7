// SPDX-License-Identifier: MIT
#include "host/tool/image_report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "host/services/count_text.h"
#include "host/tool/text.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kMostListed = 40;

class Sha256 {
 public:
  Sha256() { ::sha256_init(&context_); }

  void Add(std::span<const std::uint8_t> bytes) {
    ::sha256_update(&context_, bytes.size(), bytes.data());
  }

  std::string Hex() {
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    ::sha256_digest(&context_, digest.size(), digest.data());
    return fmt::format("{:02x}", fmt::join(digest, ""));
  }

 private:
  ::sha256_ctx context_{};
};

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

std::string Sha256Of(const ImageSegments& segments) {
  Sha256 digest;
  for (const ImageSegment& segment : segments) {
    digest.Add(segment.bytes);
  }
  return digest.Hex();
}

std::string Sha256Of(const MemoryImage& image) {
  auto segments = image.Segments();
  std::sort(segments.begin(), segments.end(),
            [](const auto& a, const auto& b) { return a->StartAddress() < b->StartAddress(); });
  Sha256 digest;
  for (const auto& segment : segments) {
    segment->ReadBytes([&digest](std::span<const std::uint8_t> bytes) { digest.Add(bytes); });
  }
  return digest.Hex();
}

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

void ReportImages(Reporter& reporter, const Images& images) {
  for (const NamedImage& image : images.files) {
    ReportImage(reporter, image);
  }
  if (images.files.size() > 1) {
    ReportTogether(reporter, images);
  }
}

}  // namespace quillmark::host
