// SPDX-License-Identifier: MIT
#include <windows.h>

#include <filesystem>
#include <system_error>

#include "host/adapters/shared_library.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

constexpr bool kIs64Bit = sizeof(void*) == 8;

/// `error` is that of the attempt to load `path`.
[[noreturn]] void RaiseCannotLoad(const std::string& path, DWORD error) {
  if (error == ERROR_BAD_EXE_FORMAT) {
    throw BusError(path + " is a library for " + (kIs64Bit ? "32" : "64") +
                   "-bit programs, this is the " + (kIs64Bit ? "64" : "32") +
                   "-bit quillmark: use the quillmark.exe in the folder " +
                   (kIs64Bit ? "32" : "64"));
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

std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path) {
  return std::make_unique<LoadedLibrary>(path);
}

}  // namespace quillmark::host
