// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <memory>
#include <mutex>

#include "base/com/unknown.h"
#include "host/windows/client/com_component.h"

namespace quillmark::host {

/// The sink of one component object: passes the event to a handler, which may be replaced
/// meanwhile.
class EventReceiver final : public com::InvokeOnly {
 public:
  explicit EventReceiver(std::shared_ptr<RunningTransfers> transfers)
      : transfers_(std::move(transfers)) {}

  void SetHandler(DiagOnCANReprog::XMLReadyHandler handler);

  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD kind,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;

 private:
  [[nodiscard]] void* Find(REFIID iid) override;
  void OnXMLReady(const VARIANT& node, VARIANT_BOOL& cancel);

  std::shared_ptr<RunningTransfers> transfers_;
  std::mutex mutex_;
  DiagOnCANReprog::XMLReadyHandler handler_;
};

}  // namespace quillmark::host
