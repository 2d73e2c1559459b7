// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <pugixml.hpp>
#include <utility>

#include "platform/portable/shared_bytes.h"
#include "platform/portable/tree_edits.h"

namespace quillmark::portable {

/// The nodes of one document, alive as long as any node object of it.
///
/// The XML library moves nodes only within one of its documents, so all nodes of ours, also those
/// without a parent, live in one: the children of the element "#document" are the document's
/// content, those of "#detached" are nodes that have no parent. Neither can be the name of an
/// element. Nodes that are removed from a document or an element become detached, so node objects
/// stay valid.
///
/// A text node may hold many bytes, of which its value is the hex text. Code that reads more than
/// the value of one node reads a `SpelledOut` copy instead: several threads may read at once, so
/// reading never puts the text into the tree.
class DocumentTree {
 public:
  enum class Kind { kPlain, kFreeThreaded };

  /// An empty document.
  explicit DocumentTree(Kind kind);
  DocumentTree(const DocumentTree&) = delete;
  DocumentTree& operator=(const DocumentTree&) = delete;
  DocumentTree(DocumentTree&&) = delete;
  DocumentTree& operator=(DocumentTree&&) = delete;
  ~DocumentTree() = default;

  [[nodiscard]] Kind kind() const { return kind_; }
  [[nodiscard]] pugi::xml_node content() const { return content_; }
  [[nodiscard]] pugi::xml_node detached() const { return detached_; }

  /// Detaches all content.
  void Clear() { MoveChildren(detached_, content_); }

  /// Calls `build` with the XML library's document, and makes what it appends there the content. If
  /// `build` throws, the content stays unchanged.
  template <typename Build>
  void ReplaceContent(Build&& build) {
    AppendAllOrNothing(nodes_, [&] { build(nodes_); });
    Clear();
    while (const pugi::xml_node added = detached_.next_sibling()) {
      content_.append_move(added);
    }
  }

  [[nodiscard]] bool HoldsBytes() const { return !bytes_.empty(); }
  /// The bytes that a node holds; null if it holds its value itself.
  [[nodiscard]] const SharedBytes* BytesIn(pugi::xml_node node) const;
  /// Gives a text node its bytes, or removes them. Its own value must be empty then.
  void HoldBytes(pugi::xml_node node, SharedBytes bytes) {
    bytes_.insert_or_assign(node, std::move(bytes));
  }
  void DropBytes(pugi::xml_node node) { bytes_.erase(node); }

  [[nodiscard]] bool async() const { return async_; }
  void SetAsync(bool value) { async_ = value; }

 private:
  Kind kind_;
  bool async_ = true;
  pugi::xml_document nodes_;
  pugi::xml_node content_;
  pugi::xml_node detached_;
  std::map<pugi::xml_node, SharedBytes> bytes_;  ///< of the nodes that hold bytes
};

/// A node and the document that keeps it alive.
struct NodeHandle {
  std::shared_ptr<DocumentTree> tree;
  pugi::xml_node node;

  // Not explicit: what needs only the node takes a handle as well.
  operator pugi::xml_node() const { return node; }
};

/// A copy of all nodes of a tree, in which every node holds its value itself.
class SpelledOut {
 public:
  explicit SpelledOut(const DocumentTree& tree);

  [[nodiscard]] pugi::xml_node CopyOf(pugi::xml_node node) const { return copies_.at(node); }
  [[nodiscard]] pugi::xml_node OriginalOf(pugi::xml_node copy) const { return originals_.at(copy); }

 private:
  pugi::xml_document nodes_;
  std::map<pugi::xml_node, pugi::xml_node> copies_;
  std::map<pugi::xml_node, pugi::xml_node> originals_;
};

/// Calls `look` with a node whose values can be read.
template <typename Look>
decltype(auto) LookAt(const NodeHandle& handle, Look&& look) {
  if (!handle.tree->HoldsBytes()) {
    return look(handle.node);
  }
  const SpelledOut copy(*handle.tree);
  return look(copy.CopyOf(handle.node));
}

}  // namespace quillmark::portable
