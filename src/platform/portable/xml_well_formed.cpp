// SPDX-License-Identifier: MIT
#include "platform/portable/xml_well_formed.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "platform/portable/utf8.h"
#include "platform/portable/xml_lexis.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

/// Every node is kept, also before and after the root element, and every value stays as written, so
/// that what XML forbids can be found.
constexpr unsigned int kLiterally = pugi::parse_fragment | pugi::parse_pi | pugi::parse_comments |
                                    pugi::parse_cdata | pugi::parse_ws_pcdata |
                                    pugi::parse_declaration | pugi::parse_doctype;

constexpr const char* kUnknownReference = "\"&\" begins no known reference";

[[noreturn]] void Fail(const std::string& reason, std::size_t offset) {
  throw Error(error_number::kTypeMismatch, reason + " (offset " + std::to_string(offset) + ")");
}

/// The position of the node's name, or of the value of a node without a name.
std::size_t OffsetOf(pugi::xml_node node) { return static_cast<std::size_t>(node.offset_debug()); }

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

void RequireText(pugi::xml_node node) {
  const std::string_view text = node.value();
  if (const std::size_t at = text.find("]]>"); at != std::string_view::npos) {
    Fail("\"]]>\" stands in text", OffsetOf(node) + at);
  }
  if (const std::size_t at = FindUnknownReference(text); at != std::string_view::npos) {
    Fail(kUnknownReference, OffsetOf(node) + at);
  }
}

void RequireComment(pugi::xml_node node) {
  if (!FitsComment(node.value())) {
    Fail("A comment holds \"--\" or ends with \"-\"", OffsetOf(node));
  }
}

void RequireDistinctNames(pugi::xml_node element) {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute attribute : element.attributes()) {
    names.emplace_back(attribute.name());
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) {
    Fail("The attribute \"" + std::string(*twice) + "\" is given twice", OffsetOf(element));
  }
}

void RequireAttributes(pugi::xml_node element) {
  for (const pugi::xml_attribute attribute : element.attributes()) {
    const std::string_view value = attribute.value();
    if (value.find('<') != std::string_view::npos) {
      Fail("\"<\" stands in an attribute's value", OffsetOf(element));
    }
    if (FindUnknownReference(value) != std::string_view::npos) {
      Fail(kUnknownReference, OffsetOf(element));
    }
  }
  if (element.first_attribute() != element.last_attribute()) {
    RequireDistinctNames(element);
  }
}

void RequireNode(pugi::xml_node node) {
  switch (node.type()) {
    case pugi::node_element:
      return RequireAttributes(node);
    case pugi::node_pcdata:
      return RequireText(node);
    case pugi::node_comment:
      return RequireComment(node);
    default:
      return;
  }
}

/// A node beside the root element, or the element itself.
void RequireFitsTop(pugi::xml_node node) {
  const std::string_view value = node.value();
  switch (node.type()) {
    case pugi::node_doctype:
      Fail("Document type declarations are not accepted", OffsetOf(node));
    case pugi::node_cdata:
      Fail(kTextOutside, OffsetOf(node));
    case pugi::node_pcdata:
      if (!IsBlank(value)) {
        Fail(kTextOutside, OffsetOf(node) + value.find_first_not_of(kBlanks));
      }
      return;
    case pugi::node_declaration:
      if (node.previous_sibling() || std::string_view(node.name()) != "xml") {
        Fail("An XML declaration stands behind the beginning", OffsetOf(node));
      }
      return;
    default:
      return;
  }
}

void RequireOneRoot(const pugi::xml_document& document, std::size_t end) {
  pugi::xml_node root;
  for (const pugi::xml_node node : document.children()) {
    RequireFitsTop(node);
    if (node.type() != pugi::node_element) {
      continue;
    }
    if (root) {
      Fail("A second root element", OffsetOf(node));
    }
    root = node;
  }
  if (!root) {
    Fail("The document has no element", end);
  }
}

void Parse(pugi::xml_document& document, std::string_view text) {
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), kLiterally, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) {
    throw std::bad_alloc();
  }
  if (!result) {
    Fail(result.description(), static_cast<std::size_t>(result.offset));
  }
}

}  // namespace

void RequireWellFormed(std::string_view text) {
  const std::size_t valid = XmlPrefixLength(text);
  if (valid < text.size()) {
    Fail("Neither UTF-8 nor a character that XML allows", valid);
  }
  pugi::xml_document document;
  Parse(document, text);
  RequireOneRoot(document, text.size());
  static_cast<void>(document.find_node([](pugi::xml_node node) {
    RequireNode(node);
    return false;
  }));
}

}  // namespace quillmark::portable
