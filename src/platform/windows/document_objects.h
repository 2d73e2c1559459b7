// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "quillmark/dom.h"

/// The document model's interfaces on MSXML.
namespace quillmark::windows {

/// Raise as `CreateObject` does if MSXML is missing.
[[nodiscard]] std::shared_ptr<DOMDocument> NewDocument();
[[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument();

}  // namespace quillmark::windows
