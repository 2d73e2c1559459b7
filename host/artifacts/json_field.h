// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A value in a file of artifacts with its place there. Reading it as the wrong type raises
/// DamagedArtifacts, which names the place, what was expected and what was found.
class JsonField {
 public:
  /// The outermost value of `file`. `json` outlives the field.
  JsonField(const nlohmann::json& json, std::string file) : json_(json), file_(std::move(file)) {}

  /// Of an object; nothing if it has no such member.
  [[nodiscard]] std::optional<JsonField> Member(const std::string& key) const;
  [[nodiscard]] std::vector<JsonField> Elements() const;
  [[nodiscard]] const std::string& Text() const;
  /// A whole number from `lowest` to `highest`.
  [[nodiscard]] std::uint64_t Number(std::uint64_t lowest, std::uint64_t highest) const;
  /// Seconds, at most a billion.
  [[nodiscard]] Duration Time() const;

  [[noreturn]] void Refuse(std::string_view expected) const;

 private:
  JsonField(const nlohmann::json& json, std::string file, std::string path)
      : json_(json), file_(std::move(file)), path_(std::move(path)) {}

  const nlohmann::json& json_;
  std::string file_;
  /// "blocks[0][1]"; empty for the outermost value.
  std::string path_{};
};

/// A JSON text as far as it goes.
struct PartialJson {
  nlohmann::json json{};
  /// Where the last whole value ends, if that is not the end of the text.
  std::optional<std::size_t> cut_off{};
};

/// An object in a line of a log; nothing if it is none.
[[nodiscard]] std::optional<nlohmann::json> ParseLine(std::string_view line);

/// Parses an object. Of a text that is cut off, the values before that are used; the value in which
/// it ends is left out. Raises DamagedArtifacts for a text that is not the beginning of an object.
[[nodiscard]] PartialJson ParseAsFarAsItGoes(std::string_view text, const std::string& file);

}  // namespace quillmark::host
