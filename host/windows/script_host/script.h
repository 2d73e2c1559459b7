// SPDX-License-Identifier: MIT
#pragma once

#include <activscp.h>
#include <windows.h>

#include <string>
#include <vector>

#include "base/com/com_ptr.h"
#include "host/windows/script_host/wscript.h"

namespace quillmark::script_host {

/// One script engine with `WScript` in it. Used by the thread that created it, in a single-threaded
/// apartment.
class Script {
 public:
  /// `engine` is its ProgID, such as "VBScript". Raises the failure if it cannot be created.
  Script(const std::wstring& engine, com::ComPtr<WScript> wscript);
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;
  ~Script();

  /// Runs the text of a file to its end. False after an uncaught error, in the text or in an event
  /// since then; the error has been printed with its file, line, number and description.
  [[nodiscard]] bool Run(const std::wstring& file, const std::wstring& text);

 private:
  class Site;

  com::ComPtr<WScript> wscript_;
  com::ComPtr<Site> site_;
  com::ComPtr<IActiveScript> engine_;
};

}  // namespace quillmark::script_host
