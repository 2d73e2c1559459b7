// SPDX-License-Identifier: MIT
#include "platform/portable/node_selection.h"

#include <algorithm>

#include "platform/portable/name_path.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xsl_pattern.h"

namespace quillmark::portable {
namespace {

/// Compiles `pattern` and passes the query to `evaluate`.
template <typename Evaluate>
auto Select(pugi::xml_node document, std::string_view pattern, Evaluate&& evaluate) {
  RequireNoNul(pattern);
  const TranslatedPattern translated = TranslateXslPattern(pattern);
  const pugi::xpath_node document_node(document);
  pugi::xpath_variable_set variables;
  pugi::xpath_variable* variable = variables.add(kDocumentVariable, pugi::xpath_type_node_set);
  RequireMemory(variable != nullptr &&
                variable->set(pugi::xpath_node_set(&document_node, &document_node + 1)));
  try {
    const pugi::xpath_query query(translated.xpath.c_str(), &variables);
    return evaluate(query);
  } catch (const pugi::xpath_exception& error) {
    const auto offset = static_cast<std::size_t>(error.result().offset);
    RaisePatternError(pattern, error.what(), translated.origins.at(offset));
  }
}

pugi::xml_node RequireNode(const pugi::xpath_node& selected, std::string_view pattern) {
  if (selected.attribute()) {
    RaisePatternError(pattern, "it selects attributes, not nodes", 0);
  }
  return selected.node();
}

std::vector<pugi::xml_node> Evaluate(pugi::xml_node context, pugi::xml_node document,
                                     std::string_view pattern) {
  return Select(document, pattern, [&](const pugi::xpath_query& query) {
    pugi::xpath_node_set selected = query.evaluate_node_set(context);
    selected.sort();
    std::vector<pugi::xml_node> nodes;
    nodes.reserve(selected.size());
    for (const pugi::xpath_node& node : selected) {
      nodes.push_back(RequireNode(node, pattern));
    }
    return nodes;
  });
}

}  // namespace

std::vector<pugi::xml_node> SelectAll(const NodeHandle& context, std::string_view pattern) {
  const DocumentTree& tree = *context.tree;
  if (const auto path = NamePath::Of(pattern)) {
    return path->All(context.node, tree.content());
  }
  if (!tree.HoldsBytes()) {
    return Evaluate(context.node, tree.content(), pattern);
  }
  const SpelledOut copy(tree);
  auto nodes = Evaluate(copy.CopyOf(context.node), copy.CopyOf(tree.content()), pattern);
  std::transform(nodes.begin(), nodes.end(), nodes.begin(),
                 [&](pugi::xml_node node) { return copy.OriginalOf(node); });
  return nodes;
}

pugi::xml_node SelectFirst(const NodeHandle& context, std::string_view pattern) {
  if (const auto path = NamePath::Of(pattern)) {
    return path->First(context.node, context.tree->content());
  }
  if (context.tree->HoldsBytes()) {
    const auto all = SelectAll(context, pattern);
    return all.empty() ? pugi::xml_node() : all.front();
  }
  return Select(context.tree->content(), pattern, [&](const pugi::xpath_query& query) {
    return RequireNode(query.evaluate_node(context.node), pattern);
  });
}

}  // namespace quillmark::portable
