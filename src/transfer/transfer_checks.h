// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "context/context.h"
#include "quillmark/dom.h"
#include "quillmark/memory_image.h"

/// Checks of transfer documents after their run, on the host's thread.
namespace quillmark::transfer {

/// D18.
void checkdownload(const Context& context, const std::shared_ptr<DOMDocument>& root);

/// Adds one segment per reply to `Image`, all or none. D23.
void checkupload(const Context& context, const std::shared_ptr<DOMDocument>& root,
                 const std::shared_ptr<MemoryImage>& Image);

}  // namespace quillmark::transfer
