// SPDX-License-Identifier: MIT
#include "host/windows/client/event_receiver.h"

#include <utility>

#include "base/com/status.h"
#include "base/com/variant.h"
#include "component/com/quillmark_com.h"
#include "platform/windows/com_objects.h"

namespace quillmark::host {
namespace {

constexpr DISPID kXMLReady = 1;

std::shared_ptr<IXMLDOMNode> NodeIn(const VARIANT& value) {
  const com::Variant node = com::ConvertedTo(VT_UNKNOWN, value);
  return windows::WrapNode(com::Share(V_UNKNOWN(&node.get())));
}

}  // namespace

void EventReceiver::SetHandler(DiagOnCANReprog::XMLReadyHandler handler) {
  const std::lock_guard lock(mutex_);
  // The replaced object is destroyed without the lock: it may hold anything.
  std::swap(handler_, handler);
}

void* EventReceiver::Find(REFIID iid) {
  return iid == __uuidof(_IDiagOnCANReprogEvents) ? static_cast<IDispatch*>(this)
                                                  : InvokeOnly::Find(iid);
}

HRESULT EventReceiver::Invoke(DISPID id, REFIID /*reserved*/, LCID /*locale*/, WORD /*kind*/,
                              DISPPARAMS* parameters, VARIANT* /*result*/, EXCEPINFO* /*exception*/,
                              UINT* /*bad_argument*/) {
  if (id != kXMLReady) {
    return DISP_E_MEMBERNOTFOUND;
  }
  if (parameters->cArgs != 2) {
    return DISP_E_BADPARAMCOUNT;
  }
  try {
    // The last argument comes first.
    OnXMLReady(parameters->rgvarg[1], *V_BOOLREF(&parameters->rgvarg[0]));
    return S_OK;
  } catch (...) {
    return com::StatusOf(com::CurrentError().Number());
  }
}

void EventReceiver::OnXMLReady(const VARIANT& value, VARIANT_BOOL& cancel) {
  const auto node = NodeIn(value);
  DiagOnCANReprog::XMLReadyHandler handler;
  {
    const std::lock_guard lock(mutex_);
    handler = handler_;
  }
  bool stops = cancel != VARIANT_FALSE;
  if (handler) {
    handler(node, stops);
  }
  cancel = stops ? VARIANT_TRUE : VARIANT_FALSE;
  if (stops || node == nullptr) {
    transfers_->End();
  }
}

}  // namespace quillmark::host
