// SPDX-License-Identifier: MIT
#include "context/step_writer.h"

#include <string>

namespace quillmark {
namespace {

/// Digits of a row.
constexpr std::size_t kRowSize = 8192;
/// Steps of a short request.
constexpr std::size_t kFewSteps = 16;

}  // namespace

StepWriter::StepWriter(IXMLDOMElement& element, std::int32_t separation_time)
    : element_(element),
      separation_time_(separation_time),
      capacity_(kRowSize),
      texts_(std::make_unique_for_overwrite<char[]>(capacity_)) {
  row_.reserve(kFewSteps);
}

void StepWriter::WaitSeparationTime() {
  if (separation_time_ != 0) {
    Add(kWait, std::to_string(separation_time_));
  }
}

void StepWriter::Flush() {
  element_.appendLeaves(row_);
  row_.clear();
  size_ = 0;
}

void StepWriter::MakeRoom(std::size_t size) {
  Flush();
  if (size > capacity_) {
    texts_ = std::make_unique_for_overwrite<char[]>(size);
    capacity_ = size;
  }
}

}  // namespace quillmark
