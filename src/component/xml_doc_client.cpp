#include "quillmark/xml_doc_client.h"

#include "quillmark/error.h"

namespace quillmark {

bool XMLDocClient::XMLReady(const std::shared_ptr<IXMLDOMNode>& /*xml*/) { return false; }

std::shared_ptr<XMLDocClient> CreateXMLDocClient() {
  throw Error(error_number::kSubscriptOutOfRange, "pure virtual class");
}

}  // namespace quillmark
