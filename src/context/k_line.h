// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/hex.h"
#include "context/addressing.h"
#include "context/step_writer.h"

/// K line form: a whole ISO 14230-2 message is one step.
namespace quillmark::k_line {

/// Raises 1000 for a request outside 1..255 bytes, before anything is written.
void AddKFrames(StepWriter& steps, const Addressing& addressing, ByteView request);

/// Raises 1000 for a reply length outside 1..255.
void AddKReply(StepWriter& steps, const Addressing& addressing, ByteView expected,
               std::int32_t reply_length);

/// Raises 2003 for a message that is cut off or has a wrong checksum.
[[nodiscard]] Bytes ReadReply(ByteView message);

}  // namespace quillmark::k_line
