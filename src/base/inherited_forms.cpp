// SPDX-License-Identifier: MIT
// The default implementations that types of other platforms inherit: operations for which an
// implementation may have a faster way.
#include "base/guards.h"
#include "base/hex.h"
#include "quillmark/byte_string.h"
#include "quillmark/dom.h"

namespace quillmark {

void ByteString::ReadBytes(const std::function<void(std::span<const std::uint8_t>)>& read) const {
  read(BytesOfHex(Hex()));
}

void ByteString::SetBytes(std::span<const std::uint8_t> bytes) { SetHex(HexOf(bytes)); }

void IXMLDOMNode::setNodeBytes(const ByteString& bytes) { setNodeValue(bytes.Hex()); }

void IXMLDOMNode::readNodeBytes(ByteString& bytes) const { bytes.SetHex(nodeValue()); }

void IXMLDOMNode::readChildTexts(std::string_view name, std::string_view part,
                                 const std::function<void(const ChildText&)>& read) const {
  const auto children = NotNull(selectNodes(name));
  for (std::size_t index = 0; index < children->length(); ++index) {
    const auto found = Require(children->item(index)).selectSingleNode(part);
    const auto content = found ? found->firstChild() : nullptr;
    if (content) {
      const std::string text = content->text();
      read({ChildText::State::kText, text});
    } else {
      read({found ? ChildText::State::kEmptyPart : ChildText::State::kNoPart, {}});
    }
  }
}

void IXMLDOMElement::appendLeaves(std::span<const Leaf> leaves) {
  const auto document = NotNull(ownerDocument());
  const auto append_text = [&](IXMLDOMNode& parent, std::string_view text) {
    parent.appendChild(NotNull(document->createTextNode(text)));
  };
  for (const Leaf& leaf : leaves) {
    const auto element = NotNull(document->createElement(leaf.name));
    const auto holder = leaf.child.empty() ? element : NotNull(document->createElement(leaf.child));
    append_text(*holder, leaf.text);
    if (holder != element) {
      element->appendChild(holder);
    }
    appendChild(element);
    append_text(*this, kLineEnd);
  }
}

}  // namespace quillmark
