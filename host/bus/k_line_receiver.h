// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "host/bus/bytes.h"

namespace quillmark::host {

/// Cuts the bytes of a K line into messages of ISO 14230-2 by the length that each header gives:
/// format, target and source byte, a length byte where the format byte holds no length, data,
/// checksum. Only headers with addresses are known, as format bytes with bit 7 set announce them;
/// a byte that begins no such header is noise and is dropped. Checksums are not looked at.
///
/// The receiver is pure: it knows no port and no clock. Whoever reads the line tells it when the
/// pause between two bytes has become longer than a message allows.
class KLineReceiver {
 public:
  /// Takes bytes as they came, split or glued in any way, and returns the messages that they
  /// complete.
  [[nodiscard]] std::vector<Bytes> Take(ByteView bytes);

  /// Whether a message was begun and bytes of it are missing.
  [[nodiscard]] bool InMessage() const { return !begun_.empty(); }

  /// The line has been silent for too long (P1 of the ECU): what was begun stays incomplete.
  /// Returns it, empty if nothing was begun; the next byte begins a new message.
  [[nodiscard]] Bytes OnSilence();

 private:
  Bytes begun_;
};

}  // namespace quillmark::host
