// SPDX-License-Identifier: MIT
#include "transfer/transfer_documents.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "base/guards.h"
#include "quillmark/error.h"

namespace quillmark::transfer {
namespace {

constexpr std::string_view kSegment = "segment";
constexpr std::string_view kAt = "at";
constexpr std::string_view kCount = "count";

std::shared_ptr<DOMDocument> CreateDocument(Platform& platform, std::string_view root) {
  auto document = NotNull(platform.CreateFreeThreadedDOMDocument());
  document->appendChild(NotNull(document->createElement(root)));
  return document;
}

std::int32_t ParseLong(std::string_view text) {
  std::int32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc::result_out_of_range) {
    throw Error(error_number::kOverflow);
  }
  if (error != std::errc{} || stop != end) {
    throw Error(error_number::kTypeMismatch);
  }
  return value;
}

std::int32_t LongAttribute(const IXMLDOMNode& node, std::string_view name) {
  const auto* const element = dynamic_cast<const IXMLDOMElement*>(&node);
  const auto value = element != nullptr ? element->getAttribute(name) : std::nullopt;
  if (!value) {
    throw Error(error_number::kObjectNotSet);
  }
  return ParseLong(*value);
}

template <typename Visit>
void ForEachSegment(const DOMDocument& document, Visit visit) {
  const auto segments = NotNull(Require(document.documentElement()).selectNodes(kSegment));
  for (std::size_t index = 0; index < segments->length(); ++index) {
    visit(Require(segments->item(index)));
  }
}

}  // namespace

std::shared_ptr<DOMDocument> WriteImage(Platform& platform, const MemoryImage& image) {
  auto document = CreateDocument(platform, kImageRoot);
  const auto root = NotNull(document->documentElement());
  for (const auto& segment : image.Segments()) {
    const auto element = NotNull(document->createElement(kSegment));
    element->setAttribute(kAt, std::to_string(Require(segment).StartAddress()));
    const auto text = NotNull(document->createTextNode({}));
    text->setNodeBytes(*segment);
    element->appendChild(text);
    root->appendChild(element);
  }
  return document;
}

std::shared_ptr<DOMDocument> WriteMap(Platform& platform, const MemoryMap& map) {
  auto document = CreateDocument(platform, kMapRoot);
  const auto root = NotNull(document->documentElement());
  for (const auto& range : map.Ranges()) {
    const auto element = NotNull(document->createElement(kSegment));
    element->setAttribute(kAt, std::to_string(Require(range).Start()));
    element->setAttribute(kCount, std::to_string(range->Count()));
    root->appendChild(element);
  }
  return document;
}

std::shared_ptr<MemoryImage> ReadImage(Platform& platform, const DOMDocument& document) {
  auto image = NotNull(platform.CreateMemoryImage());
  const auto segment = NotNull(platform.CreateByteString());
  ForEachSegment(document, [&](const IXMLDOMNode& node) {
    Require(node.firstChild()).readNodeBytes(*segment);
    segment->SetStartAddress(LongAttribute(node, kAt));
    image->AddSegment(*segment);
  });
  return image;
}

std::shared_ptr<MemoryMap> ReadMap(Platform& platform, const DOMDocument& document) {
  auto map = NotNull(platform.CreateMemoryMap());
  ForEachSegment(document, [&](const IXMLDOMNode& node) {
    map->AddRange(LongAttribute(node, kAt), LongAttribute(node, kCount));
  });
  return map;
}

}  // namespace quillmark::transfer
