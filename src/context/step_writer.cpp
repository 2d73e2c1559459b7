// SPDX-License-Identifier: MIT
#include "context/step_writer.h"

namespace quillmark {
namespace {

/// Digits from which on a row is appended.
constexpr std::size_t kRowSize = 8192;

}  // namespace

void StepWriter::WaitSeparationTime() {
  if (separation_time_ != 0) {
    Add(kWait, std::to_string(separation_time_));
  }
}

void StepWriter::Flush() {
  std::string_view rest = texts_;
  for (Leaf& step : row_) {
    step.text = rest.substr(0, step.text.size());
    rest.remove_prefix(step.text.size());
  }
  element_.appendLeaves(row_);
  row_.clear();
  texts_.clear();
}

void StepWriter::Add(const Leaf& step, std::string_view text) {
  texts_.append(text);
  Close(step, text.size());
}

void StepWriter::Add(const Leaf& step, ByteView frame) {
  AppendHex(texts_, frame);
  Close(step, 2 * frame.size());
}

void StepWriter::Close(const Leaf& step, std::size_t text_size) {
  // Only the size of the text matters until the row is complete: `texts_` may still move.
  row_.push_back({step.name, step.child, {texts_.data(), text_size}});
  if (texts_.size() >= kRowSize) {
    Flush();
  }
}

}  // namespace quillmark
