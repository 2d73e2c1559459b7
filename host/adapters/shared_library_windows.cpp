// SPDX-License-Identifier: MIT
#include <windows.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/adapters/shared_library.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

/// A number in the header of a library, the lowest byte first.
std::optional<std::uint32_t> NumberAt(std::istream& file, std::streamoff place, std::size_t size) {
  std::array<char, 4> bytes{};
  file.seekg(place);
  file.read(bytes.data(), static_cast<std::streamsize>(size));
  if (!file) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < size; ++i) {
    number |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes.at(i))) << 8 * i;
  }
  return number;
}

/// `error` is that of the attempt to load `path`.
[[noreturn]] void RaiseCannotLoad(const std::string& path, DWORD error) {
  const std::filesystem::path file = Utf8Path(path);
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) {
    throw BusError(path + " cannot be loaded: there is no such file");
  }
  const std::optional<int> bits = LibraryBits(file);
  if (error == ERROR_BAD_EXE_FORMAT && bits && *bits != kProgramBits) {
    const std::string other = std::to_string(*bits);
    throw BusError(path + " is a library for " + other + "-bit programs, this is the " +
                   std::to_string(kProgramBits) +
                   "-bit quillmark: use the quillmark.exe in the folder " + other);
  }
  if (error == ERROR_BAD_EXE_FORMAT) {
    throw BusError(path + " cannot be loaded: it is " +
                   (bits ? "damaged, or needs a library that is"
                         : "no library for Windows on this processor"));
  }
  throw BusError(path +
                 " cannot be loaded: " + std::system_category().message(static_cast<int>(error)));
}

class LoadedLibrary : public SharedLibrary {
 public:
  explicit LoadedLibrary(const std::string& path)
      // Its own folder comes first for what it needs itself.
      : handle_(LoadLibraryExW(std::filesystem::absolute(Utf8Path(path)).c_str(), nullptr,
                               LOAD_WITH_ALTERED_SEARCH_PATH)) {
    if (handle_ == nullptr) {
      RaiseCannotLoad(path, GetLastError());
    }
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  LoadedLibrary(LoadedLibrary&&) = delete;
  LoadedLibrary& operator=(LoadedLibrary&&) = delete;
  ~LoadedLibrary() override { FreeLibrary(handle_); }

  [[nodiscard]] void* Find(const char* function) const override {
    return reinterpret_cast<void*>(GetProcAddress(handle_, function));
  }

 private:
  HMODULE handle_;
};

}  // namespace

std::optional<int> LibraryBits(const std::filesystem::path& file) {
  constexpr std::uint32_t kDosSignature = 0x5A4D;
  constexpr std::streamoff kHeaderPlace = 0x3C;
  constexpr std::uint32_t kSignature = 0x4550;
  std::error_code ignored;
  // Nothing is opened that would be more than read, such as a port.
  if (!std::filesystem::is_regular_file(file, ignored)) {
    return std::nullopt;
  }
  std::ifstream content(file, std::ios::binary);
  const std::optional<std::uint32_t> header = NumberAt(content, kHeaderPlace, 4);
  if (!header || NumberAt(content, 0, 2) != kDosSignature ||
      NumberAt(content, *header, 4) != kSignature) {
    return std::nullopt;
  }
  switch (NumberAt(content, static_cast<std::streamoff>(*header) + 4, 2).value_or(0)) {
    case IMAGE_FILE_MACHINE_I386:
      return 32;
    case IMAGE_FILE_MACHINE_AMD64:
      return 64;
    default:
      return std::nullopt;
  }
}

std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path) {
  return std::make_unique<LoadedLibrary>(path);
}

}  // namespace quillmark::host
