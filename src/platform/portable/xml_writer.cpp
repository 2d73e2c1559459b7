// SPDX-License-Identifier: MIT
#include "platform/portable/xml_writer.h"

#include "platform/portable/tree_edits.h"

namespace quillmark::portable {
namespace {

class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& text) : text_(text) {}

  void write(const void* data, std::size_t size) override {
    text_.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& text_;
};

}  // namespace

std::string WriteXml(pugi::xml_node node) {
  std::string text;
  StringWriter writer(text);
  const auto write = [&](pugi::xml_node part) {
    part.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
  };
  const NodeType type = TypeOf(node);
  if (type != NodeType::kDocument && type != NodeType::kDocumentFragment) {
    write(node);
    return text;
  }
  for (const pugi::xml_node child : node.children()) {
    write(child);
  }
  return text;
}

}  // namespace quillmark::portable
