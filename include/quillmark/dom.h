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

/// A copy of a template with its text, as `IXMLDOMNode::appendTemplates` makes it.
struct TemplateCopy {
  const IXMLDOMNode* fragment;  ///< the template; the caller's, good for the call alone
  std::string_view text;        ///< what the first text node of the copy holds; likewise
};

/// What `IXMLDOMNode::readChildTexts` tells of one child element.
struct ChildText {
  /// What was found of the part.
  enum class State : std::uint8_t {
    kNoPart,     ///< it has no such part
    kEmptyPart,  ///< the part has no content
    kText,       ///< `text` holds it
  };
  State state;            ///< whether there is a text
  std::string_view text;  ///< good for the call alone
};

/// The numeric node types of the W3C document object model.
enum class NodeType : std::uint8_t {
  kElement = 1,                ///< `<r>…</r>`
  kAttribute = 2,              ///< never a node object of its own: see `IXMLDOMElement`
  kText = 3,                   ///< characters, white space included
  kCDataSection = 4,           ///< `<![CDATA[…]]>`
  kProcessingInstruction = 7,  ///< `<?…?>`, the XML declaration included
  kComment = 8,                ///< `<!--…-->`
  kDocument = 9,               ///< the whole, above the root element
  kDocumentType = 10,          ///< never: documents with one are refused
  kDocumentFragment = 11,      ///< a row of nodes without a parent
};

/// The nodes that a path selects, in document order; a snapshot.
class QUILLMARK_API IXMLDOMNodeList {
 public:
  virtual ~IXMLDOMNodeList() = default;

  /// The number of nodes.
  [[nodiscard]] virtual std::size_t length() const = 0;
  /// The node at an index counted from 0, in constant time; null where there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> item(std::size_t index) const = 0;
};

/// A node of a document. A node object keeps its document alive; several node objects may stand for
/// the same node.
///
/// Paths are XSL Patterns, the default selection language of the document model: like XPath
/// location paths, but an index predicate counts from 0, so "/can/x/r[0]" is the first `r`.
///
/// Threads: a document and its nodes belong to one thread at a time, except as
/// `FreeThreadedDOMDocument` says.
/// Errors: what the XML library reports, those of the portable platform being named below; a failed
/// allocation is 7 "Out of memory".
class QUILLMARK_API IXMLDOMNode {
 public:
  IXMLDOMNode() = default;
  IXMLDOMNode(const IXMLDOMNode&) = delete;
  IXMLDOMNode& operator=(const IXMLDOMNode&) = delete;
  IXMLDOMNode(IXMLDOMNode&&) = delete;
  IXMLDOMNode& operator=(IXMLDOMNode&&) = delete;
  virtual ~IXMLDOMNode() = default;

  /// What the node is.
  [[nodiscard]] virtual NodeType nodeType() const = 0;
  /// Tag name of an element, target of a processing instruction, else "#text", "#document", …
  [[nodiscard]] virtual std::string nodeName() const = 0;

  /// The characters of a text, CDATA, comment or processing instruction node; empty for others.
  [[nodiscard]] virtual std::string nodeValue() const = 0;
  /// Replaces these characters. Raises 13 for an element, a document and a fragment, and for what
  /// the node's syntax cannot hold.
  virtual void setNodeValue(std::string_view value) = 0;

  /// Sets the value to the hexadecimal text of `bytes`. A platform may keep the bytes themselves,
  /// shared with `bytes`, and make the text of them whenever it is asked for.
  virtual void setNodeBytes(const ByteString& bytes);
  /// Assigns to `bytes` what the value is the hexadecimal text of. Raises 13 where it is none.
  virtual void readNodeBytes(ByteString& bytes) const;

  /// The value of a leaf; of an element, fragment or document all its text and CDATA content,
  /// joined in document order and not trimmed.
  [[nodiscard]] virtual std::string text() const = 0;
  /// Sets the value of a leaf; replaces all children of another node by one text node.
  virtual void setText(std::string_view value) = 0;

  /// The serialised node, with nothing added: no indentation, line ends as they are.
  [[nodiscard]] virtual std::string xml() const = 0;

