// SPDX-License-Identifier: MIT
#include "quillmark/request_document.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "base/guards.h"
#include "base/hex.h"
#include "quillmark/error.h"

namespace quillmark {
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

std::optional<Bytes> FrameOf(const std::string& text) {
  Bytes frame;
  return AppendBytesOfHex(frame, text) ? std::optional(std::move(frame)) : std::nullopt;
}

Bytes FrameToSend(const IXMLDOMNode& element, const StepTexts& texts, bool is_on_k_line) {
  if (!texts.data || texts.expected || texts.has_others) {
    RefuseChildren(element, "d");
  }
  const std::string& text = *texts.data;
  const std::optional<Bytes> frame = FrameOf(text);
  if (!frame || frame->empty()) {
    Refuse("the frame " + Quoted(text) + " is no hex text");
  }
  if (!is_on_k_line && frame->size() > kCanFrameSize) {
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
  const std::optional<Bytes> frame = FrameOf(*texts.data);
  if (!frame) {
    Refuse("the received frame " + Quoted(*texts.data) + " is no hex text");
  }
  return frame;
}

Step ReadStep(const Node& element, bool is_on_k_line) {
  const std::string name = element->nodeName();
  const StepTexts texts = TextsOf(*element);
  Step step{.element = element, .failure = texts.failure};
  if (name == "s") {
    step.kind = StepKind::kSend;
    step.frame = FrameToSend(*element, texts, is_on_k_line);
  } else if (name == "r") {
    step.kind = StepKind::kReceive;
    step.expected = ExpectedText(*element, texts);
    step.received = ReceivedFrame(texts);
  } else if (name == "w" || (name == "bk" && is_on_k_line)) {
    step.kind = name == "w" ? StepKind::kWait : StepKind::kBreak;
    step.time = Time(*element, texts);
  } else {
    Refuse(Quoted(name) + " is no step");
  }
  return step;
}

std::vector<Step> ReadSteps(std::span<const Node> elements, bool is_on_k_line) {
  std::vector<Step> steps;
  steps.reserve(elements.size());
  for (const Node& element : elements) {
    steps.push_back(ReadStep(element, is_on_k_line));
  }
  return steps;
}

RequestDocument ReadExchange(const IXMLDOMNode& x) {
  constexpr std::uint32_t kLastIdentifier = 0x1FFFFFFF;
  const auto* const element = dynamic_cast<const IXMLDOMElement*>(&x);
  const std::optional<std::string> receive =
      element == nullptr ? std::nullopt : element->getAttribute("i");
  const std::vector<Node> children = ChildElements(x);
  if (!receive || children.empty() || children[0]->nodeName() != "i") {
    Refuse("\"x\" must have an attribute \"i\" and begin with an element \"i\"");
  }
  return {.receive_identifier = Decimal(*receive, "the identifier", kLastIdentifier),
          .send_identifier = Decimal(children[0]->text(), "the identifier", kLastIdentifier),
          .steps = ReadSteps(std::span(children).subspan(1), false)};
}

RequestDocument Read(const DOMDocument& document) {
  const Node root = document.documentElement();
  if (!root) {
    Refuse("it is empty");
  }
  const std::vector<Node> children = ChildElements(*root);
  if (root->nodeName() == "k") {
    return {.is_on_k_line = true, .steps = ReadSteps(children, true)};
  }
  if (root->nodeName() != "can") {
    Refuse("its root is " + Quoted(root->nodeName()) + ", not \"can\" or \"k\"");
  }
  if (children.size() != 1 || children[0]->nodeName() != "x") {
    Refuse("\"can\" must hold one \"x\" and nothing else");
  }
  return ReadExchange(*children[0]);
}

void AppendResult(const Node& step, std::string_view name, const std::string& text) {
  const Node result = Require(Require(step).ownerDocument()).createElement(name);
  Require(result).setText(text);
  step->appendChild(result);
}

}  // namespace

bool Step::Expects(std::span<const std::uint8_t> answer) const {
  return std::string_view(HexOf(answer)).starts_with(expected);
}

void Step::Answer(std::span<const std::uint8_t> answer) {
  if (kind != StepKind::kReceive) {
    throw Error(error_number::kTypeMismatch, "only a receive step takes a frame");
  }
  if (received) {
    throw Error(error_number::kTypeMismatch, "the step has its frame already");
  }
  GuardMemory([&] {
    AppendResult(element, "d", HexOf(answer));
    received.emplace(answer.begin(), answer.end());
  });
}

void Step::Fail(std::string_view reason) {
  if (failure) {
    throw Error(error_number::kTypeMismatch, "the step has failed already");
  }
  GuardMemory([&] {
    AppendResult(element, "e", std::string(reason));
    failure = reason;
  });
}

RequestDocument ReadRequestDocument(const DOMDocument& document) {
  return GuardMemory([&] { return Read(document); });
}

bool HasRun(const DOMDocument& document) {
  const std::vector<Step> steps = ReadRequestDocument(document).steps;
  const auto has_failed = [](const Step& step) { return step.failure.has_value(); };
  const auto was_done = [](const Step& step) {
    return step.kind != StepKind::kReceive || step.received;
  };
  return std::any_of(steps.begin(), steps.end(), has_failed) ||
         std::all_of(steps.begin(), steps.end(), was_done);
}

}  // namespace quillmark
