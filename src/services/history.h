// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "context/context.h"
#include "quillmark/byte_string.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/dom.h"

/// The ECU's identification and its history of earlier reprogrammings, as `StartDiag` reads them.
namespace quillmark::services {

/// Bytes of the reply to each read request of `StartDiag`: service, identifier, 24 bytes of record.
inline constexpr std::int32_t kRecordReplyLength = 26;

void gethisto(const Context& context, const std::shared_ptr<DOMDocument>& root,
              ByteStringArray& RepHisto, ByteStringArray& RepReprog,
              std::shared_ptr<ByteString>& RepIdent);

}  // namespace quillmark::services
