// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/hex.h"
#include "context/templates.h"
#include "quillmark/dom.h"

namespace quillmark {

/// Appends the steps of an exchange to a request element. Steps are gathered and appended a row at
/// a time, which a platform can do in a quarter of the instructions; the element has all of them
/// after `Flush`.
class StepWriter {
 public:
  /// `separation_time` in milliseconds.
  StepWriter(IXMLDOMNode& element, const Templates& templates, std::int32_t separation_time)
      : element_(&element), templates_(&templates), separation_time_(separation_time) {}

  /// Send this frame.
  void Send(std::string_view frame_hex) { Add(*templates_->send, frame_hex); }
  void Send(ByteView frame) { Add(*templates_->send, frame); }

  /// Receive a frame that begins with this; empty accepts any.
  void Receive(std::string_view prefix_hex) { Add(*templates_->reply, prefix_hex); }
  void Receive(ByteView prefix) { Add(*templates_->reply, prefix); }

  /// Wait for the separation time; no step where it is 0.
  void WaitSeparationTime();

  /// Appends the steps that were gathered.
  void Flush();

 private:
  struct Step {
    const IXMLDOMNode* fragment;
    std::size_t text_end;  ///< in `texts_`; it begins where the one before ends
  };

  void Add(const IXMLDOMNode& fragment, std::string_view text);
  void Add(const IXMLDOMNode& fragment, ByteView frame);
  void Close(const IXMLDOMNode& fragment);

  IXMLDOMNode* element_;
  const Templates* templates_;
  std::int32_t separation_time_;
  std::string texts_;
  std::vector<Step> row_;
  std::vector<TemplateCopy> copies_;  ///< the row while it is appended; kept for its memory
};

}  // namespace quillmark
