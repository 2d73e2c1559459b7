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

/// The text of the one element `name` in `parent`, which holds no other.
std::string TextOfOnly(const IXMLDOMNode& parent, const std::string& name) {
  const std::vector<Node> elements = ChildElements(parent);
  if (elements.size() != 1 || elements[0]->nodeName() != name) {
    Refuse(Quoted(parent.nodeName()) + " must hold one " + Quoted(name) + " and nothing else");
  }
  return elements[0]->text();
}

std::uint32_t Decimal(const std::string& text, const std::string& what, std::uint32_t most) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value > most) {
    Refuse(what + " " + Quoted(text) + " is no number from 0 to " + std::to_string(most));
  }
  return value;
}

std::chrono::milliseconds Time(const IXMLDOMNode& element) {
  constexpr std::uint32_t kLongest = std::numeric_limits<std::int32_t>::max();
  return std::chrono::milliseconds(Decimal(element.text(), element.nodeName(), kLongest));
}

Bytes FrameToSend(const IXMLDOMNode& element, TransportForm form) {
  const std::string text = TextOfOnly(element, "d");
  const std::optional<Bytes> frame = BytesOfHex(text);
  if (!frame || frame->empty()) {
    Refuse("the frame " + Quoted(text) + " is no hex text");
  }
  if (form != TransportForm::kKLine && frame->size() > kCanFrameSize) {
    Refuse("the frame " + Quoted(text) + " has more than 8 bytes");
  }
  return *frame;
}

std::string ExpectedText(const IXMLDOMNode& element) {
  if (element.selectSingleNode("d") || element.selectSingleNode("e")) {
    Refuse("it has been run before");
  }
  std::string text = TextOfOnly(element, "c");
  const auto is_hex = [](unsigned char digit) { return std::isxdigit(digit) != 0; };
  if (!std::all_of(text.begin(), text.end(), is_hex)) {
    Refuse("the expected frame " + Quoted(text) + " is no hex text");
  }
  const auto upper = [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); };
  std::transform(text.begin(), text.end(), text.begin(), upper);
  return text;
}

Step ReadStep(const Node& element, TransportForm form) {
  const std::string name = element->nodeName();
  if (name == "s") {
    return {.kind = StepKind::kSend, .element = element, .frame = FrameToSend(*element, form)};
  }
  if (name == "r") {
    return {.kind = StepKind::kReceive, .element = element, .expected = ExpectedText(*element)};
  }
  if (name == "w") {
    return {.kind = StepKind::kWait, .element = element, .time = Time(*element)};
  }
  if (name == "bk" && form == TransportForm::kKLine) {
    return {.kind = StepKind::kBreak, .element = element, .time = Time(*element)};
  }
  Refuse(Quoted(name) + " is no step");
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

RequestDocument ReadRequestDocument(const DOMDocument& document, TransportForm form) {
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

}  // namespace quillmark::host
