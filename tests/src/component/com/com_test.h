// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <ocidl.h>
#include <windows.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/com/apartment.h"
#include "base/com/com_ptr.h"
#include "base/com/unknown.h"
#include "base/com/variant.h"
#include "component/com/quillmark_com.h"
#include "quillmark/error.h"

namespace quillmark::testing {

/// The DLL under test, which lies beside the tests.
class ComponentModule {
 public:
  ComponentModule();
  ComponentModule(const ComponentModule&) = delete;
  ComponentModule& operator=(const ComponentModule&) = delete;
  ~ComponentModule() { FreeLibrary(module_); }

  template <typename Function>
  [[nodiscard]] Function* Entry(const char* name) const {
    const FARPROC address = GetProcAddress(module_, name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address));
  }

  [[nodiscard]] bool CanUnload() const {
    return Entry<HRESULT WINAPI()>("DllCanUnloadNow")() == S_OK;
  }
  /// The same, waiting up to some seconds for a worker to release what it holds. Runs the message
  /// loop.
  [[nodiscard]] bool CanUnloadSoon() const;

 private:
  HMODULE module_;
};

using ObjectPtr = com::ComPtr<IDispatch>;
using DiagPtr = com::ComPtr<IDiagOnCANReprog>;

/// An object of a class. Raises the failure if it cannot be created.
[[nodiscard]] ObjectPtr NewObject(const wchar_t* prog_id);
[[nodiscard]] DiagPtr NewDiag();
[[nodiscard]] ObjectPtr NewByteString(std::string_view hex);
[[nodiscard]] ObjectPtr NewDocument(std::wstring_view xml);

/// Calls a member by its name, as a script does.
com::Variant CallByName(IDispatch& object, std::wstring_view name,
                        std::initializer_list<com::Variant> arguments = {});
[[nodiscard]] std::string TextMember(IDispatch& object, std::wstring_view name);

/// Raises the failure of a call through the vtable.
void RequireCall(HRESULT status);

/// Calls `function` and returns the error that it raises.
[[nodiscard]] Error ErrorFrom(const std::function<void()>& function);

/// "number description" of that error.
[[nodiscard]] std::string ErrorText(const std::function<void()>& function);

/// Tests on a thread of a single-threaded apartment; they end with nothing left of the DLL.
class ComTest : public ::testing::Test {
 protected:
  void TearDown() override;

  com::Apartment apartment_{COINIT_APARTMENTTHREADED};
  ComponentModule module_;
};

/// Runs the message loop of this thread until `done`, for some seconds at most.
[[nodiscard]] bool PumpUntil(const std::function<bool()>& done);

/// A sink of the event `XMLReady`, by its identifier alone, as a script's is.
class EventSink final : public com::InvokeOnly {
 public:
  /// `node` is null at the end of a sequence.
  using Handler = std::function<void(IDispatch* node, VARIANT_BOOL& cancel)>;

  explicit EventSink(Handler handler) : handler_(std::move(handler)) {}

  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID locale, WORD kind,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;

 private:
  Handler handler_;
};

[[nodiscard]] com::ComPtr<IConnectionPoint> EventsOf(const DiagPtr& diag);

/// Connects a handler and returns its cookie.
DWORD Connect(const DiagPtr& diag, EventSink::Handler handler);
void Disconnect(const DiagPtr& diag, DWORD cookie);

}  // namespace quillmark::testing
