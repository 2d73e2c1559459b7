// SPDX-License-Identifier: MIT
#include "context/error_mark.h"

#include "base/guards.h"

namespace quillmark {

std::shared_ptr<IXMLDOMNode> FindErrorMark(const std::shared_ptr<DOMDocument>& root) {
  return Require(root).selectSingleNode("//e");
}

std::optional<std::string> DescribeErrorMark(const std::shared_ptr<DOMDocument>& root) {
  const auto mark = FindErrorMark(root);
  if (!mark) {
    return std::nullopt;
  }
  const auto holder = mark->parentNode();
  const auto data = Require(holder).selectSingleNode("d");
  return data ? data->text() : holder->xml();
}

}  // namespace quillmark
