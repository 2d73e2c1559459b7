// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::portable {

/// A pattern of few names, each with an index or without: "d", "/can/x", "/can/x/r[3]". Most
/// patterns are such, and are followed without an expression.
class NamePath {
 public:
  /// Nothing for any other pattern.
  [[nodiscard]] static std::optional<NamePath> Of(std::string_view pattern);

  /// The first node in document order that the path selects, seen from `context`; `document` is
  /// where paths from the root begin. An empty one if there is none.
  [[nodiscard]] pugi::xml_node First(pugi::xml_node context, pugi::xml_node document) const;
  /// All of them, in document order.
  [[nodiscard]] std::vector<pugi::xml_node> All(pugi::xml_node context,
                                                pugi::xml_node document) const;

 private:
  struct Step {
    std::string name;
    std::optional<std::uint32_t> index;  ///< among the children of that name, counted from 0
  };
  static constexpr std::size_t kMaxSteps = 3;

  /// Reads a step off `rest`; false if none begins there.
  bool AddStep(std::string_view& rest);
  /// Calls `visit` with each node that the steps from `step` on select below `parent`, until it
  /// returns false.
  template <typename Visit>
  bool VisitBelow(pugi::xml_node parent, std::size_t step, Visit&& visit) const;

  bool is_from_root_ = false;
  std::array<Step, kMaxSteps> steps_;
  std::size_t step_count_ = 0;
};

}  // namespace quillmark::portable
