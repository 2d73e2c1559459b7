// SPDX-License-Identifier: MIT
#include "step.h"

#include <pybind11/stl.h>

#include <functional>
#include <string>

#include "quillmark/error.h"

namespace quillmark::python {
namespace {

const char* KindOf(const Step& self) {
  switch (self.step().kind) {
    case StepKind::kSend:
      return "send";
    case StepKind::kReceive:
      return "receive";
    case StepKind::kWait:
      return "wait";
    default:
      return "break";
  }
}

/// Writes a result. One that the step cannot take is a wrong value.
void Write(Document& document, const std::function<void()>& write) {
  try {
    document.Use([&](const auto&) { write(); });
  } catch (const Error& error) {
    if (error.Number() != error_number::kTypeMismatch) {
      throw;
    }
    throw py::value_error(error.Description());
  }
}

std::string TextOfTime(const quillmark::Step& step) {
  return std::to_string(step.time.count()) + " ms";
}

}  // namespace

void Step::Answer(const ByteArgument& frame) {
  Write(*document_, [&] { step_.Answer(frame.bytes); });
}

void Step::Fail(const std::string& reason) {
  Write(*document_, [&] { step_.Fail(reason); });
}

std::string Step::Text() const {
  std::string text = KindOf(*this);
  switch (step_.kind) {
    case StepKind::kSend:
      text += ' ' + host::HexOf(step_.frame);
      break;
    case StepKind::kReceive:
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
