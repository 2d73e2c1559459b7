// SPDX-License-Identifier: MIT
#include "host/services/parameters.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmark::host {
namespace {

bool IsResponse(ByteView message) { return (message[0] & kResponseBit) != 0; }

ByteView From(ByteView message, std::size_t at) {
  return message.subspan(std::min(at, message.size()));
}

/// As characters if all of them can be printed, otherwise as hexadecimal text.
std::string Readable(ByteView bytes) {
  const auto is_printable = [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; };
  if (!std::all_of(bytes.begin(), bytes.end(), is_printable)) {
    return HexOf(bytes);
  }
  std::string text(bytes.begin(), bytes.end());
  text.erase(text.find_last_not_of(' ') + 1);
  return '"' + text + '"';
}

std::string RecordName(std::uint8_t identifier) {
  constexpr std::uint8_t kIdentification = 0x80;
  constexpr std::uint8_t kFirstOfHistory = 0xF0;
  if (identifier == kIdentification) {
    return "80 identification";
  }
  if (identifier < kFirstOfHistory) {
    return fmt::format("{:02X}", identifier);
  }
  return fmt::format("{:02X} {}", identifier, identifier % 2 == 0 ? "history" : "reprogramming");
}

/// "0x008000 to 0x00807F, 128 bytes" of a message with address and count.
std::string MemoryText(ByteView message) {
  if (message.size() < kBlockHeader) {
    return {};
  }
  const unsigned first = message[2] * 0x10000U + message[3] * 0x100U + message[4];
  const unsigned count = message[5];
  if (count == 0) {
    return fmt::format("0x{:06X}, no bytes", first);
  }
  return fmt::format("0x{:06X} to 0x{:06X}, {} byte{}", first, first + count - 1, count,
                     count == 1 ? "" : "s");
}

std::string WithBytes(const char* name, const std::string& hex) {
  return hex.empty() ? name : std::string(name) + ' ' + hex;
}

std::string RoutineName(std::uint8_t identifier) {
  constexpr std::uint8_t kErase = 0x81;
  return identifier == kErase ? "erase" : fmt::format("routine {:02X}", identifier);
}

std::string RoutineState(std::uint8_t state) {
  switch (state) {
    case 0x01:
      return "running";
    case 0x02:
      return "finished";
    default:
      return fmt::format("failed ({:02X})", state);
  }
}

}  // namespace

bool IsForLogZone(ByteView download) {
  constexpr std::uint8_t kLogZone = 0x83;
  return download.size() >= 2 && download[1] == kLogZone;
}

std::string SessionParameters(ByteView message) {
  if (message.size() < 2) {
    return {};
  }
  switch (message[1]) {
    case 0x81:
      return "81 default session";
    case 0x85:
      return "85 programming session";
    case 0xC0:
      return "C0 diagnostic session";
    default:
      return fmt::format("{:02X}", message[1]);
  }
}

std::string KeyByteParameters(ByteView message) {
  return message.size() < 2 ? "" : "key bytes " + HexOf(From(message, 1));
}

std::string RecordParameters(ByteView message) {
  if (message.size() < 2) {
    return {};
  }
  const ByteView record = From(message, 2);
  return "record " + RecordName(message[1]) + (record.empty() ? "" : " = " + Readable(record));
}

std::string SecurityParameters(ByteView message) {
  if (message.size() < 2) {
    return {};
  }
  const bool about_seed = message[1] % 2 == 1;
  const std::string rest = HexOf(From(message, 2));
  if (IsResponse(message)) {
    return about_seed ? WithBytes("seed", rest) : "key accepted";
  }
  return about_seed ? "ask for the seed" : WithBytes("key", rest);
}

std::string RoutineParameters(ByteView message) {
  constexpr std::size_t kEraseRequest = 5;
  if (message.size() < 2) {
    return {};
  }
  const std::string name = RoutineName(message[1]);
  if (message.size() == 2) {
    return name;
  }
  if (IsResponse(message)) {
    return name + ' ' + RoutineState(message[2]);
  }
  if (message.size() == kEraseRequest) {
    return fmt::format("start the {} of memory {:02X}", name, message[2]);
  }
  return (message[2] == 0 ? "start " : "ask whether finished: ") + name;
}

std::string DownloadParameters(ByteView message) {
  if (message.size() < 2) {
    return {};
  }
  if (IsResponse(message)) {
    return message[1] == 0x02 ? "accepted" : HexOf(From(message, 1));
  }
  if (IsForLogZone(message)) {
    const ByteView rest = From(message, kBlockHeader);
    return rest.empty() ? "log zone"
                        : "log record " +
                              Readable(rest.first(std::min<std::size_t>(rest.size(), message[5])));
  }
  const std::string memory = MemoryText(message);
  return fmt::format("memory {:02X}{}{}", message[1], memory.empty() ? "" : ", ", memory);
}

std::string UploadParameters(ByteView message) { return MemoryText(message); }

}  // namespace quillmark::host
