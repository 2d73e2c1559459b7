// SPDX-License-Identifier: MIT
#pragma once

#include <pugixml.hpp>
#include <string_view>
#include <utility>

#include "base/guards.h"
#include "quillmark/dom.h"

/// Edits on the XML library's nodes that raise 7 if the library has no memory for them, and then
/// leave no partial change. The deep copy and the destruction of the library are not used: the
/// former does not report what it could not copy, the latter needs stack for every level.
namespace quillmark::portable {

/// Names of the elements that represent other nodes; no XML name begins with '#'.
inline constexpr const char* kContentName = "#document";
inline constexpr const char* kDetachedName = "#detached";
inline constexpr const char* kFragmentName = "#fragment";

/// The type that the document model gives a node.
[[nodiscard]] NodeType TypeOf(pugi::xml_node node);

/// Whether `node` is `ancestor` or below it.
[[nodiscard]] bool IsWithin(pugi::xml_node node, pugi::xml_node ancestor);

/// Appends a new node without name and value.
pugi::xml_node AppendNew(pugi::xml_node parent, pugi::xml_node_type type);

void SetName(pugi::xml_node node, const char* name);
void SetValue(pugi::xml_node node, std::string_view value);
void SetAttribute(pugi::xml_node element, const char* name, std::string_view value);

/// Appends a copy of `source` without its children.
pugi::xml_node AppendShallowCopy(pugi::xml_node parent, pugi::xml_node source);

/// Appends deep copies of the children of `source`, all or none. `target` must not be `source` or
/// below it.
void AppendCopiesOfChildren(pugi::xml_node target, pugi::xml_node source);

/// Moves all children of `source` to the end of `target`, which must not be below it.
void MoveChildren(pugi::xml_node target, pugi::xml_node source);

/// Destroys a node with everything below it. No node object may refer to any of it.
void Destroy(pugi::xml_node node);

/// Calls `append`, which appends children to `target`; if it throws, they are destroyed again.
template <typename Append>
void AppendAllOrNothing(pugi::xml_node target, Append&& append) {
  const pugi::xml_node last_before = target.last_child();
  try {
    append();
  } catch (...) {
    while (target.last_child() != last_before) {
      Destroy(target.last_child());
    }
    throw;
  }
}

/// Destroys a new node unless it was kept, so that a failing operation leaves nothing behind.
class NewNode {
 public:
  explicit NewNode(pugi::xml_node node) : node_(node) {}
  NewNode(const NewNode&) = delete;
  NewNode& operator=(const NewNode&) = delete;
  NewNode(NewNode&&) = delete;
  NewNode& operator=(NewNode&&) = delete;
  ~NewNode() {
    if (node_) {
      Destroy(node_);
    }
  }

  [[nodiscard]] pugi::xml_node get() const { return node_; }
  pugi::xml_node Keep() { return std::exchange(node_, pugi::xml_node()); }

 private:
  pugi::xml_node node_;
};

}  // namespace quillmark::portable
