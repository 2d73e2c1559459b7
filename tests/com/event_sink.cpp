// SPDX-License-Identifier: MIT
#include "com/event_sink.h"

#include "base/com/status.h"

namespace quillmark::testing {

HRESULT EventSink::Invoke(DISPID member, REFIID /*reserved*/, LCID /*locale*/, WORD /*kind*/,
                          DISPPARAMS* parameters, VARIANT* /*result*/, EXCEPINFO* exception,
                          UINT* /*bad_argument*/) {
  if (member != 1) {
    return DISP_E_MEMBERNOTFOUND;
  }
  EXPECT_EQ(parameters->cArgs, 2U);
  VARIANT& node = parameters->rgvarg[1];
  VARIANT& cancel = parameters->rgvarg[0];
  EXPECT_EQ(V_VT(&node), VT_DISPATCH);
  EXPECT_EQ(V_VT(&cancel), VT_BYREF | VT_BOOL);
  try {
    handler_(V_DISPATCH(&node), *V_BOOLREF(&cancel));
  } catch (const Error& error) {
    *exception = {};
    exception->scode = com::StatusOf(error.Number());
    return DISP_E_EXCEPTION;
  }
  return S_OK;
}

com::ComPtr<IConnectionPoint> EventsOf(const DiagPtr& diag) {
  com::ComPtr<IConnectionPoint> point;
  com::Require(diag.As<IConnectionPointContainer>()->FindConnectionPoint(
      __uuidof(_IDiagOnCANReprogEvents), point.Put()));
  return point;
}

DWORD Connect(const DiagPtr& diag, EventSink::Handler handler) {
  const auto sink = com::ComPtr<IDispatch>::Adopt(new EventSink(std::move(handler)));
  DWORD cookie = 0;
  com::Require(EventsOf(diag)->Advise(sink.get(), &cookie));
  return cookie;
}

void Disconnect(const DiagPtr& diag, DWORD cookie) {
  com::Require(EventsOf(diag)->Unadvise(cookie));
}

}  // namespace quillmark::testing
