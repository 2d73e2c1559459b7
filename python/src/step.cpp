// SPDX-License-Identifier: MIT
#include "step.h"

#include <pybind11/stl.h>

#include <optional>

namespace quillmark::python {
namespace {

const char* KindOf(const Step& self) {
  switch (self.step().kind) {
    case host::StepKind::kSend:
      return "send";
    case host::StepKind::kReceive:
      return "receive";
    case host::StepKind::kWait:
      return "wait";
    default:
      return "break";
  }
}

std::string TextOfTime(const host::Step& step) { return std::to_string(step.time.count()) + " ms"; }

}  // namespace

void Step::Answer(const ByteArgument& frame) {
  if (step_.kind != host::StepKind::kReceive) {
    throw py::value_error("only a receive step takes a frame");
  }
  if (step_.received) {
    throw py::value_error("the step has its frame already");
  }
  Append("d", host::HexOf(frame.bytes));
  step_.received = frame.bytes;
}

void Step::Fail(const std::string& reason) {
  if (step_.failure) {
    throw py::value_error("the step has failed already");
  }
  Append("e", reason);
  step_.failure = reason;
}

std::string Step::Text() const {
  std::string text = KindOf(*this);
  switch (step_.kind) {
    case host::StepKind::kSend:
      text += ' ' + host::HexOf(step_.frame);
      break;
    case host::StepKind::kReceive:
      text += ' ' + step_.expected;
      break;
    default:
      text += ' ' + TextOfTime(step_);
  }
  if (step_.received) {
    text += ": " + host::HexOf(*step_.received);
  }
  if (step_.failure) {
    text += ", failed: " + *step_.failure;
  }
  return text;
}

void Step::Append(const std::string& name, const std::string& text) {
  document_->Use([&](const std::shared_ptr<DOMDocument>& document) {
    const auto child = document->createElement(name);
    child->setText(text);
    step_.element->appendChild(child);
  });
}

void BindStep(py::module_& module) {
  py::class_<Step, std::shared_ptr<Step>>(module, "Step",
                                          R"(One step of a document, as it was when steps() read it.

str() and repr() give it in words: send 0227810000000000, receive 066781: 06678111223344AA, wait 20 ms.)")
      .def_property_readonly("kind", &KindOf, "\"send\", \"receive\", \"wait\" or \"break\".")
      .def_property_readonly(
          "frame", [](const Step& self) { return PythonBytes(self.step().frame); },
          "send: the data of the frame, or on a K line a whole message; otherwise empty.")
      .def_property_readonly(
          "expected", [](const Step& self) { return self.step().expected; },
          "receive: what the frame must begin with, as upper-case hexadecimal text; otherwise "
          "empty.")
      .def_property_readonly(
          "milliseconds", [](const Step& self) { return self.step().time.count(); },
          "wait, break: how long at least; otherwise 0.")
      .def_property_readonly(
          "received",
          [](const Step& self) {
            const auto& received = self.step().received;
            return received ? py::object(PythonBytes(*received)) : py::none();
          },
          "receive, after a run: the frame that came; None where none did.")
      .def_property_readonly(
          "failure", [](const Step& self) { return self.step().failure; },
          "Why the run ended at this step; None where it did not.")
      .def("answer", &Step::Answer, py::arg("frame"),
           "Writes the frame that a host received into the document. Raises ValueError for a step "
           "that\nreceives nothing and for one that has its frame.")
      .def("fail", &Step::Fail, py::arg("reason"),
           "Marks the step as the one where the run ended, which the check methods of transfers "
           "and of\nthe log zone look for. Raises ValueError where it is marked already.")
      .def("__str__", &Step::Text)
      .def("__repr__", [](const Step& self) { return '<' + self.Text() + '>'; });
}

}  // namespace quillmark::python
