// SPDX-License-Identifier: MIT
#include "host/calls/results.h"

#include <cstddef>

namespace quillmark::host {
namespace {

constexpr std::size_t kHistoryRecords = 8;

}  // namespace

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
