// SPDX-License-Identifier: MIT
#include "platform/portable/xml_well_formed.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/portable/xml_lexis.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr const char* kUnknownReference = "\"&\" begins no known reference";

bool IsCharacterNumber(std::string_view digits) {
  const int base = digits.starts_with('x') ? 16 : 10;
  digits.remove_prefix(base == 16 ? 1 : 0);
  std::uint32_t code = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, code, base);
  return error == std::errc() && stop == end && IsXmlCharacter(code);
}

/// Whether `name` may be between "&" and ";".
bool IsReference(std::string_view name) {
  if (name.starts_with('#')) {
    return IsCharacterNumber(name.substr(1));
  }
  constexpr std::array<std::string_view, 5> kEntities{"lt", "gt", "amp", "quot", "apos"};
  return std::find(kEntities.begin(), kEntities.end(), name) != kEntities.end();
}

/// Offset of the first "&" that does not begin a reference, or npos.
std::size_t FindUnknownReference(std::string_view text) {
  std::size_t at = text.find('&');
  while (at != std::string_view::npos) {
    const std::size_t end = text.find(';', at);
    if (end == std::string_view::npos || !IsReference(text.substr(at + 1, end - at - 1))) {
      return at;
    }
    at = text.find('&', end);
  }
  return at;
}

/// The position of the name of the first node of a text, or of the value of a node without a name.
std::size_t OffsetOfFirst(std::string_view text) {
  const std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  const std::string_view rest = text.substr(begin);
  for (const std::string_view opening : {"<!--", "<![CDATA[", "<?"}) {
    if (rest.starts_with(opening)) {
      return begin + opening.size();
    }
  }
  constexpr std::string_view kTypeDeclaration = "<!DOCTYPE";
  if (rest.starts_with(kTypeDeclaration)) {
    return text.find_first_not_of(kBlanks, begin + kTypeDeclaration.size());
  }
  return begin + (rest.starts_with('<') ? 1 : 0);
}

/// The same for a parsed node, as a place in the library's copy of the text.
const char* PlaceOf(pugi::xml_node node) {
  switch (node.type()) {
    case pugi::node_element:
    case pugi::node_declaration:
    case pugi::node_pi:
      return node.name();
    default:
      return node.value();
  }
}

/// Whether a text has a character that belongs to an attribute, a reference, a comment, an
/// instruction or the end of a section. The loop has no early end, so that it can be vectorized.
bool HasMark(std::string_view text) {
  std::uint8_t marks = 0;
  for (const char c : text) {
    const bool is_mark = c == '=' || c == '&' || c == '!' || c == '?' || c == ']';
    marks = static_cast<std::uint8_t>(marks | (is_mark ? 1 : 0));
  }
  return marks != 0;
}

/// An offset beyond which there are no such characters.
std::size_t EndOfMarks(std::string_view text) {
  constexpr std::size_t kPartSize = 256;
  while (!text.empty() && !HasMark(text.substr(text.size() - std::min(text.size(), kPartSize)))) {
    text.remove_suffix(std::min(text.size(), kPartSize));
  }
  return text.size();
}

}  // namespace

void RaiseMalformed(const std::string& reason, std::size_t offset) {
  throw Error(error_number::kTypeMismatch, reason + " (offset " + std::to_string(offset) + ")");
}

void RequireXmlCharacters(std::string_view text) {
  const std::size_t valid = XmlPrefixLength(text);
  if (valid < text.size()) {
    RaiseMalformed("Neither UTF-8 nor a character that XML allows", valid);
  }
}

WellFormed::WellFormed(std::string_view text, pugi::xml_node first)
    : text_(text),
      first_(first),
      first_place_(PlaceOf(first)),
      first_offset_(OffsetOfFirst(text)),
      marks_end_(EndOfMarks(text)),
      any_text_will_do_(text.find('&') == std::string_view::npos &&
                        text.find("]]>") == std::string_view::npos) {}

std::size_t WellFormed::OffsetOf(const char* parsed) const {
  return first_offset_ + static_cast<std::size_t>(parsed - first_place_);
}

std::size_t WellFormed::OffsetOf(pugi::xml_node node) const { return OffsetOf(PlaceOf(node)); }

void WellFormed::RequireTextAsWritten(pugi::xml_node node) const {
  const std::size_t offset = OffsetOf(node);
  const std::string_view raw = text_.substr(offset, text_.find('<', offset) - offset);
  if (const std::size_t at = raw.find("]]>"); at != std::string_view::npos) {
    RaiseMalformed("\"]]>\" stands in text", offset + at);
  }
  if (const std::size_t at = FindUnknownReference(raw); at != std::string_view::npos) {
    RaiseMalformed(kUnknownReference, offset + at);
  }
}

void WellFormed::RequireDistinctNames(pugi::xml_node element) const {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute attribute : element.attributes()) {
    names.emplace_back(attribute.name());
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) {
    RaiseMalformed("The attribute \"" + std::string(*twice) + "\" is given twice",
                   OffsetOf(element));
  }
}

void WellFormed::RequireAttributes(pugi::xml_node element) const {
  if (element.first_attribute().empty()) {
    return;
  }
  for (const pugi::xml_attribute attribute : element.attributes()) {
    const std::size_t offset = OffsetOf(attribute.value());
    const char quote = text_[offset - 1];
    const std::string_view raw = text_.substr(offset, text_.find(quote, offset) - offset);
    if (raw.find('<') != std::string_view::npos) {
      RaiseMalformed("\"<\" stands in an attribute's value", OffsetOf(element));
    }
    if (FindUnknownReference(raw) != std::string_view::npos) {
      RaiseMalformed(kUnknownReference, OffsetOf(element));
    }
  }
  if (element.first_attribute() != element.last_attribute()) {
    RequireDistinctNames(element);
  }
}

void WellFormed::RequireComment(pugi::xml_node comment) const {
  if (!FitsComment(comment.value())) {
    RaiseMalformed("A comment holds \"--\" or ends with \"-\"", OffsetOf(comment));
  }
}

void WellFormed::RequireFitsTop(pugi::xml_node node) const {
  switch (node.type()) {
    case pugi::node_doctype:
      RaiseMalformed("Document type declarations are not accepted", OffsetOf(node));
    case pugi::node_cdata:
      RaiseMalformed(kTextOutside, OffsetOf(node));
    case pugi::node_pcdata: {
      const std::size_t offset = OffsetOf(node);
      const std::size_t at = text_.find_first_not_of(kBlanks, offset);
      if (at < text_.find('<', offset)) {
        RaiseMalformed(kTextOutside, at);
      }
      return;
    }
    case pugi::node_declaration:
      if (node != first_ || std::string_view(node.name()) != "xml") {
        RaiseMalformed("An XML declaration stands behind the beginning", OffsetOf(node));
      }
      return;
    default:
      return;
  }
}

void WellFormed::RequireOneRoot() const {
  pugi::xml_node root;
  for (pugi::xml_node node = first_; node; node = node.next_sibling()) {
    RequireFitsTop(node);
    if (node.type() != pugi::node_element) {
      continue;
    }
    if (root) {
      RaiseMalformed("A second root element", OffsetOf(node));
    }
    root = node;
  }
  if (!root) {
    RaiseMalformed("The document has no element", text_.size());
  }
}

}  // namespace quillmark::portable
