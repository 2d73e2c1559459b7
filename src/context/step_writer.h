#pragma once

#include <cstdint>
#include <string_view>

#include "base/hex.h"
#include "context/templates.h"
#include "quillmark/dom.h"

namespace quillmark {

/// Appends the steps of an exchange to a request element, one by one.
class StepWriter {
 public:
  /// `separation_time` in milliseconds.
  StepWriter(IXMLDOMNode& element, const Templates& templates, std::int32_t separation_time)
      : element_(&element), templates_(&templates), separation_time_(separation_time) {}

  /// Send this frame.
  void Send(std::string_view frame_hex) { element_->appendTemplate(*templates_->send, frame_hex); }
  void Send(ByteView frame) { Send(HexOf(frame)); }

  /// Receive a frame that begins with this; empty accepts any.
  void Receive(std::string_view prefix_hex) {
    element_->appendTemplate(*templates_->reply, prefix_hex);
  }
  void Receive(ByteView prefix) { Receive(HexOf(prefix)); }

  /// Wait for the separation time; no step where it is 0.
  void WaitSeparationTime();

 private:
  IXMLDOMNode* element_;
  const Templates* templates_;
  std::int32_t separation_time_;
};

}  // namespace quillmark
