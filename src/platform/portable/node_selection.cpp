// SPDX-License-Identifier: MIT
#include "platform/portable/node_selection.h"

#include <new>

#include "platform/portable/name_path.h"
#include "platform/portable/xml_lexis.h"
#include "platform/portable/xsl_pattern.h"

namespace quillmark::portable {
namespace {

/// Compiles `pattern` and gives the query to `evaluate`.
template <typename Evaluate>
auto Select(pugi::xml_node document, std::string_view pattern, Evaluate&& evaluate) {
  RequireNoNul(pattern);
  const TranslatedPattern translated = TranslateXslPattern(pattern);
  const pugi::xpath_node document_node(document);
  pugi::xpath_variable_set variables;
  pugi::xpath_variable* variable = variables.add(kDocumentVariable, pugi::xpath_type_node_set);
  if (variable == nullptr ||
      !variable->set(pugi::xpath_node_set(&document_node, &document_node + 1))) {
    throw std::bad_alloc();
  }
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

}  // namespace

std::vector<pugi::xml_node> SelectAll(pugi::xml_node context, pugi::xml_node document,
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

pugi::xml_node SelectFirst(pugi::xml_node context, pugi::xml_node document,
                           std::string_view pattern) {
  if (const auto path = NamePath::Of(pattern)) {
    return path->First(context, document);
  }
  return Select(document, pattern, [&](const pugi::xpath_query& query) {
    return RequireNode(query.evaluate_node(context), pattern);
  });
}

}  // namespace quillmark::portable
