// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "arguments.h"
#include "quillmark/request_document.h"
#include "shared_objects.h"

namespace quillmark::python {

/// A step of a document, as it was when it was read.
class Step {
 public:
  Step(std::shared_ptr<Document> document, quillmark::Step step)
      : document_(std::move(document)), step_(std::move(step)) {}

  [[nodiscard]] const quillmark::Step& step() const { return step_; }

  /// Writes the frame into the document. Raises ValueError for a step that receives nothing or has
  /// its frame already.
  void Answer(const ByteArgument& frame);
  /// Marks the step as failed in the document. Raises ValueError if it is marked already.
  void Fail(const std::string& reason);

  /// "send 0227810000000000", "receive 066781: 06678111223344AA", "wait 20 ms".
  [[nodiscard]] std::string Text() const;

 private:
  std::shared_ptr<Document> document_;
  quillmark::Step step_;
};

void BindStep(py::module_& module);

}  // namespace quillmark::python
