// SPDX-License-Identifier: MIT
#include "context/request_template.h"

#include <string>

#include "base/guards.h"

namespace quillmark {
namespace {

std::shared_ptr<DOMDocument> CreateDocument(Platform& platform, bool free_threaded) {
  if (free_threaded) {
    return NotNull(platform.CreateFreeThreadedDOMDocument());
  }
  return NotNull(platform.CreateDOMDocument());
}

std::shared_ptr<IXMLDOMElement> AppendRoot(DOMDocument& document, std::string_view name) {
  document.appendChild(NotNull(document.createProcessingInstruction("xml", "version='1.0'")));
  auto root = NotNull(document.createElement(name));
  document.appendChild(root);
  AppendLineEnd(document, *root);
  return root;
}

void BuildCANDocument(DOMDocument& document, const Addressing& addressing) {
  const auto can = AppendRoot(document, "can");
  const auto x = NotNull(document.createElement("x"));
  x->setAttribute("i", std::to_string(addressing.channel));
  AppendLineEnd(document, *x);
  AppendElement(document, *x, "i", std::to_string(addressing.line));
  AppendLineEnd(document, *x);
  can->appendChild(x);
}

}  // namespace

std::string_view RequestPath(TransportForm form) {
  return form == TransportForm::kKLine ? "/k" : "/can/x";
}

std::shared_ptr<DOMDocument> BuildRequestTemplate(Platform& platform, const Addressing& addressing,
                                                  bool free_threaded) {
  auto document = CreateDocument(platform, free_threaded);
  document->setAsync(false);
  if (addressing.Form() == TransportForm::kKLine) {
    AppendRoot(*document, "k");
  } else {
    BuildCANDocument(*document, addressing);
  }
  return document;
}

void AppendElement(DOMDocument& document, IXMLDOMNode& parent, std::string_view name,
                   std::string_view text) {
  const auto element = NotNull(document.createElement(name));
  element->appendChild(NotNull(document.createTextNode(text)));
  parent.appendChild(element);
}

void AppendLineEnd(DOMDocument& document, IXMLDOMNode& parent) {
  parent.appendChild(NotNull(document.createTextNode(kLineEnd)));
}

}  // namespace quillmark
