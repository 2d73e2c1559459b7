// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <string>
#include <vector>

#include "base/com/scriptable.h"
#include "host/windows/script_host/event_sink.h"

namespace quillmark::script_host {

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
