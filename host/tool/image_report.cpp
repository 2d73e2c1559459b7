// SPDX-License-Identifier: MIT
#include "host/tool/image_report.h"

#include <fmt/format.h>

#include "host/services/count_text.h"
#include "host/tool/text.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host {

void ReportImage(Reporter& reporter, const std::string& file, const ImageFile& image) {
  reporter.Line(fmt::format("image     {}: {}, {} in {}", file, NameOf(image.format),
                            BytesText(SizeOf(image.segments)),
                            CountText(image.segments.size(), "segment")));
  Json segments = Json::array();
  for (const ImageSegment& segment : image.segments) {
    const std::uint64_t last = segment.address + segment.bytes.size() - 1;
    reporter.Line(fmt::format("          {:06X} to {:06X}  {}", segment.address, last,
                              BytesText(segment.bytes.size())));
    segments.push_back({{"address", segment.address}, {"bytes", segment.bytes.size()}});
  }
  reporter.Event(EventKind::kImage, {{"file", file},
                                     {"format", NameOf(image.format)},
                                     {"bytes", SizeOf(image.segments)},
                                     {"segments", segments}});
}

}  // namespace quillmark::host
