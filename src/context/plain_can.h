// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "base/hex.h"
#include "context/context.h"
#include "context/reply_frames.h"
#include "context/step_writer.h"

/// Plain CAN form: single, first and consecutive frames of ISO 15765-2.
namespace quillmark::plain_can {

/// Raises 1000 for a request of 4096 bytes or more, before anything is written.
void AddRequestFrames(StepWriter& steps, FrameBuffers& buffers,
                      const FlowControlSettings& flow_control, ByteView request);

/// Expects a reply of `reply_length` bytes (service identifier included) that begins with
/// `expected`. Raises 1000 for a length outside 0..4095 and for a prefix that a first frame cannot
/// hold.
void AddExpectedReply(StepWriter& steps, ByteView expected, std::int32_t reply_length);

/// The message that starts in `first`; nothing if that is neither a single nor a first frame.
/// Raises 2000 for a consecutive frame without data, 9 if a frame ends before what it announces.
[[nodiscard]] std::optional<Bytes> ReadReply(ByteView first, ReplyFrames& frames);

}  // namespace quillmark::plain_can
