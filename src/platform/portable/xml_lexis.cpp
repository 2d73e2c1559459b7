// SPDX-License-Identifier: MIT
#include "platform/portable/xml_lexis.h"

#include <string>

#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

bool BeginsName(char c) {
  const char lower = static_cast<char>(c | 0x20);
  return (lower >= 'a' && lower <= 'z') || c == '_' || c == ':' || (c & 0x80) != 0;
}

bool ContinuesName(char c) {
  return BeginsName(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

}  // namespace

std::size_t NameLength(std::string_view text) {
  if (text.empty() || !BeginsName(text.front())) {
    return 0;
  }
  std::size_t length = 1;
  while (length < text.size() && ContinuesName(text[length])) {
    ++length;
  }
  return length;
}

void RequireName(std::string_view name) {
  if (name.empty() || NameLength(name) != name.size()) {
    throw Error(error_number::kTypeMismatch, "\"" + std::string(name) + "\" is not an XML name");
  }
}

bool FitsComment(std::string_view text) {
  return text.find("--") == std::string_view::npos && !text.ends_with('-');
}

void RequireNoNul(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw Error(error_number::kTypeMismatch, "XML text cannot hold the character U+0000");
  }
}

}  // namespace quillmark::portable
