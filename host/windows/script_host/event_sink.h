// SPDX-License-Identifier: MIT
#pragma once

#include <ocidl.h>
#include <windows.h>

#include <map>
#include <string>

#include "base/com/com_ptr.h"
#include "base/com/unknown.h"

namespace quillmark::script_host {

/// The events of one object, by its class information: the default source interface and the names
/// of its members.
struct EventInterface {
  GUID id;
  std::map<DISPID, std::wstring> names;
};

/// Raises 438 for an object that declares no events.
[[nodiscard]] EventInterface EventsOf(IUnknown& object);

/// Passes each event of an object to the script's procedure called `prefix` + event, if the script
/// has one.
///
/// A by-reference Boolean reaches the procedure as a reference on a value and is converted back
/// afterwards: that way an engine that only writes back into values, like one that writes back into
/// Booleans, can answer.
class EventSink final : public com::InvokeOnly {
 public:
  EventSink(com::ComPtr<IDispatch> script, std::wstring prefix, EventInterface events);

  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD kind,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;

 private:
  [[nodiscard]] void* Find(REFIID iid) override;

  com::ComPtr<IDispatch> script_;
  std::wstring prefix_;
  EventInterface events_;
};

/// A sink that is advised as long as this object lives.
class Connection {
 public:
  /// Raises the failure if the object refuses it.
  Connection(const com::ComPtr<IDispatch>& object, const com::ComPtr<IDispatch>& script,
             const std::wstring& prefix);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  [[nodiscard]] bool IsOf(const com::ComPtr<IDispatch>& object) const;

 private:
  com::ComPtr<IUnknown> identity_;
  com::ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace quillmark::script_host
