// SPDX-License-Identifier: MIT
// Reads a report as the script in it does.
#pragma once

#include <zlib.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quillmark::host::testing {

/// What a raw deflate stream holds. Raises std::runtime_error for anything else.
inline std::string Inflated(std::string deflated) {
  std::string inflated;
  std::string piece(0x10000, '\0');
  z_stream stream{};
  stream.next_in = reinterpret_cast<Bytef*>(deflated.data());
  stream.avail_in = static_cast<uInt>(deflated.size());
  int state = inflateInit2(&stream, -MAX_WBITS);
  while (state == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    state = inflate(&stream, Z_NO_FLUSH);
    inflated.append(piece, 0, piece.size() - stream.avail_out);
  }
  inflateEnd(&stream);
  if (state != Z_STREAM_END || stream.avail_in > 0) {
    throw std::runtime_error("no deflate stream");
  }
  return inflated;
}

/// Raises std::runtime_error for what is no base64.
inline std::string BytesOfBase64(std::string_view base64) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char digit : base64.substr(0, base64.find('='))) {
    const std::size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) {
      throw std::runtime_error("no base64");
    }
    bits = bits << 6U | static_cast<unsigned>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xFFU);
    }
  }
  return bytes;
}

/// The data of a page, without its frames.
inline nlohmann::json DataOfReport(const std::string& page) {
  constexpr std::string_view kBegin = "id=\"data\">";
  const std::size_t begin = page.find(kBegin) + kBegin.size();
  const std::string packed =
      Inflated(BytesOfBase64(std::string_view(page).substr(begin, page.find('<', begin) - begin)));
  std::size_t size = 0;
  std::size_t at = 0;
  for (unsigned shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(packed.at(at++));
    size |= static_cast<std::size_t>(byte & 0x7FU) << shift;
    if (byte < 0x80) {
      return nlohmann::json::parse(packed.substr(at, size));
    }
  }
}

}  // namespace quillmark::host::testing
