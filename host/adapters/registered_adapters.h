// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "quillmark/host/adapter_list.h"

/// What each system knows of adapters, in adapter_list_linux.cpp and adapter_list_windows.cpp.
namespace quillmark::host {

inline constexpr std::size_t kLongestAdapterName = 200;
inline constexpr std::size_t kLongestLibraryPath = 4096;
/// More libraries, ports or interfaces than any honest machine has.
inline constexpr std::size_t kMostAdapters = 200;

/// A pass-thru library that is registered on this machine.
struct PassThruEntry {
  std::string name{};
  /// Empty if nobody is named.
  std::string vendor{};
  /// Its file.
  std::string library{};
  /// What else there is to say of it; may be empty.
  std::string remark{};
  /// The protocols that it is registered for, as a URI has them; empty if that is not said.
  std::vector<std::string> protocols{};
  /// Whether it is for programs of this one's width.
  bool fits = true;
};

/// In the order in which names are looked up. What cannot be read becomes a warning.
[[nodiscard]] std::vector<PassThruEntry> ReadPassThruEntries(const AdapterPlaces& places,
                                                             std::vector<std::string>& warnings);
/// Where they are registered, for messages.
[[nodiscard]] std::string PlaceOfPassThruEntries(const AdapterPlaces& places);

/// Serial ports and CAN interfaces.
[[nodiscard]] std::vector<AdapterEntry> ReadPorts(const AdapterPlaces& places);

/// A serial port, which may be one of two adapters.
[[nodiscard]] AdapterEntry EntryOfPort(const std::string& device, const std::string& description);

/// Raises std::runtime_error for a text that is empty, too long, or no single line.
void RequireLine(const char* name, const std::string& text, std::size_t longest);

}  // namespace quillmark::host
