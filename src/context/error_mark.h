// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quillmark/dom.h"

namespace quillmark {

/// The first error mark (`e` element) that the host left in a run document; null if there is none.
[[nodiscard]] std::shared_ptr<IXMLDOMNode> FindErrorMark(const std::shared_ptr<DOMDocument>& root);

/// What is beside the first error mark: the text of its sibling `d`, or if there is none, the whole
/// element around the mark as XML. Nothing if the document has no error mark.
[[nodiscard]] std::optional<std::string> DescribeErrorMark(
    const std::shared_ptr<DOMDocument>& root);

}  // namespace quillmark
