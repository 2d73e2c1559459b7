// SPDX-License-Identifier: MIT
#include "bench/same_documents.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "bench/reference.h"
#include "bench/session.h"

namespace quillmark::bench {
namespace {

using Texts = std::vector<std::string>;

struct TextWriter final : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

std::string TextOf(const pugi::xml_document& document) {
  TextWriter writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return writer.text;
}

template <typename Run>
Texts TextsOfTrees(const Form& form, Run run) {
  Texts texts;
  TreeSink sink(form.transport,
                [&](const pugi::xml_document& document) { texts.push_back(TextOf(document)); });
  run(Reference(form, sink));
  return texts;
}

template <typename Run>
Texts TextsOfStrings(const Form& form, Run run) {
  Texts texts;
  TextSink sink(form.transport, [&](std::string_view text) { texts.emplace_back(text); });
  run(Reference(form, sink));
  return texts;
}

void RequireSame(const Form& form, const char* reference, const Texts& ours, const Texts& theirs) {
  if (ours.empty() || ours != theirs) {
    std::cerr << "reference " << reference << " does not build our documents (" << form.name
              << ")\n";
    std::exit(EXIT_FAILURE);
  }
}

template <typename Run>
void RequireSame(const Form& form, const Texts& ours, Run run) {
  RequireSame(form, "A", ours, TextsOfTrees(form, run));
  RequireSame(form, "B", ours, TextsOfStrings(form, run));
}

}  // namespace

void RequireSameDownload(const Form& form, Span image, std::int32_t alignment,
                         std::int32_t max_size) {
  const Span start = image.first(std::min(image.size(), kMiB));
  Texts ours;
  Session session(form);
  session.Download(session.Image(start), alignment, max_size,
                   [&](IXMLDOMNode& node) { ours.push_back(node.xml()); });
  RequireSame(form, ours, [&](auto reference) {
    reference.Download(start, static_cast<std::uint32_t>(alignment),
                       static_cast<std::uint32_t>(max_size));
  });
}

void RequireSameUpload(const Form& form, std::size_t size) {
  const std::size_t start = std::min(size, kMiB);
  Texts ours;
  Session session(form);
  session.Upload(session.Map(start), [&](IXMLDOMNode& node) { ours.push_back(node.xml()); });
  RequireSame(form, ours,
              [&](auto reference) { reference.Upload(static_cast<std::uint32_t>(start)); });
}

}  // namespace quillmark::bench
