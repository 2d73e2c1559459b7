// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/bus/bus.h"
#include "quillmark/dom.h"

namespace quillmark::host {

enum class StepKind : std::uint8_t { kSend, kReceive, kWait, kBreak };

/// One step of a request document.
struct Step {
  StepKind kind = StepKind::kSend;
  /// The element that the step was read from, and that receives its result.
  std::shared_ptr<IXMLDOMNode> element{};
  /// `kSend`: the frame, at least one byte.
  Bytes frame{};
  /// `kReceive`: the upper-case hex text that the frame must begin with.
  std::string expected{};
  /// `kWait`, `kBreak`.
  std::chrono::milliseconds time{};
  /// `kReceive`, after a run: the frame that came.
  std::optional<Bytes> received{};
  /// After a run: why it ended here; nothing if it did not.
  std::optional<std::string> failure{};
};

struct RequestDocument {
  Exchange exchange;
  std::vector<Step> steps;
};

/// Reads the steps of a document that may have been run or not, in their order. Raises Error 13
/// with a text that says what is wrong if `document` is not a document of the form.
[[nodiscard]] RequestDocument ReadDocument(const DOMDocument& document, TransportForm form);

/// The same for a document that is to be run. Raises Error 13 also if it already holds replies.
[[nodiscard]] RequestDocument ReadRequestDocument(const DOMDocument& document, TransportForm form);

}  // namespace quillmark::host
