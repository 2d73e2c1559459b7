// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "context/context.h"
#include "quillmark/dom.h"

/// Opening the diagnostic session, keeping it alive and closing it.
namespace quillmark::services {

[[nodiscard]] std::shared_ptr<DOMDocument> StartDiag(Context& context);
[[nodiscard]] std::shared_ptr<DOMDocument> TesterPresent(Context& context);
[[nodiscard]] std::shared_ptr<DOMDocument> stopcomm(Context& context);

}  // namespace quillmark::services
