// SPDX-License-Identifier: MIT
#include "quillmark/host/memory_ranges.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "host/programmer/failure.h"
#include "host/programmer/image_parts.h"

namespace quillmark::host {
namespace {

constexpr std::int64_t kAddressEnd = 0x1000000;
constexpr std::size_t kMostDifferences = 16;

struct Range {
  std::int64_t start;
  std::int64_t count;
};

[[noreturn]] void Refuse(const std::string& text) {
  Failure failure;
  failure.phase = Phase::kPrepare;
  failure.cause = Cause::kArgument;
  failure.text = text;
  throw ProgrammingError(failure);
}

void CheckRange(const Range& range) {
  if (range.count < 0) {
    Refuse("a range has a negative length");
  }
  if (range.count > 0 && (range.start < 0 || range.start + range.count > kAddressEnd)) {
    Refuse("the addresses " + std::to_string(range.start) + " to " +
           std::to_string(range.start + range.count - 1) + " are not within 0x000000 to 0xFFFFFF");
  }
}

std::uint64_t CheckedSize(std::vector<Range> ranges) {
  std::for_each(ranges.begin(), ranges.end(), CheckRange);
  std::erase_if(ranges, [](const Range& range) { return range.count == 0; });
  std::sort(ranges.begin(), ranges.end(),
            [](const Range& a, const Range& b) { return a.start < b.start; });
  std::int64_t end = 0;
  std::int64_t size = 0;
  for (const Range& range : ranges) {
    if (range.start < end) {
      Refuse("address " + AddressText(static_cast<std::uint32_t>(range.start)) + " is there twice");
    }
    end = range.start + range.count;
    size += range.count;
  }
  if (size == 0) {
    Refuse("there are no bytes");
  }
  return static_cast<std::uint64_t>(size);
}

/// Segments by their start address.
class FoundMemory {
 public:
  explicit FoundMemory(const MemoryImage& image) {
    for (const auto& segment : image.Segments()) {
      segments_.insert_or_assign(segment->StartAddress(), BytesOf(*segment));
    }
  }

  [[nodiscard]] std::optional<std::uint8_t> At(std::int64_t address) const {
    auto next = segments_.upper_bound(address);
    if (next == segments_.begin()) {
      return std::nullopt;
    }
    const auto& [start, bytes] = *--next;
    const auto offset = static_cast<std::size_t>(address - start);
    return offset < bytes.size() ? std::optional(bytes[offset]) : std::nullopt;
  }

 private:
  std::map<std::int64_t, Bytes> segments_;
};

}  // namespace

Bytes BytesOf(const ByteString& string) { return BytesOfHex(string.Hex()).value(); }

std::uint64_t CheckedSize(const MemoryImage& image) {
  std::vector<Range> ranges;
  for (const auto& segment : image.Segments()) {
    ranges.push_back({segment->StartAddress(), segment->Length()});
  }
  return CheckedSize(std::move(ranges));
}

std::uint64_t CheckedSize(const MemoryMap& map) {
  std::vector<Range> ranges;
  for (const auto& range : map.Ranges()) {
    ranges.push_back({range->Start(), range->Count()});
  }
  return CheckedSize(std::move(ranges));
}

std::shared_ptr<MemoryImage> ImageOf(std::span<const std::shared_ptr<ByteString>> segments,
                                     Platform& platform) {
  std::shared_ptr<MemoryImage> image = platform.CreateMemoryImage();
  for (const auto& segment : segments) {
    image->AddSegment(*segment);
  }
  return image;
}

std::uint64_t SizeOf(const MemoryImage& image) {
  std::uint64_t size = 0;
  for (const auto& segment : image.Segments()) {
    size += static_cast<std::uint64_t>(segment->Length());
  }
  return size;
}

std::uint64_t SizeOf(const MemoryMap& map) {
  std::uint64_t size = 0;
  for (const auto& range : map.Ranges()) {
    size += static_cast<std::uint64_t>(range->Count());
  }
  return size;
}

std::shared_ptr<MemoryImage> RestOf(const MemoryImage& image, std::uint32_t address,
                                    Platform& platform) {
  const auto from = static_cast<std::int32_t>(address);
  std::shared_ptr<MemoryImage> rest = platform.CreateMemoryImage();
  bool is_behind = false;
  for (const auto& segment : image.Segments()) {
    const bool holds_it = segment->StartAddress() <= from && from <= segment->EndAddress();
    if (is_behind) {
      rest->AddSegment(*segment);
    } else if (holds_it) {
      const std::shared_ptr<ByteString> part = platform.CreateByteString();
      part->Assign(*segment->Mid(from, 0));
      part->SetStartAddress(from);
      rest->AddSegment(*part);
    }
    is_behind = is_behind || holds_it;
  }
  return rest;
}

Comparison Compare(const MemoryImage& image, const MemoryImage& found) {
  const FoundMemory memory(found);
  Comparison comparison;
  for (const auto& segment : image.Segments()) {
    std::int64_t address = segment->StartAddress();
    for (const std::uint8_t expected : BytesOf(*segment)) {
      const std::optional<std::uint8_t> byte = memory.At(address);
      if (byte == expected) {
        ++comparison.equal_bytes;
      } else if (++comparison.different_bytes <= kMostDifferences) {
        comparison.differences.push_back({static_cast<std::uint32_t>(address), expected, byte});
      }
      ++address;
    }
  }
  return comparison;
}

}  // namespace quillmark::host
