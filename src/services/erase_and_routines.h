// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "context/context.h"
#include "quillmark/dom.h"

/// Local routines (service 0x31): starting and polling the erase and numbered routines. A positive
/// reply is 0x71, the local identifier, and a status: 0x01 while it is running, 0x02 once it has
/// finished.
namespace quillmark::services {

[[nodiscard]] std::shared_ptr<DOMDocument> starterase(Context& context, std::uint8_t RL);
void checkstarterase(const Context& context, const std::shared_ptr<DOMDocument>& root);

[[nodiscard]] std::shared_ptr<DOMDocument> checkerase(Context& context);
[[nodiscard]] bool checkcheckerase(const Context& context,
                                   const std::shared_ptr<DOMDocument>& root);

[[nodiscard]] std::shared_ptr<DOMDocument> startroutine(Context& context, std::uint8_t Routine);
void checkstartroutine(const Context& context, const std::shared_ptr<DOMDocument>& root,
                       std::uint8_t Routine);

[[nodiscard]] std::shared_ptr<DOMDocument> routinestatus(Context& context, std::uint8_t Routine);
[[nodiscard]] bool checkroutine(const Context& context, const std::shared_ptr<DOMDocument>& root,
                                std::uint8_t Routine);

}  // namespace quillmark::services
