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

  /// The folder of `*.json` with FUNCTION_LIB, NAME and VENDOR; empty where the user has no home.
  /// On Windows the key of the registry with a key for each library, below HKEY_LOCAL_MACHINE.
  std::filesystem::path pass_thru;
  /// The folder of serial ports; on Windows the key of the registry that names them.
  std::filesystem::path devices;
  /// The folder in which the kernel describes network interfaces; empty on Windows.
  std::filesystem::path networks;
};

/// Pass-thru libraries, serial ports and CAN interfaces, each sorted by its name. What cannot be
/// read becomes a warning. No adapter is opened: read are the files that describe pass-thru
/// libraries and, on Windows, the beginning of the libraries, which tells for which programs they
/// are.
///
/// On Windows both views of the registry are read, first that of this program's width: a library
/// that only programs of the other width can load is in the list, and its description says so.
[[nodiscard]] QUILLMARK_API AdapterList ListAdapters(const AdapterPlaces& places = {});

/// The file of a pass-thru library that is given by its path, which has a slash (on Windows or a
/// backslash), or by the name with which it is registered; on Windows, of two that share a name,
/// the one that this program can load. Raises BusError for a name that is not registered, with
/// those that are.
[[nodiscard]] QUILLMARK_API std::string FindPassThruLibrary(const std::string& device,
                                                            const AdapterPlaces& places = {});

}  // namespace quillmark::host
