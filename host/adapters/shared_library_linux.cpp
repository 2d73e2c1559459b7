// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include "host/adapters/shared_library.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {
namespace {

class LoadedLibrary : public SharedLibrary {
 public:
  explicit LoadedLibrary(const std::string& path)
      : handle_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
      throw BusError(path + " cannot be loaded: " + ::dlerror());
    }
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  LoadedLibrary(LoadedLibrary&&) = delete;
  LoadedLibrary& operator=(LoadedLibrary&&) = delete;
  ~LoadedLibrary() override { ::dlclose(handle_); }

  [[nodiscard]] void* Find(const char* function) const override {
    return ::dlsym(handle_, function);
  }

 private:
  void* handle_;
};

}  // namespace

std::unique_ptr<SharedLibrary> LoadSharedLibrary(const std::string& path) {
  return std::make_unique<LoadedLibrary>(path);
}

}  // namespace quillmark::host
