// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "context/context.h"
#include "quillmark/byte_string.h"
#include "quillmark/dom.h"

/// Security access (service 0x27): the ECU sends a seed, from which the host computes the key.
namespace quillmark::services {

[[nodiscard]] std::shared_ptr<DOMDocument> readseed(Context& context);
[[nodiscard]] std::shared_ptr<ByteString> getseed(const Context& context,
                                                  const std::shared_ptr<DOMDocument>& root);
[[nodiscard]] std::shared_ptr<DOMDocument> dounlock(Context& context,
                                                    const std::shared_ptr<ByteString>& key);
void checkunlock(const Context& context, const std::shared_ptr<DOMDocument>& root);

}  // namespace quillmark::services
