// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "quillmark/portable_platform.h"

/// The platform that the tests of this build run on: here the portable one.
namespace quillmark::testing {

using TestedPlatform = PortablePlatform;

inline std::shared_ptr<TestedPlatform> TestPlatform() { return CreatePortablePlatform(); }

/// The text of a document or node, as the golden documents have it.
#if defined(_WIN32)
[[nodiscard]] std::string XmlOf(const IXMLDOMNode& node);
#else
inline std::string XmlOf(const IXMLDOMNode& node) { return node.xml(); }
#endif

}  // namespace quillmark::testing
