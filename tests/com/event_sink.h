// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <functional>

#include "base/com/com_ptr.h"
#include "base/com/invoke_only.h"
#include "com/com_test.h"

namespace quillmark::testing {

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
