// SPDX-License-Identifier: MIT
#include "component/com/connection_point.h"

#include <olectl.h>

#include "base/com/enumerator.h"
#include "base/com/status.h"
#include "component/com/quillmark_com.h"

namespace quillmark {
namespace {

struct ConnectionPolicy {
  using Item = EventSinks::Connection;
  using Raw = CONNECTDATA;
  static Raw Copy(const Item& item) { return {com::Share(item.second.get()).Detach(), item.first}; }
};

struct ConnectionPointPolicy {
  using Item = com::ComPtr<IConnectionPoint>;
  using Raw = IConnectionPoint*;
  static Raw Copy(const Item& item) { return com::Share(item.get()).Detach(); }
};

/// The sink by its event interface; one of a script may know the members but not the interface.
com::ComPtr<IDispatch> DispatchOf(IUnknown& sink) {
  com::ComPtr<IDispatch> dispatch;
  if (FAILED(sink.QueryInterface(__uuidof(_IDiagOnCANReprogEvents), dispatch.PutVoid())) &&
      FAILED(sink.QueryInterface(IID_IDispatch, dispatch.PutVoid()))) {
    throw Error(CONNECT_E_CANNOTCONNECT);
  }
  return dispatch;
}

}  // namespace

HRESULT ConnectionPoint::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  if (iid != IID_IUnknown && iid != IID_IConnectionPoint) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  *object = static_cast<IConnectionPoint*>(this);
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) {
  if (iid == nullptr) {
    return E_POINTER;
  }
  *iid = __uuidof(_IDiagOnCANReprogEvents);
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  if (container == nullptr) {
    return E_POINTER;
  }
  *container = com::Share(&container_).Detach();
  return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
  if (sink == nullptr || cookie == nullptr) {
    return E_POINTER;
  }
  *cookie = 0;
  return com::Guarded([&] { *cookie = sinks_.Advise(*DispatchOf(*sink)); });
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
  return sinks_.Unadvise(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) {
  if (connections == nullptr) {
    return E_POINTER;
  }
  *connections = nullptr;
  return com::Guarded([&] {
    *connections = new com::Enumerator<IEnumConnections, ConnectionPolicy>(sinks_.Connections());
  });
}

HRESULT EnumerateConnectionPoint(IConnectionPoint& point, IEnumConnectionPoints** points) noexcept {
  if (points == nullptr) {
    return E_POINTER;
  }
  *points = nullptr;
  return com::Guarded([&] {
    *points =
        new com::Enumerator<IEnumConnectionPoints, ConnectionPointPolicy>({com::Share(&point)});
  });
}

}  // namespace quillmark
