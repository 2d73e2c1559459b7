// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "quillmark/host/image_file.h"

namespace quillmark::host {

inline constexpr std::uint64_t kAddressSpace = std::uint64_t{1} << 32U;

/// What the records of an image file add up to.
struct ImageContent {
  ImageSegments segments;
  /// Records that give addresses values that other records give them too.
  std::uint64_t repeated_records = 0;
};

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
