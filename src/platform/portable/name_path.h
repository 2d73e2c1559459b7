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

/// A pattern of a few names, with or without an index: "d", "/can/x", "/can/x/r[3]". Most patterns
/// are like this and are followed without compiling an expression.
class NamePath {
 public:
  /// Nothing for any other pattern.
  [[nodiscard]] static std::optional<NamePath> Of(std::string_view pattern);

  /// The first node in document order that the path selects, relative to `context`; paths from the
  /// root begin at `document`. An empty node if there is none.
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

  /// Removes a step from the front of `rest`; false if there is none.
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
