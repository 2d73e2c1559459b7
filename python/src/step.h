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

  /// Each writes the result of the step into the document, and raises ValueError if the step cannot
  /// have a frame or already has one.
  void Answer(const ByteArgument& frame);
  void Fail(const std::string& reason);

  /// "send 0227810000000000", "receive 066781: 06678111223344AA", "wait 20 ms".
  [[nodiscard]] std::string Text() const;

 private:
  std::shared_ptr<Document> document_;
  quillmark::Step step_;
};

void BindStep(py::module_& module);

}  // namespace quillmark::python
