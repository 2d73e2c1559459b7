// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::portable {

/// An XSL Pattern as the XPath 1.0 expression of the same meaning.
struct TranslatedPattern {
  std::string xpath;
  /// For each character of `xpath`, and for its end, the place in the pattern that it comes from.
  std::vector<std::size_t> origins;
};

/// Name of the XPath variable for the document node in a translated pattern.
inline constexpr const char* kDocumentVariable = "document";

/// Translates a pattern. An index predicate, which counts from 0, becomes one that counts from 1; a
/// path from the root becomes one from the variable `kDocumentVariable`, since the document node is
/// not the root of the nodes that the XML library knows. Raises the error of `PatternError` for
/// what is not a part of the language: axes, parent steps and variables, which could lead out of
/// the document.
[[nodiscard]] TranslatedPattern TranslateXslPattern(std::string_view pattern);

/// Raises the error for a bad pattern, with what is wrong and where (an offset counted from 0).
[[noreturn]] void RaisePatternError(std::string_view pattern, std::string_view reason,
                                    std::size_t offset);

}  // namespace quillmark::portable
