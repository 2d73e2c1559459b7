// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/portable/portable_platform_factory.h"
#include "quillmark/dom.h"
#include "tests/src/platform/step_fragment.h"

namespace quillmark::testing {

/// A document with a piece of everything that a tree can hold.
inline constexpr const char* kEverything =
    "<?xml version='1.0'?><!--c--><can i=\"1\">\n<x>a<![CDATA[<b>]]>c</x><?t data?><e/></can>";

inline std::shared_ptr<DOMDocument> NewDocument() {
  return MakePortablePlatform()->CreateDOMDocument();
}

inline std::shared_ptr<DOMDocument> Loaded(std::string_view xml) {
  auto document = NewDocument();
  document->loadXML(xml);
  return document;
}

}  // namespace quillmark::testing
