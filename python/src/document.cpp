// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>

#include <charconv>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "bindings.h"
#include "quillmark/error.h"
#include "quillmark/request_document.h"
#include "shared_objects.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

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

constexpr const char* kCarriageReturn = "&#13;";

std::shared_ptr<Document> Parse(std::string_view xml) {
  auto document = SharedPlatform()->CreateDOMDocument();
  document->loadXML(xml);
  return std::make_shared<Document>(std::move(document));
}

std::string XmlOf(const Document& self) {
  return self.Use([](const auto& document) { return document->xml(); });
}

std::vector<std::shared_ptr<Step>> StepsOf(const std::shared_ptr<Document>& self) {
  return self->Use([&](const std::shared_ptr<DOMDocument>& document) {
    std::vector<std::shared_ptr<Step>> steps;
    for (quillmark::Step& step : ReadRequestDocument(*document).steps) {
      steps.push_back(std::make_shared<Step>(self, std::move(step)));
    }
    return steps;
  });
}

py::object EtreeModule() { return py::module_::import("xml.etree.ElementTree"); }

/// A parser makes a line feed of each line end, unless the carriage return is written as a
/// reference.
py::object KeepingLineEnds(const py::object& xml) {
  return xml.attr("replace")("\r", kCarriageReturn);
}

py::object ToEtree(const Document& self) {
  return EtreeModule().attr("fromstring")(KeepingLineEnds(py::str(XmlOf(self))));
}

std::shared_ptr<Document> FromEtree(py::object tree) {
  const py::object etree = EtreeModule();
  if (py::isinstance(tree, etree.attr("ElementTree"))) {
    tree = tree.attr("getroot")();
  }
  if (!py::isinstance(tree, etree.attr("Element"))) {
    throw py::type_error("expected an Element or an ElementTree of xml.etree, found " +
                         ShortTextOf(tree));
  }
  const py::object xml = etree.attr("tostring")(tree, py::arg("encoding") = "unicode");
  const auto text = py::cast<std::string>(KeepingLineEnds(xml));
  return Parse("<?xml version='1.0'?>" + text);
}

std::shared_ptr<Document> Copy(const Document& self) {
  return self.Use([](const auto& document) { return MakeDocument(document->cloneNode(true)); });
}

std::string TextOfDocument(const Document& self) {
  return self.Use([](const auto& document) {
    const auto root = document->documentElement();
    return "<quillmark.Document " + (root ? root->nodeName() : std::string("empty")) + '>';
  });
}

}  // namespace

std::shared_ptr<Document> MakeDocument(const std::shared_ptr<IXMLDOMNode>& node) {
  return std::make_shared<Document>(std::dynamic_pointer_cast<DOMDocument>(node));
}

std::optional<std::int64_t> TotalBytesOf(const IXMLDOMNode& document) {
  const auto root = std::dynamic_pointer_cast<IXMLDOMElement>(document.selectSingleNode("/*"));
  const std::string text = root ? root->getAttribute("totalbytes").value_or("") : "";
  std::int64_t bytes = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return bytes;
}

void BindDocuments(py::module_& module) {
  py::class_<Document, std::shared_ptr<Document>> document(
      module, "Document",
      R"(A request document, and once it has been run a reply document.

The members of DiagOnCANReprog make documents; a Runner, or a host of your own by means of steps(), runs
them. Document(xml) parses one; raises Error 13 where the text is not well-formed. Several threads may
share a document: each waits for its turn, that of a Runner lasting for the whole run.)");
  BindStep(module);
  document.def(py::init(&Parse), py::arg("xml"))
      .def_property_readonly("xml", &XmlOf, "The document as XML text, exactly as it is.")
      .def_property_readonly(
          "totalbytes",
          [](const Document& self) {
            return self.Use([](const auto& node) { return TotalBytesOf(*node); });
          },
          "The bytes of the image or the ranges that a transfer document covers, left-out fill "
          "included;\nNone for other documents.")
      .def("steps", &StepsOf,
           "The steps in order, with their results after a run: a list of Step.\n\n"
           "Raises Error 13 with the reason if this is not a request document.")
      .def("to_etree", &ToEtree,
           "A copy as xml.etree.ElementTree.Element, the root. Carriage returns are kept; the XML "
           "declaration\nhas no place there.")
      .def_static("from_etree", &FromEtree, py::arg("tree"),
                  "A document from an Element or an ElementTree of xml.etree. What to_etree "
                  "returned becomes a\ndocument with the same xml.")
      .def("copy", &Copy, "An independent copy, for example to run a request again.")
      .def("__repr__", &TextOfDocument);
}

}  // namespace quillmark::python
