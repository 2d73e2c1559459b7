// SPDX-License-Identifier: MIT
#include "quillmark/xml_doc_client.h"

#include <new>

#include "quillmark/error.h"

namespace quillmark {

bool XMLDocClient::XMLReady(const std::shared_ptr<IXMLDOMNode>& /*xml*/) { return false; }

std::shared_ptr<XMLDocClient> CreateXMLDocClient() {
  try {
    throw Error(error_number::kSubscriptOutOfRange, "pure virtual class");
  } catch (const std::bad_alloc&) {
    throw Error(error_number::kOutOfMemory);
  }
}

}  // namespace quillmark
