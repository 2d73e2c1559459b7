// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/windows/msxml.h"

namespace quillmark::windows {

/// The serialised node, with nothing added and nothing left out; of a document or fragment, its
/// children.
[[nodiscard]] std::string XmlOf(MsxmlNode& node);

}  // namespace quillmark::windows
