// SPDX-License-Identifier: MIT
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cwctype>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/adapters/registered_adapters.h"
#include "host/adapters/shared_library.h"
#include "quillmark/host/files.h"

// What is in the registry was written by the installers of others: a value may have another type
// than it should, end without a null or in the middle of a character, and be of any length.
namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

/// A key and a value have names of at most these lengths.
constexpr std::size_t kLongestKeyName = 255;
constexpr std::size_t kLongestValueName = 16'383;

/// Of a program, and of the view of the registry that it sees.
using Bits = int;

REGSAM FlagOf(Bits view) { return view == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY; }

/// What is not UTF-16 becomes U+FFFD.
std::string Utf8Of(std::wstring_view text) {
  const auto size = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(), length, nullptr, nullptr);
  return utf8;
}

/// A key that is open for reading, or none.
class Key {
 public:
  Key(HKEY parent, const std::wstring& path, REGSAM view) {
    if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ | view, &key_) != ERROR_SUCCESS) {
      key_ = nullptr;
    }
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  Key(Key&&) = delete;
  Key& operator=(Key&&) = delete;
  ~Key() {
    if (key_ != nullptr) {
      RegCloseKey(key_);
    }
  }

  [[nodiscard]] HKEY get() const { return key_; }

  /// Sorted; at most `kMostAdapters`.
  [[nodiscard]] std::vector<std::wstring> Keys() const {
    std::vector<std::wstring> names;
    std::array<wchar_t, kLongestKeyName + 1> name{};
    for (DWORD i = 0; key_ != nullptr && i < kMostAdapters; ++i) {
      DWORD size = name.size();
      if (RegEnumKeyExW(key_, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
          ERROR_SUCCESS) {
        break;
      }
      names.emplace_back(name.data(), size);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  /// At most `kMostAdapters`.
  [[nodiscard]] std::vector<std::wstring> ValueNames() const {
    std::vector<std::wstring> names;
    std::vector<wchar_t> name(kLongestValueName + 1);
    for (DWORD i = 0; key_ != nullptr && i < kMostAdapters; ++i) {
      auto size = static_cast<DWORD>(name.size());
      if (RegEnumValueW(key_, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
          ERROR_SUCCESS) {
        break;
      }
      names.emplace_back(name.data(), size);
    }
    return names;
  }

  /// Nothing if there is no such value. Raises std::runtime_error for another type, and as
  /// RequireLine does.
  [[nodiscard]] std::optional<std::string> Text(const std::wstring& name,
                                                std::size_t longest) const {
    std::vector<std::uint8_t> bytes((longest + 1) * sizeof(wchar_t));
    auto size = static_cast<DWORD>(bytes.size());
    DWORD type = REG_NONE;
    const LSTATUS status =
        RegQueryValueExW(key_, name.c_str(), nullptr, &type, bytes.data(), &size);
    if (status == ERROR_FILE_NOT_FOUND) {
      return std::nullopt;
    }
    const std::string shown = Utf8Of(name);
    if (type != REG_SZ && type != REG_EXPAND_SZ) {
      throw std::runtime_error("expected a text " + shown);
    }
    std::wstring text(status == ERROR_SUCCESS ? size / sizeof(wchar_t) : longest + 1, L' ');
    std::memcpy(text.data(), bytes.data(),
                std::min<std::size_t>(text.size() * sizeof(wchar_t), bytes.size()));
    text.resize(std::min(text.find(L'\0'), text.size()));
    std::string utf8 = Utf8Of(type == REG_EXPAND_SZ ? Expanded(text) : text);
    RequireLine(shown.c_str(), utf8, longest);
    return utf8;
  }

  /// Whether a value is a number other than 0.
  [[nodiscard]] bool IsSet(const wchar_t* name) const {
    DWORD number = 0;
    DWORD size = sizeof number;
    DWORD type = REG_NONE;
    return RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) ==
               ERROR_SUCCESS &&
           type == REG_DWORD && number != 0;
  }

 private:
  /// With the values of the environment variables in it; as it is if these are too long.
  static std::wstring Expanded(const std::wstring& text) {
    std::vector<wchar_t> expanded(kLongestLibraryPath + 1);
    const DWORD size = ExpandEnvironmentStringsW(text.c_str(), expanded.data(),
                                                 static_cast<DWORD>(expanded.size()));
    return size == 0 || size > expanded.size() ? text : std::wstring(expanded.data());
  }

  HKEY key_ = nullptr;
};

/// The folder of the system's libraries as a function of Windows returns it; empty if it fails.
std::wstring FolderFrom(UINT (*function)(wchar_t*, UINT)) {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  const UINT size = function(folder.data(), static_cast<UINT>(folder.size()));
  return size < folder.size() ? std::wstring(folder.data(), size) : std::wstring();
}

std::wstring ProgramsSystemFolder() {
  return FolderFrom([](wchar_t* text, UINT size) { return GetSystemDirectoryW(text, size); });
}

/// Where this program finds the folder that programs of `view` know as System32.
std::wstring SystemFolderOf(Bits view) {
  if (view == kProgramBits) {
    return ProgramsSystemFolder();
  }
  if (view == 32) {
    return FolderFrom(
        [](wchar_t* text, UINT size) { return GetSystemWow64DirectoryW(text, size); });
  }
  return FolderFrom([](wchar_t* text, UINT size) { return GetWindowsDirectoryW(text, size); }) +
         L"\\Sysnative";
}

bool IsSameLetter(wchar_t one, wchar_t other) { return std::towlower(one) == std::towlower(other); }

/// A library as a program of `view` would find it: the same path means different files to programs
/// of different widths.
fs::path FileOf(const std::string& library, Bits view) {
  const std::wstring path = Utf8Path(library).wstring();
  const std::wstring system = ProgramsSystemFolder() + L'\\';
  const std::wstring systems = SystemFolderOf(view);
  if (path.find_first_of(L"/\\:") == std::wstring::npos) {
    return fs::path(systems) / path;
  }
  const bool is_there = path.size() > system.size() &&
                        std::equal(system.begin(), system.end(), path.begin(), IsSameLetter);
  return is_there && !systems.empty() ? fs::path(systems) / path.substr(system.size())
                                      : fs::path(path);
}

std::string RemarkOn(const fs::path& file, std::optional<Bits> bits) {
  std::error_code ignored;
  if (!fs::exists(file, ignored)) {
    return "but there is no such file";
  }
  if (!bits) {
    return "but that is no library for Windows on this processor";
  }
  const std::string width = std::to_string(*bits);
  return *bits == kProgramBits ? width + "-bit"
                               : width + "-bit: for the quillmark.exe in the folder " + width;
}

PassThruEntry ReadEntry(const Key& key, const std::wstring& key_name, Bits view) {
  PassThruEntry entry;
  const std::optional<std::string> library = key.Text(L"FunctionLibrary", kLongestLibraryPath);
  if (!library) {
    throw std::runtime_error("expected a text FunctionLibrary");
  }
  const fs::path file = FileOf(*library, view);
  const std::optional<Bits> bits = LibraryBits(file);
  entry.library = Utf8Of(file.wstring());
  entry.name = key.Text(L"Name", kLongestAdapterName).value_or(Utf8Of(key_name));
  RequireLine("Name", entry.name, kLongestAdapterName);
  entry.vendor = key.Text(L"Vendor", kLongestAdapterName).value_or("");
  entry.remark = RemarkOn(file, bits);
  entry.fits = bits.value_or(view) == kProgramBits;
  if (key.IsSet(L"CAN")) {
    entry.protocols.emplace_back("can");
  }
  if (key.IsSet(L"ISO14230")) {
    entry.protocols.emplace_back("kline");
  }
  return entry;
}

/// The own view first, where names are looked up. A 32-bit Windows has no other one.
std::vector<Bits> Views() {
  BOOL is_guest = FALSE;
  const bool is_alone =
      kProgramBits == 32 &&
      (IsWow64Process(GetCurrentProcess(), &is_guest) == FALSE || is_guest == FALSE);
  return is_alone ? std::vector<Bits>{kProgramBits}
                  : std::vector<Bits>{kProgramBits, 96 - kProgramBits};
}

/// COM3 before COM10.
bool IsBefore(const AdapterEntry& one, const AdapterEntry& other) {
  const auto order = [](const AdapterEntry& entry) {
    return std::pair(entry.uris.front().size(), entry.uris.front());
  };
  return order(one) < order(other);
}

}  // namespace

AdapterPlaces::AdapterPlaces()
    : pass_thru(L"SOFTWARE\\PassThruSupport.04.04"), devices(L"HARDWARE\\DEVICEMAP\\SERIALCOMM") {}

std::string PlaceOfPassThruEntries(const AdapterPlaces& places) {
  return "HKEY_LOCAL_MACHINE\\" + places.pass_thru.string();
}

std::vector<PassThruEntry> ReadPassThruEntries(const AdapterPlaces& places,
                                               std::vector<std::string>& warnings) {
  std::vector<PassThruEntry> entries;
  for (const Bits view : Views()) {
    const Key root(HKEY_LOCAL_MACHINE, places.pass_thru.wstring(), FlagOf(view));
    for (const std::wstring& name : root.Keys()) {
      try {
        entries.push_back(ReadEntry(Key(root.get(), name, FlagOf(view)), name, view));
      } catch (const std::exception& error) {
        warnings.push_back(PlaceOfPassThruEntries(places) + '\\' + Utf8Of(name) + ": " +
                           error.what());
      }
    }
  }
  return entries;
}

/// The values are ports, by the names that their drivers have for them.
std::vector<AdapterEntry> ReadPorts(const AdapterPlaces& places) {
  std::vector<AdapterEntry> ports;
  const Key key(HKEY_LOCAL_MACHINE, places.devices.wstring(), 0);
  for (const std::wstring& name : key.ValueNames()) {
    try {
      const std::string port = key.Text(name, kLongestAdapterName).value_or("");
      ports.push_back(EntryOfPort(port, "serial port " + port + ", " + Utf8Of(name)));
    } catch (const std::exception&) {
      // It names no port.
    }
  }
  std::sort(ports.begin(), ports.end(), IsBefore);
  return ports;
}

}  // namespace quillmark::host
