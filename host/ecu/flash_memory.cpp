// SPDX-License-Identifier: MIT
#include "host/ecu/flash_memory.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace quillmark::host {
namespace {

bool Overlap(const FlashAreaOptions& a, const FlashAreaOptions& b) {
  return a.start < b.start + b.size && b.start < a.start + a.size;
}

void CheckArea(const FlashAreaOptions& area) {
  if (area.first_cells.size() > area.size) {
    throw std::invalid_argument("a flash area holds more than its size");
  }
  if (area.size == 0 || area.start >= FlashMemory::kAddressEnd ||
      area.size > FlashMemory::kAddressEnd - area.start) {
    throw std::invalid_argument("a flash area is empty or leaves the 24-bit addresses");
  }
}

void CheckAreas(const std::vector<FlashAreaOptions>& areas) {
  for (auto area = areas.begin(); area != areas.end(); ++area) {
    CheckArea(*area);
    for (auto other = areas.begin(); other != area; ++other) {
      if (Overlap(*area, *other) || area->identifier == other->identifier) {
        throw std::invalid_argument("two flash areas overlap or have the same identifier");
      }
    }
  }
}

}  // namespace

FlashMemory::FlashMemory(const std::vector<FlashAreaOptions>& areas,
                         std::set<std::uint32_t> bad_cells)
    : bad_cells_(std::move(bad_cells)) {
  CheckAreas(areas);
  for (const FlashAreaOptions& area : areas) {
    areas_.push_back({area.identifier, area.start, area.size, area.content, {}});
    std::uint32_t address = area.start;
    for (const std::uint8_t cell : area.first_cells) {
      areas_.back().SetCell(address++, cell);
    }
  }
}

bool FlashMemory::HasArea(std::uint8_t identifier) const {
  return std::any_of(areas_.begin(), areas_.end(),
                     [&](const Area& area) { return area.identifier == identifier; });
}

std::optional<std::uint8_t> FlashMemory::AreaOf(std::uint32_t address, std::size_t count) const {
  for (const Area& area : areas_) {
    if (area.Holds(address, count)) {
      return area.identifier;
    }
  }
  return std::nullopt;
}

void FlashMemory::Erase(std::uint8_t identifier) {
  for (Area& area : areas_) {
    if (area.identifier == identifier) {
      area.content = kErased;
      area.pages.clear();
      ++changes_;
    }
  }
}

bool FlashMemory::IsErased(std::uint32_t address, std::size_t count) const {
  const Bytes cells = Read(address, count);
  return std::all_of(cells.begin(), cells.end(), [](std::uint8_t cell) { return cell == kErased; });
}

void FlashMemory::Write(std::uint32_t address, ByteView data) {
  Area& area = areas_[IndexAt(address)];
  ++changes_;
  for (const std::uint8_t value : data) {
    if (!bad_cells_.contains(address)) {
      area.SetCell(address, value);
    }
    ++address;
  }
}

Bytes FlashMemory::Read(std::uint32_t address, std::size_t count) const {
  const Area& area = areas_[IndexAt(address)];
  Bytes cells(count, area.content);
  for (std::size_t at = 0; at < count;) {
    const std::uint32_t offset = address % kPageSize;
    const std::size_t size = std::min<std::size_t>(count - at, kPageSize - offset);
    if (const auto page = area.pages.find(address / kPageSize); page != area.pages.end()) {
      std::copy_n(page->second.begin() + offset, size,
                  cells.begin() + static_cast<std::ptrdiff_t>(at));
    }
    address += static_cast<std::uint32_t>(size);
    at += size;
  }
  return cells;
}

std::size_t FlashMemory::IndexAt(std::uint32_t address) const {
  const auto area = std::find_if(areas_.begin(), areas_.end(),
                                 [&](const Area& each) { return each.Holds(address, 1); });
  if (area == areas_.end()) {
    throw std::out_of_range("no flash memory at this address");
  }
  return static_cast<std::size_t>(area - areas_.begin());
}

bool FlashMemory::Area::Holds(std::uint32_t address, std::size_t count) const {
  return address >= start && address - start < size && count >= 1 &&
         count <= size - (address - start);
}

void FlashMemory::Area::SetCell(std::uint32_t address, std::uint8_t value) {
  const auto page = pages.try_emplace(address / kPageSize, kPageSize, content).first;
  page->second[address % kPageSize] = value;
}

}  // namespace quillmark::host
