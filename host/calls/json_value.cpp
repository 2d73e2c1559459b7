// SPDX-License-Identifier: MIT
#include "host/calls/json_value.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <string_view>

#include "quillmark/error.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kHistoryRecords = 8;

struct Range {
  std::string_view type;
  std::int32_t lowest;
  std::int32_t highest;
};

constexpr std::int32_t kLargestLong = std::numeric_limits<std::int32_t>::max();
constexpr Range kByte = {"a Byte", 0, 255};
constexpr Range kLong = {"a Long", std::numeric_limits<std::int32_t>::min(), kLargestLong};
constexpr Range kEventNumber = {"an event number", 1, kLargestLong};

constexpr std::string_view kSegment = R"(an object {"at":ADDRESS,"hex":TEXT})";
constexpr std::string_view kRange = R"(an object {"start":ADDRESS,"count":NUMBER})";
constexpr std::string_view kCancelAt = R"(an object {"cancel_at":NUMBER})";

[[noreturn]] void Raise(std::int32_t number, const JsonValue& value, std::string_view expected) {
  throw Error(number,
              fmt::format("{}: expected {}, found {}", value.name, expected, Describe(value.json)));
}

// A JSON number is a double: its value counts, not whether it was written as 10, 10.0 or 1e1.
std::int32_t ReadNumber(const JsonValue& value, const Range& range) {
  const std::string expected = fmt::format("{}, {} to {}", range.type, range.lowest, range.highest);
  if (!value.json.is_number()) {
    Raise(error_number::kTypeMismatch, value, expected);
  }
  const auto number = value.json.get<double>();
  if (std::trunc(number) != number) {
    Raise(error_number::kTypeMismatch, value, expected);
  }
  if (number < range.lowest || number > range.highest) {
    Raise(error_number::kOverflow, value, expected);
  }
  return static_cast<std::int32_t>(number);
}

const std::string& ReadText(const JsonValue& value, std::string_view expected) {
  if (!value.json.is_string()) {
    Raise(error_number::kTypeMismatch, value, expected);
  }
  return value.json.get_ref<const std::string&>();
}

void RequireList(const JsonValue& value, std::string_view expected) {
  if (!value.json.is_array()) {
    Raise(error_number::kTypeMismatch, value, expected);
  }
}

JsonValue Element(const JsonValue& list, std::size_t index) {
  return {list.json[index], fmt::format("{}[{}]", list.name, index)};
}

JsonValue Member(const JsonValue& object, const std::string& key, std::string_view expected) {
  if (!object.json.is_object() || !object.json.contains(key)) {
    Raise(error_number::kTypeMismatch, object, expected);
  }
  return {object.json.at(key), fmt::format("{}.{}", object.name, key)};
}

}  // namespace

std::uint8_t ReadByte(const JsonValue& value) {
  return static_cast<std::uint8_t>(ReadNumber(value, kByte));
}

std::int32_t ReadLong(const JsonValue& value) { return ReadNumber(value, kLong); }

std::int32_t ReadCancelAt(const JsonValue& value) {
  return ReadNumber(Member(value, "cancel_at", kCancelAt), kEventNumber);
}

std::shared_ptr<ByteString> ReadByteString(const JsonValue& value, Platform& platform) {
  const std::string& hex = ReadText(value, "hexadecimal text");
  auto bytes = platform.CreateByteString();
  bytes->SetHex(hex);
  return bytes;
}

std::shared_ptr<DOMDocument> ReadDocument(const JsonValue& value, Platform& platform) {
  const std::string& xml = ReadText(value, "XML text");
  auto document = platform.CreateDOMDocument();
  document->loadXML(xml);
  return document;
}

std::shared_ptr<MemoryImage> ReadImage(const JsonValue& value, Platform& platform) {
  RequireList(value, fmt::format("a list, each element {}", kSegment));
  auto image = platform.CreateMemoryImage();
  for (std::size_t index = 0; index < value.json.size(); ++index) {
    const JsonValue segment = Element(value, index);
    const std::int32_t address = ReadLong(Member(segment, "at", kSegment));
    const auto bytes = ReadByteString(Member(segment, "hex", kSegment), platform);
    bytes->SetStartAddress(address);
    image->AddSegment(*bytes);
  }
  return image;
}

std::shared_ptr<MemoryMap> ReadMap(const JsonValue& value, Platform& platform) {
  RequireList(value, fmt::format("a list, each element {}", kRange));
  auto map = platform.CreateMemoryMap();
  for (std::size_t index = 0; index < value.json.size(); ++index) {
    const JsonValue range = Element(value, index);
    const std::int32_t start = ReadLong(Member(range, "start", kRange));
    const std::int32_t count = ReadLong(Member(range, "count", kRange));
    map->AddRange(start, count);
  }
  return map;
}

std::string Describe(const Json& json) {
  switch (json.type()) {
    case Json::value_t::null:
      return "null";
    case Json::value_t::object:
      return "an object";
    case Json::value_t::array:
      return "an array";
    case Json::value_t::string:
      return "a string";
    case Json::value_t::boolean:
      return "a Boolean";
    default:
      return json.dump();
  }
}

Json ToJson(bool value) { return value; }

Json ToJson(const std::shared_ptr<ByteString>& bytes) {
  return bytes == nullptr ? Json() : Json(bytes->Hex());
}

Json ToJson(const std::shared_ptr<DOMDocument>& document) {
  return document == nullptr ? Json() : Json(document->xml());
}

Json ToJson(const std::shared_ptr<MemoryImage>& image) {
  Json segments = Json::array();
  for (const auto& segment : image->Segments()) {
    segments.push_back({{"at", segment->StartAddress()}, {"hex", segment->Hex()}});
  }
  return segments;
}

Json ToJson(const Error& error) {
  return {{"number", error.Number()}, {"description", error.Description()}};
}

Json HistoryToJson(const ByteStringArray& records) {
  Json entries = Json::array();
  for (std::size_t index = 0; index < kHistoryRecords; ++index) {
    entries.push_back(index < records.size() ? ToJson(records[index]) : Json());
  }
  return entries;
}

}  // namespace quillmark::host
