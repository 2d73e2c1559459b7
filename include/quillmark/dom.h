// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "quillmark/export.h"

namespace quillmark {

class ByteString;
class DOMDocument;
class IXMLDOMNode;

/// Ends every line of the component's documents.
inline constexpr std::string_view kLineEnd = "\r\n";

/// One element of a row, as `IXMLDOMElement::appendLeaves` appends it. The texts are the caller's.
struct Leaf {
  std::string_view name;   ///< of the element
  std::string_view child;  ///< name of the element inside that holds the text; empty: there is none
  std::string_view text;   ///< may be empty
};

/// What `IXMLDOMNode::readChildTexts` reports about one child element.
struct ChildText {
  /// What was found.
  enum class State : std::uint8_t {
    kNoPart,     ///< the child has no such part
    kEmptyPart,  ///< the part has no content
    kText,       ///< `text` holds the content
  };
  State state;            ///< whether there is a text
  std::string_view text;  ///< valid during the call
};

/// The numeric node types of the W3C document object model.
enum class NodeType : std::uint8_t {
  kElement = 1,                ///< `<r>…</r>`
  kAttribute = 2,              ///< never a node object of its own: see `IXMLDOMElement`
  kText = 3,                   ///< characters, including white space
  kCDataSection = 4,           ///< `<![CDATA[…]]>`
  kProcessingInstruction = 7,  ///< `<?…?>`, including the XML declaration
  kComment = 8,                ///< `<!--…-->`
  kDocument = 9,               ///< the document, above the root element
  kDocumentType = 10,          ///< never: documents with one are refused
  kDocumentFragment = 11,      ///< a sequence of nodes without a parent
};

/// The nodes that a path selected, in document order; a snapshot.
class QUILLMARK_API IXMLDOMNodeList {
 public:
  virtual ~IXMLDOMNodeList() = default;

  /// The number of nodes.
  [[nodiscard]] virtual std::size_t length() const = 0;
  /// The node at an index counted from 0, in constant time; null if there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> item(std::size_t index) const = 0;
};

/// A node of a document. A node object keeps its document alive. Several node objects may represent
/// the same node.
///
/// Paths are XSL Patterns, the default selection language of the document model: like XPath
/// location paths, but an index predicate counts from 0, so "/can/x/r[0]" is the first `r`.
///
/// Threads: a document and its nodes belong to one thread at a time, except as
/// `FreeThreadedDOMDocument` says.
/// Errors: those of the XML library; the errors named below are those of the portable platform. A
/// failed allocation is 7 "Out of memory".
class QUILLMARK_API IXMLDOMNode {
 public:
  IXMLDOMNode() = default;
  IXMLDOMNode(const IXMLDOMNode&) = delete;
  IXMLDOMNode& operator=(const IXMLDOMNode&) = delete;
  IXMLDOMNode(IXMLDOMNode&&) = delete;
  IXMLDOMNode& operator=(IXMLDOMNode&&) = delete;
  virtual ~IXMLDOMNode() = default;

  /// The type of the node.
  [[nodiscard]] virtual NodeType nodeType() const = 0;
  /// Tag name of an element, target of a processing instruction, otherwise "#text", "#document", …
  [[nodiscard]] virtual std::string nodeName() const = 0;

  /// The characters of a text, CDATA, comment or processing instruction node; empty for other
  /// nodes.
  [[nodiscard]] virtual std::string nodeValue() const = 0;
  /// Replaces these characters. Raises 13 for an element, a document and a fragment, and for text
  /// that the syntax of the node cannot hold.
  virtual void setNodeValue(std::string_view value) = 0;

  /// Sets the value to the hexadecimal text of `bytes`. A platform may keep the bytes themselves,
  /// shared with `bytes`, and make their text whenever it is asked for.
  virtual void setNodeBytes(const ByteString& bytes);
  /// Assigns to `bytes` the bytes whose hexadecimal text the value is. Raises 13 if the value is
  /// not hexadecimal.
  virtual void readNodeBytes(ByteString& bytes) const;

  /// The value of a leaf. For an element, fragment or document, all its text and CDATA content,
  /// joined in document order and not trimmed.
  [[nodiscard]] virtual std::string text() const = 0;
  /// Sets the value of a leaf. For other nodes, replaces all children by one text node.
  virtual void setText(std::string_view value) = 0;

