// SPDX-License-Identifier: MIT
#include "platform/portable/name_path.h"

#include <charconv>
#include <system_error>

#include "platform/portable/child_elements.h"
#include "platform/portable/xml_lexis.h"

namespace quillmark::portable {
namespace {

/// Removes an index such as "[3]" from the front of `rest`; nothing if there is none.
std::optional<std::uint32_t> TakeIndex(std::string_view& rest) {
  std::uint32_t index = 0;
  const char* const end = rest.data() + rest.size();
  const auto [stop, error] = std::from_chars(rest.data() + 1, end, index);
  if (error != std::errc() || stop == end || *stop != ']') {
    return std::nullopt;
  }
  rest.remove_prefix(static_cast<std::size_t>(stop + 1 - rest.data()));
  return index;
}

}  // namespace

std::optional<NamePath> NamePath::Of(std::string_view pattern) {
  std::optional<NamePath> path(std::in_place);
  path->is_from_root_ = pattern.starts_with('/');
  std::string_view rest = pattern.substr(path->is_from_root_ ? 1 : 0);
  while (path->AddStep(rest)) {
    if (rest.empty()) {
      return path;
    }
    if (!rest.starts_with('/')) {
      break;
    }
    rest.remove_prefix(1);
  }
  return std::nullopt;
}

bool NamePath::AddStep(std::string_view& rest) {
  const std::string_view name = rest.substr(0, NameLength(rest));
  // A colon may belong to an axis.
  if (name.empty() || name.find(':') != std::string_view::npos || step_count_ == kMaxSteps) {
    return false;
  }
  rest.remove_prefix(name.size());
  Step& step = steps_[step_count_++];
  step.name = name;
  if (!rest.starts_with('[')) {
    return true;
  }
  step.index = TakeIndex(rest);
  return step.index.has_value();
}

template <typename Visit>
bool NamePath::VisitBelow(pugi::xml_node parent, std::size_t step, Visit&& visit) const {
  const auto& [step_name, index] = steps_[step];
  const char* const name = step_name.c_str();
  std::uint32_t passed = 0;
  for (auto child = FirstChildElement(parent, name); child; child = NextElement(child, name)) {
    if (index && passed++ < *index) {
      continue;
    }
    if (!(step + 1 == step_count_ ? visit(child) : VisitBelow(child, step + 1, visit))) {
      return false;
    }
    if (index) {
      break;
    }
  }
  return true;
}

pugi::xml_node NamePath::First(pugi::xml_node context, pugi::xml_node document) const {
  pugi::xml_node first;
  VisitBelow(is_from_root_ ? document : context, 0, [&](pugi::xml_node node) {
    first = node;
    return false;
  });
  return first;
}

std::vector<pugi::xml_node> NamePath::All(pugi::xml_node context, pugi::xml_node document) const {
  std::vector<pugi::xml_node> all;
  VisitBelow(is_from_root_ ? document : context, 0, [&](pugi::xml_node node) {
    all.push_back(node);
    return true;
  });
  return all;
}

}  // namespace quillmark::portable
