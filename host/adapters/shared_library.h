// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace quillmark::host {

/// A library that is loaded while the program runs; unloaded with this object.
class SharedLibrary {
 public:
  SharedLibrary() = default;
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  SharedLibrary(SharedLibrary&&) = delete;
  SharedLibrary& operator=(SharedLibrary&&) = delete;
  virtual ~SharedLibrary() = default;

  /// The address of an exported function; null if there is none of this name.
  [[nodiscard]] virtual void* Find(const char* function) const = 0;
};

/// Loads the library in the file `path`. Raises BusError with the system's reason.
[[nodiscard]] std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path);

#ifdef _WIN32
/// The width of this program, as Windows counts it.
inline constexpr int kProgramBits = 8 * static_cast<int>(sizeof(void*));

/// The width of the programs that can load a library, 32 or 64. Nothing for a file that is none, or
/// for another processor.
[[nodiscard]] std::optional<int> LibraryBits(const std::filesystem::path& file);
#endif

}  // namespace quillmark::host
