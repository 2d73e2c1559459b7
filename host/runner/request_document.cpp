// SPDX-License-Identifier: MIT
#include "host/runner/request_document.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "quillmark/error.h"

namespace quillmark::host {
namespace {

using Node = std::shared_ptr<IXMLDOMNode>;

constexpr std::size_t kCanFrameSize = 8;

[[noreturn]] void Refuse(const std::string& what) {
  throw Error(error_number::kTypeMismatch, "not a request document: " + what);
}

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

std::vector<Node> ChildElements(const IXMLDOMNode& parent) {
  std::vector<Node> elements;
  for (Node child = parent.firstChild(); child; child = child->nextSibling()) {
    if (child->nodeType() == NodeType::kElement) {
      elements.push_back(child);
    }
  }
  return elements;
}

/// The texts of a step's children.
struct StepTexts {
  std::optional<std::string> data;
  std::optional<std::string> expected;
  std::optional<std::string> failure;
  bool has_others = false;
};

StepTexts TextsOf(const IXMLDOMNode& step) {
  StepTexts texts;
  for (const Node& child : ChildElements(step)) {
    const std::string name = child->nodeName();
    std::optional<std::string>* const text = name == "d"   ? &texts.data
                                             : name == "c" ? &texts.expected
                                             : name == "e" ? &texts.failure
                                                           : nullptr;
    if (text == nullptr || *text) {
      texts.has_others = true;
    } else {
      *text = child->text();
    }
  }
  return texts;
}

[[noreturn]] void RefuseChildren(const IXMLDOMNode& step, const std::string& needed) {
  Refuse(Quoted(step.nodeName()) + " must hold one " + Quoted(needed) + " and nothing else");
}

std::uint32_t Decimal(const std::string& text, const std::string& what, std::uint32_t most) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value > most) {
    Refuse(what + " " + Quoted(text) + " is no number from 0 to " + std::to_string(most));
  }
  return value;
}

/// The failure of a wait comes after its number.
std::chrono::milliseconds Time(const IXMLDOMNode& element, const StepTexts& texts) {
  constexpr std::uint32_t kLongest = std::numeric_limits<std::int32_t>::max();
  std::string text = element.text();
  text.resize(text.size() - texts.failure.value_or("").size());
  return std::chrono::milliseconds(Decimal(text, element.nodeName(), kLongest));
}

Bytes FrameToSend(const IXMLDOMNode& element, const StepTexts& texts, TransportForm form) {
  if (!texts.data || texts.expected || texts.has_others) {
    RefuseChildren(element, "d");
  }
  const std::string& text = *texts.data;
  const std::optional<Bytes> frame = BytesOfHex(text);
  if (!frame || frame->empty()) {
    Refuse("the frame " + Quoted(text) + " is no hex text");
  }
  if (form != TransportForm::kKLine && frame->size() > kCanFrameSize) {
    Refuse("the frame " + Quoted(text) + " has more than 8 bytes");
  }
  return *frame;
}

std::string ExpectedText(const IXMLDOMNode& element, const StepTexts& texts) {
  if (!texts.expected || texts.has_others) {
    RefuseChildren(element, "c");
  }
  std::string text = *texts.expected;
  const auto is_hex = [](unsigned char digit) { return std::isxdigit(digit) != 0; };
  if (!std::all_of(text.begin(), text.end(), is_hex)) {
    Refuse("the expected frame " + Quoted(text) + " is no hex text");
  }
  const auto upper = [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); };
  std::transform(text.begin(), text.end(), text.begin(), upper);
  return text;
}

std::optional<Bytes> ReceivedFrame(const StepTexts& texts) {
  if (!texts.data) {
    return std::nullopt;
  }
  const std::optional<Bytes> frame = BytesOfHex(*texts.data);
  if (!frame) {
    Refuse("the received frame " + Quoted(*texts.data) + " is no hex text");
  }
  return frame;
}

Step ReadStep(const Node& element, TransportForm form) {
  const std::string name = element->nodeName();
  const StepTexts texts = TextsOf(*element);
  Step step{.element = element, .failure = texts.failure};
  if (name == "s") {
    step.kind = StepKind::kSend;
    step.frame = FrameToSend(*element, texts, form);
  } else if (name == "r") {
    step.kind = StepKind::kReceive;
    step.expected = ExpectedText(*element, texts);
    step.received = ReceivedFrame(texts);
  } else if (name == "w" || (name == "bk" && form == TransportForm::kKLine)) {
    step.kind = name == "w" ? StepKind::kWait : StepKind::kBreak;
    step.time = Time(*element, texts);
  } else {
    Refuse(Quoted(name) + " is no step");
  }
  return step;
}

Exchange ReadCanExchange(const IXMLDOMNode& x, const std::vector<Node>& children,
                         TransportForm form) {
  constexpr std::uint32_t kLastIdentifier = 0x1FFFFFFF;
  const auto* const element = dynamic_cast<const IXMLDOMElement*>(&x);
  const std::optional<std::string> receive =
      element == nullptr ? std::nullopt : element->getAttribute("i");
  if (!receive || children.empty() || children[0]->nodeName() != "i") {
    Refuse("\"x\" must have an attribute \"i\" and begin with an element \"i\"");
  }
  return {form, Decimal(*receive, "the identifier", kLastIdentifier),
          Decimal(children[0]->text(), "the identifier", kLastIdentifier)};
}

RequestDocument ReadSteps(const Exchange& exchange, std::vector<Node>::const_iterator first,
                          std::vector<Node>::const_iterator last) {
  RequestDocument document{exchange, {}};
  for (; first != last; ++first) {
    document.steps.push_back(ReadStep(*first, exchange.form));
  }
  return document;
}

RequestDocument ReadCanDocument(const IXMLDOMNode& can, TransportForm form) {
  const std::vector<Node> exchanges = ChildElements(can);
  if (exchanges.size() != 1 || exchanges[0]->nodeName() != "x") {
    Refuse("\"can\" must hold one \"x\" and nothing else");
  }
  const std::vector<Node> children = ChildElements(*exchanges[0]);
  const Exchange exchange = ReadCanExchange(*exchanges[0], children, form);
  return ReadSteps(exchange, children.begin() + 1, children.end());
}

}  // namespace

RequestDocument ReadDocument(const DOMDocument& document, TransportForm form) {
  const Node root = document.documentElement();
  if (!root) {
    Refuse("it is empty");
  }
  const std::string expected = form == TransportForm::kKLine ? "k" : "can";
  if (root->nodeName() != expected) {
    Refuse("its root is " + Quoted(root->nodeName()) + ", not " + Quoted(expected));
  }
  if (form != TransportForm::kKLine) {
    return ReadCanDocument(*root, form);
  }
  const std::vector<Node> children = ChildElements(*root);
  return ReadSteps({.form = form}, children.begin(), children.end());
}

RequestDocument ReadRequestDocument(const DOMDocument& document, TransportForm form) {
  RequestDocument request = ReadDocument(document, form);
  const auto was_run = [](const Step& step) { return step.received || step.failure; };
  if (std::any_of(request.steps.begin(), request.steps.end(), was_run)) {
    Refuse("it has been run before");
  }
  return request;
}

}  // namespace quillmark::host
