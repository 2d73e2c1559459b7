// SPDX-License-Identifier: MIT
#pragma once

#include <ocidl.h>
#include <windows.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "base/com/com_ptr.h"
#include "base/com/scriptable.h"
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

/// The object `WScript` that a script talks to its host through:
///
/// - `Echo a, b, …` prints a line
/// - `Sleep ms` waits and lets events in meanwhile
/// - `Quit [code]` ends the process; nothing of the script runs after it
/// - `CreateObject(progid[, prefix])` creates an object and, with a prefix, connects its events
/// - `ConnectObject object, prefix` and `DisconnectObject object`
/// - `Arguments`, with `Count`, `Length` and `Item`
/// - `ScriptFullName`
class WScript final : public com::Scriptable {
 public:
  WScript(std::wstring script_file, std::vector<std::wstring> arguments);

  /// Where the procedures of the script are found. No events can be connected before this is set.
  void SetScript(com::ComPtr<IDispatch> script) { script_ = std::move(script); }
  /// Ends all connections and releases the script.
  void Disconnect();

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override;
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override;

  com::Variant ArgumentOf(const com::Arguments& arguments);
  com::Variant CreateObject(const com::Arguments& arguments);
  void Connect(const com::ComPtr<IDispatch>& object, std::wstring_view prefix);

  std::wstring script_file_;
  com::ComPtr<IDispatch> arguments_;
  com::ComPtr<IDispatch> script_;
  std::list<Connection> connections_;
};

}  // namespace quillmark::script_host
