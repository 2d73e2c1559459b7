// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "context/context.h"
#include "quillmark/byte_string.h"
#include "quillmark/dom.h"

/// Writing the history record of a reprogramming into the ECU's log zone.
namespace quillmark::services {

[[nodiscard]] std::shared_ptr<DOMDocument> writelogzone(Context& context,
                                                        const std::shared_ptr<ByteString>& Histo);

/// D18.
void checkwritelogzone(const Context& context, const std::shared_ptr<DOMDocument>& root);

}  // namespace quillmark::services
