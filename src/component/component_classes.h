// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {

/// Calls `add` with the ProgID and the factory of each of the component's classes.
template <typename Add>
void ForEachComponentClass(Add add) {
  add(std::string(DiagOnCANReprog::kProgID), CreateDiagOnCANReprog);
  add(std::string(XMLDocClient::kProgID),
      [](const std::shared_ptr<Platform>&) { return CreateXMLDocClient(); });
}

}  // namespace quillmark
