// SPDX-License-Identifier: MIT
#include <objbase.h>
#include <windows.h>

#include <memory>
#include <system_error>
#include <utility>

#include "platform/portable/portable_platform_factory.h"
#include "platform/windows/windows_platform.h"

namespace quillmark::windows {
namespace {

using Function = std::function<void()>;

HMODULE KeepThisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&LaunchComThread), &module);
  return module;
}

/// Does nothing on a system without this function.
bool IncrementApartmentUsage() {
  using IncrementUsage = HRESULT(WINAPI*)(void**);
  const HMODULE ole = GetModuleHandleW(L"ole32.dll");
  const auto increment = reinterpret_cast<IncrementUsage>(
      reinterpret_cast<void*>(GetProcAddress(ole, "CoIncrementMTAUsage")));
  void* cookie = nullptr;
  return increment != nullptr && SUCCEEDED(increment(&cookie));
}

/// Everything that `function` holds is destroyed before the apartment is left.
void RunInApartment(std::unique_ptr<Function> function) {
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
    return;
  }
  (*function)();
  function.reset();
  CoUninitialize();
}

struct Start {
  std::unique_ptr<Function> function;
  HMODULE module;
};

DWORD WINAPI Run(LPVOID parameter) {
  const std::unique_ptr<Start> start(static_cast<Start*>(parameter));
  RunInApartment(std::move(start->function));
  return 0;
}

/// The last stack frame of the thread in this module, so it must hold nothing with a destructor.
DWORD WINAPI RunAndLeaveModule(LPVOID parameter) {
  const HMODULE module = static_cast<Start*>(parameter)->module;
  FreeLibraryAndExitThread(module, Run(parameter));
}

}  // namespace

void KeepMultithreadedApartment() {
  [[maybe_unused]] static const bool is_kept = IncrementApartmentUsage();
}

void LaunchComThread(std::function<void()> function) {
  // The documents of a worker remain with the host, which may have no other thread in their
  // apartment. Where it cannot be kept, free-threaded documents of MSXML work in every apartment
  // and need none.
  KeepMultithreadedApartment();
  auto start = std::make_unique<Start>();
  start->function = std::make_unique<Function>(std::move(function));
  start->module = KeepThisModule();
  const HANDLE thread = CreateThread(nullptr, 0, &RunAndLeaveModule, start.get(), 0, nullptr);
  if (thread == nullptr) {
    FreeLibrary(start->module);
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  static_cast<void>(start.release());
  CloseHandle(thread);
}

}  // namespace quillmark::windows

namespace quillmark::portable {

// Not a detached std::thread: where one ends while it is being detached, the thread library of
// MinGW was seen to leave a lock behind on which a later thread spins for ever (in
// pthread_getspecific).
void LaunchDetachedThread(std::function<void()> function) {
  windows::LaunchComThread(std::move(function));
}

}  // namespace quillmark::portable
