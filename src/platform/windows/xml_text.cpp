// SPDX-License-Identifier: MIT

#include <string_view>

#include "base/com/text.h"
#include "platform/windows/msxml_nodes.h"
#include "platform/windows/node_walk.h"

namespace quillmark::windows {
namespace {

/// Escapes the characters that end a text or, with `quote`, the value of an attribute.
void AppendEscaped(std::string& xml, std::string_view text, bool is_attribute) {
  for (const char character : text) {
    switch (character) {
      case '&':
        xml += "&amp;";
        break;
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      case '"':
        xml += is_attribute ? "&quot;" : "\"";
        break;
      default:
        xml += character;
    }
  }
}

/// The text of a document type, which is available in no other way.
std::string OwnXmlOf(MsxmlNode& node) { return Got<com::Bstr>(node, &MsxmlNode::get_xml).utf8(); }

class XmlText {
 public:
  /// Writes what comes before the children of a node; true if it can have children.
  bool Enter(MsxmlNode& node) {
    CloseStartTag();
    switch (TypeOf(node)) {
      case NodeType::kElement:
        AppendStartTag(node);
        return true;
      case NodeType::kText:
        AppendEscaped(xml_, ValueOf(node), false);
        return false;
      case NodeType::kCDataSection:
        xml_ += "<![CDATA[" + ValueOf(node) + "]]>";
        return false;
      case NodeType::kProcessingInstruction:
        AppendInstruction(node);
        return false;
      case NodeType::kComment:
        xml_ += "<!--" + ValueOf(node) + "-->";
        return false;
      case NodeType::kAttribute:
        AppendAttribute(node);
        return false;
      case NodeType::kDocument:
      case NodeType::kDocumentFragment:
        return true;
      default:
        xml_ += OwnXmlOf(node);
        return false;
    }
  }

  void Leave(MsxmlNode& node) {
    if (TypeOf(node) != NodeType::kElement) {
      return;
    }
    if (start_tag_is_open_) {
      xml_ += "/>";
      start_tag_is_open_ = false;
      return;
    }
    xml_ += "</" + NameOf(node) + ">";
  }

  [[nodiscard]] std::string Take() { return std::move(xml_); }

 private:
  void CloseStartTag() {
    if (start_tag_is_open_) {
      xml_ += ">";
      start_tag_is_open_ = false;
    }
  }

  void AppendStartTag(MsxmlNode& element) {
    xml_ += "<" + NameOf(element);
    for (const NodePtr& attribute : AttributesOf(element)) {
      xml_ += " ";
      AppendAttribute(*attribute);
    }
    start_tag_is_open_ = true;
  }

  void AppendAttribute(MsxmlNode& attribute) {
    xml_ += NameOf(attribute) + "=\"";
    AppendEscaped(xml_, ValueOf(attribute), true);
    xml_ += "\"";
  }

  void AppendInstruction(MsxmlNode& instruction) {
    const std::string data = ValueOf(instruction);
    xml_ += "<?" + NameOf(instruction) + (data.empty() ? "" : " ") + data + "?>";
  }

  std::string xml_;
  bool start_tag_is_open_ = false;
};

}  // namespace

std::string XmlOf(MsxmlNode& node) {
  XmlText text;
  Walk(
      com::Share(&node), [&](MsxmlNode& entered) { return text.Enter(entered); },
      [&](MsxmlNode& left) { text.Leave(left); });
  return text.Take();
}

}  // namespace quillmark::windows
