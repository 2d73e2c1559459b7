// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <chrono>
#include <cstdint>
#include <string>

namespace quillmark::host {

struct NumberRange {
  std::int64_t lowest;
  std::int64_t highest;
};

inline constexpr NumberRange kByteRange = {0, 0xFF};
inline constexpr NumberRange kAddressRange = {0, 0xFFFFFF};

/// A whole number, decimal or hexadecimal with 0x; a leading 0 alone does not make it octal. Raises
/// CLI::ValidationError for the option `name` if `text` is not a number of `range`.
[[nodiscard]] std::int64_t ParseNumber(const std::string& name, const std::string& text,
                                       const NumberRange& range);

/// Adds an option that takes such a number and stores it in `target`, which may be a
/// std::optional.
template <typename Target>
CLI::Option* AddNumber(CLI::App& app, const std::string& name, Target& target,
                       const NumberRange& range, const std::string& help) {
  const auto store = [&target, name, range](const std::string& text) {
    if constexpr (requires { typename Target::value_type; }) {
      target = static_cast<typename Target::value_type>(ParseNumber(name, text, range));
    } else {
      target = static_cast<Target>(ParseNumber(name, text, range));
    }
  };
  return app.add_option_function<std::string>(name, store, help)->type_name("NUMBER");
}

/// The same for a time in milliseconds. The help ends with the default, which `time` holds.
void AddTime(CLI::App& app, const std::string& name, std::chrono::milliseconds& time,
             const NumberRange& range, const std::string& help);

}  // namespace quillmark::host
