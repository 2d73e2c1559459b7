// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "quillmark/byte_string.h"

namespace quillmark::transfer {

/// How a download is cut.
struct CutRule {
  std::uint8_t fill_byte;
  std::int32_t alignment;  ///< `IMod`: fill bytes are left out in whole units of this size
  std::int32_t max_size;   ///< `MaxSize`: data bytes of a block, 1..255
};

/// Cuts one segment of an image into blocks and leaves out fill bytes: D26.
class SegmentCutter {
 public:
  struct Cut {
    std::int32_t skipped;  ///< fill bytes left out before the block
    std::int32_t address;  ///< of the block's first byte
    std::int32_t count;    ///< of the block's bytes; 0 if the segment ends in fill bytes
  };

  SegmentCutter(const ByteString& segment, const CutRule& rule)
      : segment_(segment),
        rule_(rule),
        address_(segment.StartAddress()),
        end_(segment.EndAddress()) {}

  /// The next piece; nothing at the segment's end. Raises 11 for an alignment of 0, 9 if
  /// `FillRunLength` of the segment fails, 6 if an address leaves the signed 32-bit range.
  [[nodiscard]] std::optional<Cut> Next();

 private:
  [[nodiscard]] std::int32_t SkippableFill() const;

  const ByteString& segment_;
  const CutRule& rule_;
  std::int32_t address_;
  std::int32_t end_;
};

}  // namespace quillmark::transfer
