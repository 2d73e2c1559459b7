// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <memory>

#include "base/com/com_ptr.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {

/// The client of a worker that a host's threading library runs, as the worker sees it: an object
/// with `IXMLDocClient`. Raises 13 for any other and for Nothing.
[[nodiscard]] std::shared_ptr<XMLDocClient> WrapClient(IUnknown* client);

}  // namespace quillmark
