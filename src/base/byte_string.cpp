// SPDX-License-Identifier: MIT
#include "quillmark/byte_string.h"

#include "base/hex.h"

namespace quillmark {

void ByteString::ReadBytes(const std::function<void(std::span<const std::uint8_t>)>& read) const {
  read(BytesOfHex(Hex()));
}

void ByteString::SetBytes(std::span<const std::uint8_t> bytes) { SetHex(HexOf(bytes)); }

}  // namespace quillmark
