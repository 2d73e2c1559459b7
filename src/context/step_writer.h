// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "base/hex.h"
#include "quillmark/dom.h"

namespace quillmark {

/// Appends the steps of an exchange to a request element. Steps are collected and appended a row at
/// a time, which takes a platform a quarter of the instructions; the element has all of them after
/// `Flush`.
class StepWriter {
 public:
  /// `separation_time` in milliseconds.
  StepWriter(IXMLDOMElement& element, std::int32_t separation_time);

  /// Send this frame.
  void Send(std::string_view frame_hex) { Add(kSend, frame_hex); }
  void Send(ByteView frame) { Add(kSend, frame); }

  /// Receive a frame that begins with this; empty matches any frame.
  void Receive(std::string_view prefix_hex) { Add(kReceive, prefix_hex); }
  void Receive(ByteView prefix) { Add(kReceive, prefix); }

  /// Wait for the separation time; no step if it is 0.
  void WaitSeparationTime();

  /// Appends the steps collected so far.
  void Flush();

 private:
  /// A step without its text.
  static constexpr Leaf kSend{"s", "d", {}};
  static constexpr Leaf kReceive{"r", "c", {}};
  static constexpr Leaf kWait{"w", {}, {}};

  void Add(const Leaf& step, std::string_view text) {
    std::copy(text.begin(), text.end(), NewText(step, text.size()));
  }
  void Add(const Leaf& step, ByteView frame) { WriteHex(NewText(step, 2 * frame.size()), frame); }

  /// Adds a step to the row and returns where its text of `size` characters is to be written.
  char* NewText(const Leaf& step, std::size_t size) {
    if (size > capacity_ - size_) {
      MakeRoom(size);
    }
    char* const text = texts_.get() + size_;
    row_.push_back({step.name, step.child, {text, size}});
    size_ += size;
    return text;
  }
  void MakeRoom(std::size_t size);

  IXMLDOMElement& element_;
  std::int32_t separation_time_;
  std::size_t capacity_;
  std::unique_ptr<char[]> texts_;  ///< of the row, one after the other
  std::size_t size_ = 0;           ///< of the texts
  std::vector<Leaf> row_;
};

}  // namespace quillmark
