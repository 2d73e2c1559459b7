// SPDX-License-Identifier: MIT
#pragma once

#include <ocidl.h>
#include <windows.h>

#include "component/com/event_sinks.h"

namespace quillmark {

/// The one connection point of an object, for the event interface of `DiagOnCANReprog`. It has its
/// own identity, as COM demands, and lives as long as its object.
class ConnectionPoint final : public IConnectionPoint {
 public:
  ConnectionPoint(IConnectionPointContainer& container, EventSinks& sinks)
      : container_(container), sinks_(sinks) {}
  ConnectionPoint(const ConnectionPoint&) = delete;
  ConnectionPoint& operator=(const ConnectionPoint&) = delete;
  ~ConnectionPoint() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return container_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return container_.Release(); }

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override;
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

 private:
  IConnectionPointContainer& container_;
  EventSinks& sinks_;
};

/// A list of that one connection point, as a container returns it.
[[nodiscard]] HRESULT EnumerateConnectionPoint(IConnectionPoint& point,
                                               IEnumConnectionPoints** points) noexcept;

}  // namespace quillmark
