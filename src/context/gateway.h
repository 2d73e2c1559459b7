// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/hex.h"
#include "context/addressing.h"
#include "context/reply_frames.h"
#include "context/step_writer.h"

/// Gateway form: an ISO 14230-2 message behind a byte that counts its frames, split into 8-byte
/// frames. The receiver of a message acknowledges every frame except the last with 0x81. The count
/// byte is not part of the checksum.
namespace quillmark::gateway {

/// Raises 1000 for a request outside 1..255 bytes, before anything is written.
void AddAddressedCANFrames(StepWriter& steps, const Addressing& addressing, ByteView request);

/// Raises 1000 for a reply length outside 1..255.
void AddAddressedCANReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
                          std::int32_t reply_length);

/// The message that starts in `first`. Raises 2000 for a further frame without data, 2003 for a
/// message that is cut off or has a wrong checksum, 9 for an empty first frame.
[[nodiscard]] Bytes ReadReply(ByteView first, ReplyFrames& frames);

}  // namespace quillmark::gateway
