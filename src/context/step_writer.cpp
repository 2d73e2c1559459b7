// SPDX-License-Identifier: MIT
#include "context/step_writer.h"

namespace quillmark {
namespace {

/// Digits of a row that is long enough.
constexpr std::size_t kRowSize = 8192;

}  // namespace

void StepWriter::WaitSeparationTime() {
  if (separation_time_ != 0) {
    Add(*templates_->wait, std::to_string(separation_time_));
  }
}

void StepWriter::Flush() {
  copies_.clear();
  std::size_t begin = 0;
  for (const Step& step : row_) {
    copies_.push_back(
        {step.fragment, std::string_view(texts_).substr(begin, step.text_end - begin)});
    begin = step.text_end;
  }
  element_->appendTemplates(copies_);
  row_.clear();
  texts_.clear();
}

void StepWriter::Add(const IXMLDOMNode& fragment, std::string_view text) {
  texts_.append(text);
  Close(fragment);
}

void StepWriter::Add(const IXMLDOMNode& fragment, ByteView frame) {
  AppendHex(texts_, frame);
  Close(fragment);
}

void StepWriter::Close(const IXMLDOMNode& fragment) {
  row_.push_back({&fragment, texts_.size()});
  if (texts_.size() >= kRowSize) {
    Flush();
  }
}

}  // namespace quillmark
