// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "context/context.h"
#include "quillmark/byte_string.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/dom.h"

/// The requests of the public class and their checks, one source file per family. What each does is
/// described at the public member of that name.
namespace quillmark::services {

// session_control.cpp: opening the diagnostic session, keeping it alive and closing it.

[[nodiscard]] std::shared_ptr<DOMDocument> StartDiag(Context& context);
[[nodiscard]] std::shared_ptr<DOMDocument> TesterPresent(Context& context);
[[nodiscard]] std::shared_ptr<DOMDocument> stopcomm(Context& context);

// history.cpp: the ECU's identification and its history of earlier reprogrammings, as `StartDiag`
// reads them.

/// Bytes of the reply to each read request of `StartDiag`: service, identifier, 24 bytes of record.
inline constexpr std::int32_t kRecordReplyLength = 26;

void gethisto(const Context& context, const std::shared_ptr<DOMDocument>& root,
              ByteStringArray& RepHisto, ByteStringArray& RepReprog,
              std::shared_ptr<ByteString>& RepIdent);

// security_access.cpp: service 0x27, in which the ECU sends a seed, from which the host computes
// the key.

[[nodiscard]] std::shared_ptr<DOMDocument> readseed(Context& context);
[[nodiscard]] std::shared_ptr<ByteString> getseed(const Context& context,
                                                  const std::shared_ptr<DOMDocument>& root);
[[nodiscard]] std::shared_ptr<DOMDocument> dounlock(Context& context,
                                                    const std::shared_ptr<ByteString>& key);
void checkunlock(const Context& context, const std::shared_ptr<DOMDocument>& root);

// erase_and_routines.cpp: local routines (service 0x31), started and polled. A positive reply is
// 0x71, the local identifier, and a status: 0x01 while the routine is running, 0x02 once it has
// finished.

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

// log_zone.cpp: writing the history record of a reprogramming into the ECU's log zone.

[[nodiscard]] std::shared_ptr<DOMDocument> writelogzone(Context& context,
                                                        const std::shared_ptr<ByteString>& Histo);

/// D18.
void checkwritelogzone(const Context& context, const std::shared_ptr<DOMDocument>& root);

}  // namespace quillmark::services
