// SPDX-License-Identifier: MIT
#include "host/artifacts/json_field.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "quillmark/host/artifacts.h"

namespace quillmark::host {
namespace {

using nlohmann::json;

/// The beginning of a text in JSON that is whole but for closing brackets.
struct WholePart {
  std::size_t size = 0;
  /// The brackets that it lacks, the outermost first.
  std::string open{};
};

/// Follows only brackets and strings: the parser decides whether the rest is JSON.
WholePart WholePartOf(std::string_view text) {
  WholePart whole;
  bool is_in_string = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (is_in_string) {
      at += character == '\\' ? 1 : 0;
      is_in_string = character != '"';
    } else if (character == '"') {
      is_in_string = true;
    } else if (character == '{' || character == '[') {
      whole.open += character == '{' ? '}' : ']';
      whole.size = at + 1;
    } else if ((character == '}' || character == ']') && !whole.open.empty()) {
      whole.open.pop_back();
      whole.size = at + 1;
    } else if (character == ',') {
      whole.size = at;
    }
  }
  return whole;
}

/// Anything nested deeper than in any artifact is left out, or a small file would take gigabytes.
json Parse(std::string_view text) {
  constexpr int kDeepest = 8;
  const auto is_kept = [](int depth, json::parse_event_t, json&) { return depth <= kDeepest; };
  return json::parse(text, is_kept, false);
}

/// What a full disk or a power failure leaves of a file.
bool IsEmpty(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char byte) { return byte == 0 || byte == '\n'; });
}

}  // namespace

std::optional<JsonField> JsonField::Member(const std::string& key) const {
  if (!json_.is_object()) {
    Refuse("an object");
  }
  const auto found = json_.find(key);
  return found == json_.end()
             ? std::nullopt
             : std::optional(JsonField(*found, file_, path_.empty() ? key : path_ + '.' + key));
}

std::vector<JsonField> JsonField::Elements() const {
  if (!json_.is_array()) {
    Refuse("a list");
  }
  std::vector<JsonField> elements;
  elements.reserve(json_.size());
  for (const json& element : json_) {
    elements.push_back({element, file_, fmt::format("{}[{}]", path_, elements.size())});
  }
  return elements;
}

const std::string& JsonField::Text() const {
  if (!json_.is_string()) {
    Refuse("a text");
  }
  return json_.get_ref<const std::string&>();
}

std::uint64_t JsonField::Number(std::uint64_t lowest, std::uint64_t highest) const {
  // A parsed number without a sign is unsigned.
  const bool is_in_range = json_.is_number_unsigned() && json_.get<std::uint64_t>() >= lowest &&
                           json_.get<std::uint64_t>() <= highest;
  if (!is_in_range) {
    Refuse(fmt::format("a number from {} to {}", lowest, highest));
  }
  return json_.get<std::uint64_t>();
}

Duration JsonField::Time() const {
  constexpr double kLongest = 1e9;
  const bool is_in_range =
      json_.is_number() && json_.get<double>() >= 0 && json_.get<double>() <= kLongest;
  if (!is_in_range) {
    Refuse(fmt::format("seconds from 0 to {:.0f}", kLongest));
  }
  return std::chrono::round<Duration>(std::chrono::duration<double>(json_.get<double>()));
}

void JsonField::Refuse(std::string_view expected) const {
  constexpr std::size_t kLongestShown = 60;
  std::string found = json_.is_structured()
                          ? (json_.is_array() ? "a list" : "an object")
                          : json_.dump(-1, ' ', false, json::error_handler_t::replace);
  if (found.size() > kLongestShown) {
    found.resize(kLongestShown);
    found += "...";
  }
  throw DamagedArtifacts(fmt::format("{}: {}{}expected {}, found {}", file_, path_,
                                     path_.empty() ? "" : ": ", expected, found));
}

std::optional<json> ParseLine(std::string_view line) {
  json object = Parse(line);
  return object.is_object() ? std::optional(std::move(object)) : std::nullopt;
}

PartialJson ParseAsFarAsItGoes(std::string_view text, const std::string& file) {
  PartialJson parsed{.json = Parse(text)};
  if (parsed.json.is_discarded()) {
    const WholePart whole = WholePartOf(text);
    const std::string closed =
        std::string(text.substr(0, whole.size)).append(whole.open.rbegin(), whole.open.rend());
    parsed.json = IsEmpty(text) ? json::object() : Parse(closed);
    parsed.cut_off = whole.size;
  }
  if (!parsed.json.is_object()) {
    throw DamagedArtifacts(file + ": expected an object in JSON, found something else");
  }
  return parsed;
}

}  // namespace quillmark::host
