// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "context/context.h"
#include "quillmark/dom.h"
#include "quillmark/memory_image.h"

/// Checks of run transfer documents, on the host's thread.
namespace quillmark::transfer {

/// The reply bytes are not looked at: the host has compared them and marks a failure.
void checkdownload(const std::shared_ptr<DOMDocument>& root);

/// Adds one segment a reply to `Image`, all or none.
void checkupload(const Context& context, const std::shared_ptr<DOMDocument>& root,
                 const std::shared_ptr<MemoryImage>& Image);

}  // namespace quillmark::transfer
