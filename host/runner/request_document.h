#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/bus/bus.h"
#include "quillmark/dom.h"

namespace quillmark::host {

enum class StepKind : std::uint8_t { kSend, kReceive, kWait, kBreak };

/// One step of a request document.
struct Step {
  StepKind kind = StepKind::kSend;
  /// The element that the step was read from and that takes what came of it.
  std::shared_ptr<IXMLDOMNode> element{};
  /// `kSend`: the frame, at least one byte.
  Bytes frame{};
  /// `kReceive`: the upper-case hex text that the frame must begin with.
  std::string expected{};
  /// `kWait`, `kBreak`.
  std::chrono::milliseconds time{};
};

struct RequestDocument {
  Exchange exchange;
  std::vector<Step> steps;
};

/// Reads the steps of a document, in their order. Raises Error 13 with a text that says what is
/// wrong where `document` is no request document of the form, or already holds replies.
[[nodiscard]] RequestDocument ReadRequestDocument(const DOMDocument& document, TransportForm form);

}  // namespace quillmark::host