  /// The node that this one stands in; null where there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> parentNode() const = 0;
  /// The first node inside; null where there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> firstChild() const = 0;
  /// The node that follows inside the same parent; null where there is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> nextSibling() const = 0;
  /// The document of the node; null for a document.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> ownerDocument() const = 0;

  /// Appends `child`, a node of the same document, as last child; of a fragment its children, which
  /// leave it. Returns `child`.
  virtual std::shared_ptr<IXMLDOMNode> appendChild(const std::shared_ptr<IXMLDOMNode>& child) = 0;

  /// A copy without parent, in the same document; of a document, a new document of the same kind.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> cloneNode(bool deep) const = 0;

  /// Appends a deep copy of the children of `fragment` (which may be of another document and stays
  /// as it is); in the copy, the first text node in document order holds `text`.
  virtual void appendTemplate(const IXMLDOMNode& fragment, std::string_view text) = 0;

  /// Does what `appendTemplate` does for each of `copies` in turn. A platform may make many copies
  /// at once faster than one by one, and then appends all or none; this one stops at the first that
  /// fails.
  virtual void appendTemplates(std::span<const TemplateCopy> copies) {
    for (const TemplateCopy& copy : copies) {
      appendTemplate(*copy.fragment, copy.text);
    }
  }

  /// The first node that `path` selects, seen from this node; null where it selects nothing.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> selectSingleNode(
      std::string_view path) const = 0;
  /// All nodes that `path` selects, seen from this node; an empty list where it selects nothing.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNodeList> selectNodes(
      std::string_view path) const = 0;

  /// Calls `read` for each child element called `name`, in document order, with the text of the
  /// first child of its first child element called `part`. Both are names, not paths. A platform
  /// may go through the thousands of frames of a transfer without a node object for each.
  virtual void readChildTexts(std::string_view name, std::string_view part,
                              const std::function<void(const ChildText&)>& read) const;
};

/// An element.
class QUILLMARK_API IXMLDOMElement : public IXMLDOMNode {
 public:
  /// The attribute's value; nothing where the element has no such attribute.
  [[nodiscard]] virtual std::optional<std::string> getAttribute(std::string_view name) const = 0;
  /// Adds the attribute, or replaces its value. Raises 13 where `name` is no XML name.
  virtual void setAttribute(std::string_view name, std::string_view value) = 0;
};

/// A document. A node that it creates has no parent until it is appended.
class QUILLMARK_API DOMDocument : public IXMLDOMNode {
 public:
  /// The root element; null in an empty document.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMElement> documentElement() const = 0;

  /// A new node of a type; `name` is that of an element or the target of a processing instruction,
  /// `namespaceURI` stays empty in the component's documents. Raises 13 for a type that cannot be
  /// created and for a name that is none.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createNode(NodeType type,
                                                                std::string_view name,
                                                                std::string_view namespaceURI) = 0;
  /// A new element. Raises 13 where `name` is no XML name.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMElement> createElement(std::string_view name) = 0;
  /// A new text node. Raises 13 for U+0000.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createTextNode(std::string_view text) = 0;
  /// A new processing instruction. Raises 13 for a target that is no XML name and for data that
  /// hold "?>".
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createProcessingInstruction(
      std::string_view target, std::string_view data) = 0;
  /// A new, empty fragment.
  [[nodiscard]] virtual std::shared_ptr<IXMLDOMNode> createDocumentFragment() = 0;

  /// Replaces the content of `target` by an exact copy of this document, every text node included.
  virtual void save(DOMDocument& target) const = 0;

  /// Replaces the content by the parsed `text` (UTF-8). White space, comments and CDATA are kept;
  /// line ends become a single line feed, as every XML processor must do. Raises 13 with the reason
  /// and the offset where the text is not a well-formed document, which leaves the document empty.
  virtual void loadXML(std::string_view text) = 0;

  /// Whether loading may return before it is done. Kept for hosts that set it; loading never is.
  [[nodiscard]] virtual bool async() const = 0;
  /// Kept as it is set, and without effect.
  virtual void setAsync(bool value) = 0;
};

/// A document that may be read from several threads at once and handed from one to another; while
/// one thread changes it, no other may use it. Cloning a whole document only reads it; cloning one
/// of its nodes, like creating one, changes it.
class QUILLMARK_API FreeThreadedDOMDocument : public DOMDocument {};

}  // namespace quillmark
