// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "quillmark/host/bytes.h"

namespace quillmark::host {

/// A CAN data frame.
struct CanFrame {
  static constexpr std::size_t kMostBytes = 8;
  static constexpr std::uint32_t kLastStandardIdentifier = 0x7FF;
  static constexpr std::uint32_t kLastExtendedIdentifier = 0x1FFFFFFF;

  std::uint32_t identifier = 0;
  /// An identifier of 29 bits, otherwise of 11.
  bool extended = false;
  Bytes data;

  friend bool operator==(const CanFrame&, const CanFrame&) = default;
};

/// A frame of a diagnostic exchange, where every identifier above 0x7FF is an extended one.
[[nodiscard]] inline CanFrame CanFrameTo(std::uint32_t identifier, ByteView data) {
  return {identifier, identifier > CanFrame::kLastStandardIdentifier,
          Bytes(data.begin(), data.end())};
}

}  // namespace quillmark::host
