// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/forms.h"

namespace quillmark::testing {

inline std::string HexByte(std::size_t value) {
  char digits[3] = "";
  std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(value & 0xFFU));
  return digits;
}

/// The ISO 14230-2 message from the ECU of `form` with the bytes `hex`, fewer than 63.
inline std::string KMessage(const Form& form, std::string_view hex) {
  std::string message = HexByte(0x80 + hex.size() / 2) + "F1" +
                        HexByte(static_cast<std::size_t>(form.XCANId)) + std::string(hex);
  std::size_t sum = 0;
  for (std::size_t at = 0; at < message.size(); at += 2) {
    sum += std::stoul(message.substr(at, 2), nullptr, 16);
  }
  return message + HexByte(sum);
}

/// `text` in pieces of `size` characters; the last may be shorter.
inline std::vector<std::string> Cut(std::string_view text, std::size_t size) {
  std::vector<std::string> pieces;
  for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
    pieces.emplace_back(text.substr(0, size));
  }
  return pieces;
}

/// The frames in which the ECU of `form` replies with the bytes `hex`, fewer than 63.
inline std::vector<std::string> FramedReply(const Form& form, std::string_view hex) {
  if (form.name == kKLine.name) {
    return {KMessage(form, hex)};
  }
  if (form.name == kGateway.name) {
    const std::string message = KMessage(form, hex);
    return Cut(HexByte(message.size() / 2 / 8 + 1) + message, 16);
  }
  if (hex.size() <= 14) {
    return {HexByte(hex.size() / 2) + std::string(hex)};
  }
  std::vector<std::string> frames = {"10" + HexByte(hex.size() / 2) +
                                     std::string(hex.substr(0, 12))};
  for (const std::string& data : Cut(hex.substr(12), 14)) {
    frames.push_back(HexByte(0x20 + frames.size() % 16) + data);
  }
  return frames;
}

/// A run document in which the `r` elements received these frames; "-" stands for none.
inline std::string RunDocument(const Form& form, const std::vector<std::string>& frames) {
  std::string replies;
  for (const std::string& frame : frames) {
    replies += frame == "-" ? "<r><c/></r>" : "<r><c/><d>" + frame + "</d></r>";
  }
  return form.name == kKLine.name ? "<k>" + replies + "</k>" : "<can><x>" + replies + "</x></can>";
}

/// A run document in which the ECU of `form` replied with these messages.
inline std::string RunDocumentOf(const Form& form, const std::vector<std::string>& messages) {
  std::vector<std::string> frames;
  for (const std::string& message : messages) {
    for (std::string& frame : FramedReply(form, message)) {
      frames.push_back(std::move(frame));
    }
  }
  return RunDocument(form, frames);
}

}  // namespace quillmark::testing
