// SPDX-License-Identifier: MIT
#include "host/image/image.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmark::host {

DamagedImage::DamagedImage(std::string_view file, std::size_t line, std::string_view reason)
    : std::runtime_error(fmt::format("{}:{}: {}", file, line, reason)) {}

DamagedImage::DamagedImage(std::string_view file, std::string_view reason)
    : std::runtime_error(fmt::format("{}: {}", file, reason)) {}

void ImageBuilder::Add(std::uint32_t address, std::span<const std::uint8_t> data,
                       std::size_t line) {
  if (data.empty()) {
    return;
  }
  if (address + std::uint64_t{data.size()} > kAddressSpace) {
    throw DamagedImage(file_, line,
                       fmt::format("{} bytes from address {:08X} on run past address FFFFFFFF",
                                   data.size(), address));
  }
  records_.push_back({address, data_.size(), data.size(), line});
  data_.insert(data_.end(), data.begin(), data.end());
}

ImageSegments ImageBuilder::Finish() {
  std::stable_sort(records_.begin(), records_.end(),
                   [](const Record& a, const Record& b) { return a.address < b.address; });
  ImageSegments segments;
  const Record* previous = nullptr;
  for (const Record& record : records_) {
    const std::uint64_t end = previous == nullptr ? 0 : previous->address + previous->size;
    if (record.address < end) {
      RaiseOverlap(*previous, record);
    }
    if (previous == nullptr || record.address > end) {
      segments.push_back({record.address, {}});
    }
    const auto data = std::span(data_).subspan(record.offset, record.size);
    segments.back().bytes.insert(segments.back().bytes.end(), data.begin(), data.end());
    previous = &record;
  }
  return segments;
}

void ImageBuilder::RaiseOverlap(const Record& lower, const Record& upper) const {
  const auto [first, second] = std::minmax(lower.line, upper.line);
  throw DamagedImage(file_, second,
                     fmt::format("overlap: address {:08X} already has a value from line {}",
                                 upper.address, first));
}

}  // namespace quillmark::host
