// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "quillmark/host/bytes.h"

namespace quillmark::host {

/// A message of ISO 14230-2 with physical addressing: format, target, source, an optional length
/// byte, data, checksum.
struct KMessage {
  std::uint8_t target = 0;
  std::uint8_t source = 0;
  Bytes data;
};

/// 1 to 255 bytes of data. The length goes into the format byte up to 62, otherwise into a byte of
/// its own; this limit is the ECU's own, the standard would allow 63.
[[nodiscard]] Bytes EncodeKMessage(const KMessage& message);

/// Nothing if `bytes` are not exactly one message with a correct checksum.
[[nodiscard]] std::optional<KMessage> DecodeKMessage(ByteView bytes);

}  // namespace quillmark::host
