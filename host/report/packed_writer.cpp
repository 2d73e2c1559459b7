// SPDX-License-Identifier: MIT
#include "host/report/packed_writer.h"

#include <string_view>

namespace quillmark::host {

void PackedWriter::Number(std::uint64_t number) {
  for (; number >= 0x80U; number >>= 7U) {
    bytes_.push_back(static_cast<std::uint8_t>(number | 0x80U));
  }
  bytes_.push_back(static_cast<std::uint8_t>(number));
}

void PackedWriter::Signed(std::int64_t number) {
  Number(number >= 0 ? 2 * static_cast<std::uint64_t>(number)
                     : 2 * static_cast<std::uint64_t>(-number) - 1);
}

std::string PackedWriter::Base64() const {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes_.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes_.size(); at += 3) {
    const std::size_t left = bytes_.size() - at;
    const std::uint32_t group = bytes_[at] * 0x10000U + (left > 1 ? bytes_[at + 1] * 0x100U : 0U) +
                                (left > 2 ? bytes_[at + 2] : 0U);
    text += kDigits[group >> 18U];
    text += kDigits[group >> 12U & 0x3FU];
    text += left > 1 ? kDigits[group >> 6U & 0x3FU] : '=';
    text += left > 2 ? kDigits[group & 0x3FU] : '=';
  }
  return text;
}

}  // namespace quillmark::host
