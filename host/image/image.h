// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::host {

inline constexpr std::uint64_t kAddressSpace = std::uint64_t{1} << 32U;

/// Consecutive bytes from an address on. Addresses have 32 bits; the last byte's address is at most
/// 0xFFFFFFFF.
struct ImageSegment {
  std::uint32_t address = 0;
  std::vector<std::uint8_t> bytes;

  friend bool operator==(const ImageSegment&, const ImageSegment&) = default;
};

/// The content of an image file: segments that are not empty, in address order, with a gap between
/// any two of them.
using ImageSegments = std::vector<ImageSegment>;

/// What the records of an image file add up to.
struct ImageContent {
  ImageSegments segments;
  /// Records that give addresses values that other records give them too.
  std::uint64_t repeated_records = 0;
};

/// An image file whose content cannot be used. what() is "FILE:LINE: reason" or "FILE: reason".
class DamagedImage : public std::runtime_error {
 public:
  DamagedImage(std::string_view file, std::size_t line, std::string_view reason);
  DamagedImage(std::string_view file, std::string_view reason);
};

/// What one of several files holds.
struct ImagePart {
  std::string_view file;  ///< its name for messages
  std::span<const ImageSegment> segments;
};

/// What the files hold together, by the rule of a single one: an address may be in several of them
/// if they agree about its value. Otherwise raises `DamagedImage`.
[[nodiscard]] ImageSegments JoinImages(const std::vector<ImagePart>& parts);

/// Collects the data records of one file and makes segments of them.
class ImageBuilder {
 public:
  /// `file` is the name for messages.
  explicit ImageBuilder(std::string file) : file_(std::move(file)) {}

  /// Adds the data of a record in `line` (counted from 1). Raises `DamagedImage` if it runs past
  /// address 0xFFFFFFFF.
  void Add(std::uint32_t address, std::span<const std::uint8_t> data, std::size_t line);

  /// All data sorted, adjacent records joined. Raises `DamagedImage` if two records give different
  /// values for one address.
  [[nodiscard]] ImageContent Finish();

 private:
  struct Record {
    std::uint32_t address;
    std::size_t offset;  // of its first byte in data_
    std::size_t size;
    std::size_t line;
  };

  [[nodiscard]] std::span<const std::uint8_t> DataOf(const Record& record) const;
  [[noreturn]] void RaiseContradiction(const Record& record, std::uint32_t address) const;

  std::string file_;
  std::vector<std::uint8_t> data_;
  std::vector<Record> records_;
};

}  // namespace quillmark::host
