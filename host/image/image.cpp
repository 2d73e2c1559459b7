// SPDX-License-Identifier: MIT
#include "host/image/image.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmark::host {

DamagedImage::DamagedImage(std::string_view file, std::size_t line, std::string_view reason)
    : std::runtime_error(fmt::format("{}:{}: {}", file, line, reason)) {}

DamagedImage::DamagedImage(std::string_view file, std::string_view reason)
    : std::runtime_error(fmt::format("{}: {}", file, reason)) {}

namespace {

std::uint64_t EndOf(const ImageSegment& segment) {
  return segment.address + std::uint64_t{segment.bytes.size()};
}

}  // namespace

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

ImageContent ImageBuilder::Finish() {
  const auto by_address = [](const Record& a, const Record& b) { return a.address < b.address; };
  if (!std::is_sorted(records_.begin(), records_.end(), by_address)) {
    std::stable_sort(records_.begin(), records_.end(), by_address);
  }
  ImageContent content;
  for (const Record& record : records_) {
    if (content.segments.empty() || record.address > EndOf(content.segments.back())) {
      content.segments.push_back({record.address, {}});
    }
    ImageSegment& segment = content.segments.back();
    const auto data = DataOf(record);
    const auto known = std::span(segment.bytes).subspan(record.address - segment.address);
    const std::size_t repeated = std::min(known.size(), data.size());
    const auto difference =
        std::mismatch(known.begin(), known.begin() + static_cast<std::ptrdiff_t>(repeated),
                      data.begin())
            .second -
        data.begin();
    if (static_cast<std::size_t>(difference) < repeated) {
      RaiseContradiction(record, record.address + static_cast<std::uint32_t>(difference));
    }
    content.repeated_records += repeated > 0 ? 1 : 0;
    const auto rest = data.subspan(repeated);
    segment.bytes.insert(segment.bytes.end(), rest.begin(), rest.end());
  }
  return content;
}

std::span<const std::uint8_t> ImageBuilder::DataOf(const Record& record) const {
  return std::span(data_).subspan(record.offset, record.size);
}

void ImageBuilder::RaiseContradiction(const Record& record, std::uint32_t address) const {
  const auto value_in = [&](const Record& covering) {
    return DataOf(covering)[address - covering.address];
  };
  const auto other = std::find_if(records_.begin(), records_.end(), [&](const Record& candidate) {
    const bool covers =
        candidate.address <= address && address - candidate.address < candidate.size;
    return covers && value_in(candidate) != value_in(record);
  });
  const auto [first, second] =
      std::minmax(*other, record, [](const Record& a, const Record& b) { return a.line < b.line; });
  throw DamagedImage(file_, second.line,
                     fmt::format("overlap: address {:08X} is {:02X} here, but {:02X} in line {}",
                                 address, value_in(second), value_in(first), first.line));
}

}  // namespace quillmark::host
