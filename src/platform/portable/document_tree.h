// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <pugixml.hpp>
#include <utility>

#include "platform/portable/tree_edits.h"

namespace quillmark::portable {

/// One document's nodes, alive as long as any node object of it.
///
/// The XML library moves nodes only within one of its documents, so all nodes of ours, also those
/// without a parent, live in one: the children of the element "#document" are the document's
/// content, those of "#detached" are nodes that have no parent. Neither name can be an element's.
/// Nodes that a document or an element gives up become detached, so that node objects stay valid.
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

  /// Calls `build` with an empty node and makes what it appends there the content. Where `build`
  /// throws, the content stays as it was.
  template <typename Build>
  void ReplaceContent(Build&& build) {
    NewNode scratch(AppendNew(detached_, pugi::node_element));
    build(scratch.get());
    Clear();
    MoveChildren(content_, scratch.get());
  }

  [[nodiscard]] bool async() const { return async_; }
  void SetAsync(bool value) { async_ = value; }

 private:
  Kind kind_;
  bool async_ = true;
  pugi::xml_document nodes_;
  pugi::xml_node content_;
  pugi::xml_node detached_;
};

/// A node and the document that keeps it alive.
struct NodeHandle {
  std::shared_ptr<DocumentTree> tree;
  pugi::xml_node node;
};

}  // namespace quillmark::portable
