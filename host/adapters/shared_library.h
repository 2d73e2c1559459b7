// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
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

}  // namespace quillmark::host
