// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "bindings.h"
#include "shared_objects.h"
#include "step.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

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
