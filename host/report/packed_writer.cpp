// SPDX-License-Identifier: MIT
#include "host/report/packed_writer.h"

#include <zlib.h>

#include <algorithm>
#include <memory>
#include <new>
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

Bytes Deflated(ByteView bytes) {
  constexpr int kRawStream = -MAX_WBITS;
  constexpr std::size_t kMostAtOnce = 1U << 20U;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kRawStream, MAX_MEM_LEVEL,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  const std::unique_ptr<z_stream, decltype(&deflateEnd)> end(&stream, &deflateEnd);
  Bytes deflated;
  Bytes piece(kMostAtOnce);
  int state = Z_OK;
  while (state != Z_STREAM_END) {
    if (stream.avail_in == 0) {
      const ByteView next = bytes.first(std::min(bytes.size(), kMostAtOnce));
      bytes = bytes.subspan(next.size());
      stream.next_in = next.data();
      stream.avail_in = static_cast<uInt>(next.size());
    }
    stream.next_out = piece.data();
    stream.avail_out = static_cast<uInt>(piece.size());
    state = deflate(&stream, bytes.empty() ? Z_FINISH : Z_NO_FLUSH);
    deflated.insert(deflated.end(), piece.data(), stream.next_out);
  }
  return deflated;
}

std::string Base64Of(ByteView bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t left = bytes.size() - at;
    const std::uint32_t group = bytes[at] * 0x10000U + (left > 1 ? bytes[at + 1] * 0x100U : 0U) +
                                (left > 2 ? bytes[at + 2] : 0U);
    text += kDigits[group >> 18U];
    text += kDigits[group >> 12U & 0x3FU];
    text += left > 1 ? kDigits[group >> 6U & 0x3FU] : '=';
    text += left > 2 ? kDigits[group & 0x3FU] : '=';
  }
  return text;
}

}  // namespace quillmark::host
