// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "quillmark/export.h"

namespace quillmark::host {

/// Something through which an ECU may be reached.
struct AdapterEntry {
  /// By what it is reached.
  enum class Kind : std::uint8_t {
    kPassThru,      ///< a pass-thru library of SAE J2534
    kSerialPort,    ///< a serial port, perhaps with a CAN or a K line adapter
    kCanInterface,  ///< a CAN interface of the kernel
  };

  /// What kind of thing it is.
  Kind kind = Kind::kSerialPort;
  /// What it is, for people.
  std::string description{};
  /// How it is used; a serial port may be one of two adapters.
  std::vector<std::string> uris{};
};

/// What is there.
struct AdapterList {
  /// Sorted by kind, then by name.
  std::vector<AdapterEntry> adapters{};
  /// What could not be read, a sentence each.
  std::vector<std::string> warnings{};
};

/// Where adapters are looked for.
struct QUILLMARK_API AdapterPlaces {
  /// Of this system and this user.
  AdapterPlaces();

  /// `*.json` with FUNCTION_LIB, NAME and VENDOR. Empty where the user has no home.
  std::filesystem::path pass_thru;
  /// Where serial ports are.
  std::filesystem::path devices = "/dev";
  /// Where the kernel describes network interfaces.
  std::filesystem::path networks = "/sys/class/net";
};

/// Pass-thru libraries, serial ports and CAN interfaces, each sorted by its name. What cannot be
/// read becomes a warning. Nothing is opened but the files that describe pass-thru libraries.
[[nodiscard]] QUILLMARK_API AdapterList ListAdapters(const AdapterPlaces& places = {});

/// The file of a pass-thru library that is given by its path, which has a slash, or by the name
/// with which it is registered. Raises BusError for a name that is not, with those that are.
[[nodiscard]] QUILLMARK_API std::string FindPassThruLibrary(const std::string& device,
                                                            const AdapterPlaces& places = {});

}  // namespace quillmark::host
