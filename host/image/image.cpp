// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "host/image/image_builder.h"

namespace quillmark::host {

DamagedImage::DamagedImage(std::string_view file, std::size_t line, std::string_view reason)
    : std::runtime_error(fmt::format("{}:{}: {}", file, line, reason)) {}

DamagedImage::DamagedImage(std::string_view file, std::string_view reason)
    : std::runtime_error(fmt::format("{}: {}", file, reason)) {}

namespace {

std::uint64_t EndOf(const ImageSegment& segment) {
  return segment.address + std::uint64_t{segment.bytes.size()};
}

/// Adds bytes whose address is that of the last segment or a higher one. Returns how many of them
/// were there already; calls `refuse` with the first address that has another value.
template <typename Refuse>
std::size_t AddTo(ImageSegments& segments, std::uint32_t address,
                  std::span<const std::uint8_t> data, const Refuse& refuse) {
  if (segments.empty() || address > EndOf(segments.back())) {
    segments.push_back({address, {}});
  }
  ImageSegment& segment = segments.back();
  const auto known = std::span(segment.bytes).subspan(address - segment.address);
  const std::size_t repeated = std::min(known.size(), data.size());
  const auto overlap = data.first(repeated);
  const auto difference = std::mismatch(overlap.begin(), overlap.end(), known.begin()).first;
  if (difference != overlap.end()) {
    refuse(address + static_cast<std::uint32_t>(difference - overlap.begin()));
  }
  const auto rest = data.subspan(repeated);
  segment.bytes.insert(segment.bytes.end(), rest.begin(), rest.end());
  return repeated;
}

std::optional<std::uint8_t> ByteAt(const ImagePart& part, std::uint32_t address) {
  for (const ImageSegment& segment : part.segments) {
    if (address >= segment.address && address < EndOf(segment)) {
      return segment.bytes[address - segment.address];
    }
  }
  return std::nullopt;
}

/// Names the first file that has the address and the first that contradicts it.
[[noreturn]] void RaiseContradiction(const std::vector<ImagePart>& parts, std::uint32_t address) {
  std::string_view first_file;
  std::optional<std::uint8_t> first;
  for (const ImagePart& part : parts) {
    const auto value = ByteAt(part, address);
    if (first && value && *value != *first) {
      throw DamagedImage(part.file,
                         fmt::format("overlap: address {:08X} is {:02X} here, but {:02X} in {}",
                                     address, *value, *first, first_file));
    }
    if (!first && value) {
      first = value;
      first_file = part.file;
    }
  }
  throw std::logic_error("the files do not contradict one another");
}

}  // namespace

ImageSegments JoinImages(const std::vector<ImagePart>& parts) {
  std::vector<const ImageSegment*> segments;
  for (const ImagePart& part : parts) {
    for (const ImageSegment& segment : part.segments) {
      segments.push_back(&segment);
    }
  }
  std::sort(segments.begin(), segments.end(),
            [](const auto* a, const auto* b) { return a->address < b->address; });
  ImageSegments joined;
  for (const ImageSegment* segment : segments) {
    AddTo(joined, segment->address, segment->bytes,
          [&parts](std::uint32_t address) { RaiseContradiction(parts, address); });
  }
  return joined;
}

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
    const std::size_t repeated =
        AddTo(content.segments, record.address, DataOf(record),
              [&](std::uint32_t address) { RaiseContradiction(record, address); });
    content.repeated_records += repeated > 0 ? 1 : 0;
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

std::shared_ptr<MemoryImage> ImageOf(std::span<const ImageSegment> segments, Platform& platform) {
  auto image = platform.CreateMemoryImage();
  const auto bytes = platform.CreateByteString();
  for (const ImageSegment& segment : segments) {
    bytes->SetBytes(segment.bytes);
    bytes->SetStartAddress(static_cast<std::int32_t>(segment.address));
    image->AddSegment(*bytes);
  }
  return image;
}

std::uint64_t SizeOf(const ImageSegments& segments) {
  return std::accumulate(
      segments.begin(), segments.end(), std::uint64_t{0},
      [](std::uint64_t size, const ImageSegment& segment) { return size + segment.bytes.size(); });
}

ImageSegments SegmentsOf(const MemoryImage& image, const std::string& file) {
  ImageBuilder builder(file);
  for (const auto& segment : image.Segments()) {
    segment->ReadBytes([&](std::span<const std::uint8_t> bytes) {
      builder.Add(static_cast<std::uint32_t>(segment->StartAddress()), bytes, 1);
    });
  }
  return builder.Finish().segments;
}

}  // namespace quillmark::host
