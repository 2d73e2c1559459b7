// SPDX-License-Identifier: MIT
#pragma once

#include <objbase.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "platform/windows/windows_platform.h"

/// The platform that the tests of this build run on: here the Windows one, with the host's library
/// that is registered.
namespace quillmark::testing {

using TestedPlatform = WindowsPlatform;

/// The first call takes the test's thread into the multithreaded apartment, for good.
inline std::shared_ptr<TestedPlatform> TestPlatform() {
  static const HRESULT entered = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(entered)) {
    throw std::runtime_error("no apartment");
  }
  return CreateWindowsPlatform();
}

/// The text of a document or node, as the golden documents have it: MSXML may keep a line end as a
/// line feed alone, and gives an XML declaration its own quotes. Elements, attributes and every
/// other character are compared as they are.
[[nodiscard]] std::string XmlOf(const IXMLDOMNode& node);

}  // namespace quillmark::testing
