// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "quillmark/dom.h"

namespace quillmark::testing {

/// A document of another implementation, none of whose answers is of use.
class ForeignDocument : public DOMDocument {
 public:
  using Node = std::shared_ptr<IXMLDOMNode>;
  using Element = std::shared_ptr<IXMLDOMElement>;

  MOCK_METHOD(NodeType, nodeType, (), (const, override));
  MOCK_METHOD(std::string, nodeName, (), (const, override));
  MOCK_METHOD(std::string, nodeValue, (), (const, override));
  MOCK_METHOD(void, setNodeValue, (std::string_view), (override));
  MOCK_METHOD(std::string, text, (), (const, override));
  MOCK_METHOD(void, setText, (std::string_view), (override));
  MOCK_METHOD(std::string, xml, (), (const, override));
  MOCK_METHOD(Node, parentNode, (), (const, override));
  MOCK_METHOD(Node, firstChild, (), (const, override));
  MOCK_METHOD(Node, nextSibling, (), (const, override));
  MOCK_METHOD(std::shared_ptr<DOMDocument>, ownerDocument, (), (const, override));
  MOCK_METHOD(Node, appendChild, (const Node&), (override));
  MOCK_METHOD(Node, cloneNode, (bool), (const, override));
  MOCK_METHOD(Node, selectSingleNode, (std::string_view), (const, override));
  MOCK_METHOD(std::shared_ptr<IXMLDOMNodeList>, selectNodes, (std::string_view), (const, override));
  MOCK_METHOD(Element, documentElement, (), (const, override));
  MOCK_METHOD(Node, createNode, (NodeType, std::string_view, std::string_view), (override));
  MOCK_METHOD(Element, createElement, (std::string_view), (override));
  MOCK_METHOD(Node, createTextNode, (std::string_view), (override));
  MOCK_METHOD(Node, createProcessingInstruction, (std::string_view, std::string_view), (override));
  MOCK_METHOD(Node, createDocumentFragment, (), (override));
  MOCK_METHOD(void, save, (DOMDocument&), (const, override));
  MOCK_METHOD(void, loadXML, (std::string_view), (override));
  MOCK_METHOD(bool, async, (), (const, override));
  MOCK_METHOD(void, setAsync, (bool), (override));
};

}  // namespace quillmark::testing