  /// The serialised node, with nothing added: no indentation, line ends unchanged.
  [[nodiscard]] virtual std::string xml() const = 0;

  /// The parent of this node; null if there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> parentNode() const = 0;
  /// The first child; null if there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> firstChild() const = 0;
  /// The next node in the same parent; null if there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> nextSibling() const = 0;
  /// The document of the node; null for a document.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> ownerDocument() const = 0;

  /// Appends `child`, a node of the same document, as the last child. For a fragment, its children
  /// are moved instead. Returns `child`.
  virtual std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) = 0;

  /// A copy without a parent, in the same document. For a document, a new document of the same
  /// kind.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const = 0;

  /// The first node that `path` selects, relative to this node; null if it selects nothing.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view path) const = 0;
  /// All nodes that `path` selects, relative to this node; an empty list if it selects nothing.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNodeList> selectNodes(
      std::string_view path) const = 0;

  /// Calls `read` for each child element called `name`, in document order, with the text of the
  /// first child of its first child element called `part`. Both are names, not paths. A platform
  /// can thus read the thousands of frames of a transfer without making a node object for each.
  virtual void readChildTexts(std::string_view name, std::string_view part,
                              const std::function<void(const ChildText&)>& read) const;
};

/// An element.
class QUILLMARK_API IXMLDOMElement : public IXMLDOMNode {
 public:
  /// The value of the attribute; nothing if the element has no such attribute.
  [[nodiscard]] virtual std::optional<std::string> getAttribute(std::string_view name) const = 0;
  /// Adds the attribute, or replaces its value. Raises 13 if `name` is not an XML name.
  virtual void setAttribute(std::string_view name, std::string_view value) = 0;

  /// Appends each of `leaves` in turn: `<name><child>text</child></name>`, or without a child
  /// `<name>text</name>`, followed by a text node with `kLineEnd`. An empty text becomes a text
  /// node as well. Raises 13 for a name that is not an XML name, and for U+0000.
  ///
  /// A platform may append a row faster than node by node, and then appends all of it or nothing;
  /// this one stops at the first leaf that fails.
  virtual void appendLeaves(std::span<const Leaf> leaves);
};

/// A document. The nodes that it creates have no parent until they are appended.
class QUILLMARK_API DOMDocument : public IXMLDOMNode {
 public:
  /// The root element; null if the document is empty.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMElement> documentElement() const = 0;

  /// A new node. `name` is the name of an element or the target of a processing instruction;
  /// `namespaceURI` is empty in the documents of the component. Raises 13 for a type that cannot be
  /// created and for an invalid name.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createNode(NodeType type,
                                                                std::string_view name,
                                                                std::string_view namespaceURI) = 0;
  /// A new element. Raises 13 if `name` is not an XML name.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) = 0;
  /// A new text node. Raises 13 for U+0000.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) = 0;
  /// A new processing instruction. Raises 13 if the target is not an XML name or the data contains
  /// "?>".
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createProcessingInstruction(
      std::string_view target, std::string_view data) = 0;
  /// A new, empty fragment.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createDocumentFragment() = 0;

  /// Replaces the content of `target` by an exact copy of this document, including every text node.
  virtual void save(DOMDocument& target) const = 0;

  /// Replaces the content by the parsed `text` (UTF-8). White space, comments and CDATA are kept;
  /// line ends become a single line feed, as XML demands. Raises 13, with the reason and the
  /// offset, if the text is not a well-formed document; the document is then empty.
  virtual void loadXML(std::string_view text) = 0;

  /// Whether loading may return before it is complete. It never does; the setting exists for hosts
  /// that use it.
  [[nodiscard]] virtual bool async() const = 0;
  /// Stores the setting, without effect.
  virtual void setAsync(bool value) = 0;
};

/// A document that may be read by several threads at once and passed from one to another. While one
/// thread changes it, no other may use it. Cloning a whole document only reads it; cloning one of
/// its nodes changes it, as creating a node does.
class QUILLMARK_API FreeThreadedDOMDocument : public DOMDocument {};

}  // namespace quillmark
