// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/dom.h"
#include "quillmark/export.h"

namespace quillmark {

/// What a step of a request document asks the host to do.
enum class StepKind : std::uint8_t {
  kSend,     ///< `s`: send `frame`
  kReceive,  ///< `r`: receive a frame that begins with `expected`
  kWait,     ///< `w`: wait for `time`
  kBreak,    ///< `bk`: hold the K line low for `time`
};

/// One step of a request document, as it was when it was read. It keeps the document alive.
///
/// Threads: those of the document.
struct QUILLMARK_API Step {
  /// Says which of the members below the step has.
  StepKind kind = StepKind::kSend;
  /// The element that the step was read from.
  std::shared_ptr<IXMLDOMNode> element{};
  /// `kSend`: the data of a CAN frame, 1 to 8 bytes, or a whole message of a K line.
  std::vector<std::uint8_t> frame{};
  /// `kReceive`: upper-case hexadecimal text, which may be empty.
  std::string expected{};
  /// `kWait`, `kBreak`: how long at least.
  std::chrono::milliseconds time{};
  /// `kReceive`, after a run: the frame that came.
  std::optional<std::vector<std::uint8_t>> received{};
  /// After a run: why it ended at this step; nothing if it did not.
  std::optional<std::string> failure{};

  /// Whether `answer` begins with what a `kReceive` step expects.
  [[nodiscard]] bool Expects(std::span<const std::uint8_t> answer) const;

  /// Writes the frame that came into the document. Raises 13 for a step that receives nothing, and
  /// for one that has its frame.
  void Answer(std::span<const std::uint8_t> answer);
  /// Writes into the document that the run ended at this step, which `checkdownload`,
  /// `checkupload` and `checkwritelogzone` look for. Raises 13 if this has been written before.
  void Fail(std::string_view reason);
};

/// A request document as a host runs it.
struct RequestDocument {
  /// Whether the document is of the K line form, not of a CAN form.
  bool is_on_k_line = false;
  /// Plain CAN: the identifier to receive on. Gateway: its channel.
  std::uint32_t receive_identifier = 0;
  /// Plain CAN: the identifier to send on. Gateway: its line.
  std::uint32_t send_identifier = 0;
  /// In the order in which they are run.
  std::vector<Step> steps{};
};

/// Reads a document that may have been run or not. Raises 13 with a text that says what is wrong
/// if it is not a request document.
[[nodiscard]] QUILLMARK_API RequestDocument ReadRequestDocument(const DOMDocument& document);

/// Whether a document was run to an end: each of its `kReceive` steps has its frame, or one step
/// says why the run ended there. The checks of transfers and of the log zone look for a failure
/// alone (D18), and so pass a document that nobody has run. Raises 13 as `ReadRequestDocument`.
[[nodiscard]] QUILLMARK_API bool HasRun(const DOMDocument& document);

}  // namespace quillmark
