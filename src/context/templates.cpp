// SPDX-License-Identifier: MIT
#include "context/templates.h"

#include <string>

#include "base/guards.h"

namespace quillmark {
namespace {

/// Every element is created in the empty namespace.
constexpr std::string_view kNamespace;

std::shared_ptr<DOMDocument> CreateDocument(Platform& platform, bool free_threaded) {
  if (free_threaded) {
    return NotNull(platform.CreateFreeThreadedDOMDocument());
  }
  return NotNull(platform.CreateDOMDocument());
}

std::shared_ptr<IXMLDOMNode> CreateElement(DOMDocument& document, std::string_view name) {
  return NotNull(document.createNode(NodeType::kElement, name, kNamespace));
}

std::shared_ptr<IXMLDOMNode> AppendRoot(DOMDocument& document, std::string_view name) {
  document.appendChild(NotNull(document.createProcessingInstruction("xml", "version='1.0'")));
  auto root = CreateElement(document, name);
  document.appendChild(root);
  AppendLineEnd(document, *root);
  return root;
}

void BuildKDocument(DOMDocument& document) { AppendRoot(document, "k"); }

void BuildCANDocument(DOMDocument& document, const Addressing& addressing) {
  const auto can = AppendRoot(document, "can");
  const auto x = NotNull(document.createElement("x"));
  x->setAttribute("i", std::to_string(addressing.channel));
  AppendLineEnd(document, *x);
  AppendElement(document, *x, "i", std::to_string(addressing.line));
  AppendLineEnd(document, *x);
  can->appendChild(x);
}

/// A frame element around one child that takes the frame's hex text.
std::shared_ptr<IXMLDOMNode> BuildFrameFragment(DOMDocument& document, std::string_view name,
                                                std::string_view child) {
  const auto fragment = NotNull(document.createDocumentFragment());
  const auto element = CreateElement(document, name);
  AppendElement(document, *element, child, {});
  fragment->appendChild(element);
  AppendLineEnd(document, *fragment);
  return fragment;
}

std::shared_ptr<IXMLDOMNode> BuildWaitFragment(DOMDocument& document) {
  const auto fragment = NotNull(document.createDocumentFragment());
  AppendElement(document, *fragment, "w", {});
  AppendLineEnd(document, *fragment);
  return fragment;
}

}  // namespace

void AppendElement(DOMDocument& document, IXMLDOMNode& parent, std::string_view name,
                   std::string_view text) {
  const auto element = CreateElement(document, name);
  element->appendChild(NotNull(document.createTextNode(text)));
  parent.appendChild(element);
}

void AppendLineEnd(DOMDocument& document, IXMLDOMNode& parent) {
  parent.appendChild(NotNull(document.createTextNode(kLineEnd)));
}

std::string_view RequestPath(TransportForm form) {
  return form == TransportForm::kKLine ? "/k" : "/can/x";
}

Templates BuildTemplates(Platform& platform, const Addressing& addressing, bool free_threaded) {
  const bool k_form = addressing.Form() == TransportForm::kKLine;
  const auto building = CreateDocument(platform, free_threaded);
  if (k_form) {
    BuildKDocument(*building);
  } else {
    BuildCANDocument(*building, addressing);
  }

  Templates templates;
  templates.document = CreateDocument(platform, free_threaded);
  templates.document->setAsync(false);
  building->save(*templates.document);
  templates.request_path = RequestPath(addressing.Form());
  templates.send = BuildFrameFragment(*building, "s", "d");
  templates.reply = BuildFrameFragment(*building, "r", "c");
  templates.wait = BuildWaitFragment(*building);
  return templates;
}

}  // namespace quillmark
