// SPDX-License-Identifier: MIT
// Of the folder of the platform that is tested.
#include <tested_platform.h>

#include <string_view>

namespace quillmark::testing {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0"?>)";
constexpr std::string_view kGoldenDeclaration = "<?xml version='1.0'?>";

std::string WithGoldenLineEnds(std::string_view text) {
  std::string golden;
  for (const char character : text) {
    if (character == '\n') {
      golden += "\r\n";
    } else if (character != '\r') {
      golden += character;
    }
  }
  return golden;
}

}  // namespace

std::string XmlOf(const IXMLDOMNode& node) {
  std::string text = WithGoldenLineEnds(node.xml());
  if (text.starts_with(kDeclaration)) {
    text.replace(0, kDeclaration.size(), kGoldenDeclaration);
  }
  return text;
}

}  // namespace quillmark::testing
