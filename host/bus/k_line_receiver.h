// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "quillmark/host/bytes.h"

namespace quillmark::host {

/// Splits the bytes of a K line into messages of ISO 14230-2 by the length in each header: format,
/// target and source byte, a length byte if the format byte holds no length, data, checksum. Only
/// headers with addresses are supported, whose format byte has bit 7 set; a byte that does not
/// begin such a header is noise and is discarded. Checksums are not checked.
///
/// The receiver is pure: it knows no port and no clock. The reader of the line tells it when the
/// pause between two bytes is longer than a message allows.
class KLineReceiver {
 public:
  /// Takes bytes in portions of any size, and returns the messages that they complete.
  [[nodiscard]] std::vector<Bytes> Take(ByteView bytes);

  /// Whether a message has begun and is not complete.
  [[nodiscard]] bool InMessage() const { return !begun_.empty(); }

  /// The line has been silent for too long (P1 of the ECU): the current message stays incomplete.
  /// Returns it, or nothing if none had begun; the next byte begins a new message.
  [[nodiscard]] Bytes OnSilence();

 private:
  Bytes begun_;
};

}  // namespace quillmark::host
