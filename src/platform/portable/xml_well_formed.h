// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace quillmark::portable {

/// Raises 13 with the reason and the offset in bytes if `text` is not a well-formed XML document in
/// UTF-8. Document type declarations are refused as well, and so there are no entities but the five
/// predefined ones.
void RequireWellFormed(std::string_view text);

}  // namespace quillmark::portable
