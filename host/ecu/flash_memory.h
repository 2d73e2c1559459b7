// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "quillmark/host/simulated_ecu.h"

namespace quillmark::host {

/// Flash memory in areas. A cell accepts a value only while it is erased (0xFF), and an area is
/// erased as a whole. Only pages that were written take up storage.
class FlashMemory {
 public:
  static constexpr std::uint8_t kErased = 0xFF;
  /// One past the last address.
  static constexpr std::uint32_t kAddressEnd = 0x1000000;

  /// Raises std::invalid_argument for areas that overlap, are empty or leave the 24-bit addresses,
  /// and for two of the same identifier.
  FlashMemory(const std::vector<FlashAreaOptions>& areas, std::set<std::uint32_t> bad_cells);

  [[nodiscard]] bool HasArea(std::uint8_t identifier) const;
  /// The identifier of the area that holds all `count` cells from `address` on, at least one.
  [[nodiscard]] std::optional<std::uint8_t> AreaOf(std::uint32_t address, std::size_t count) const;

  /// Erases an area that exists.
  void Erase(std::uint8_t identifier);

  /// Whether all `count` cells from `address` on are erased.
  [[nodiscard]] bool IsErased(std::uint32_t address, std::size_t count) const;

  /// How often something was erased or written.
  [[nodiscard]] std::uint64_t changes() const { return changes_; }

  /// Writes cells of an area. A bad cell stays erased, without any indication.
  void Write(std::uint32_t address, ByteView data);

  /// The content of cells of an area.
  [[nodiscard]] Bytes Read(std::uint32_t address, std::size_t count) const;

 private:
  static constexpr std::uint32_t kPageSize = 4096;

  struct Area {
    std::uint8_t identifier;
    std::uint32_t start;
    std::uint32_t size;
    /// The value of the cells of a page that is not stored.
    std::uint8_t content;
    std::map<std::uint32_t, Bytes> pages;

    [[nodiscard]] bool Holds(std::uint32_t address, std::size_t count) const;
    void SetCell(std::uint32_t address, std::uint8_t value);
  };

  /// Raises std::out_of_range if there is no flash memory.
  [[nodiscard]] std::size_t IndexAt(std::uint32_t address) const;

  std::vector<Area> areas_;
  std::set<std::uint32_t> bad_cells_;
  std::uint64_t changes_ = 0;
};

}  // namespace quillmark::host
