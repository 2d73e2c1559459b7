// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <utility>

#include "base/checked.h"
#include "base/guards.h"
#include "transfer/piece_stream.h"
#include "transfer/transfer.h"
#include "transfer/transfer_documents.h"

namespace quillmark::transfer {
namespace {

constexpr std::int32_t kMaxRequestSize = 48;
/// What a reply has in addition to its data: 6 header bytes and a 2-byte checksum.
constexpr std::int32_t kReplyOverhead = 8;

/// Adds the request for `count` bytes from `address`. Its second byte: D8.
bool AddRequest(PieceStream& stream, std::uint8_t RL, std::int32_t address, std::int32_t count) {
  const auto [high, middle, low] = AddressBytes(address);
  const std::uint8_t size = checked::ToByte(count);
  const std::array<std::uint8_t, 6> request = {0x35, 0x80, high, middle, low, size};
  const std::array<std::uint8_t, 6> expected = {0x75, RL, high, middle, low, size};
  return stream.Add(request, expected, count + kReplyOverhead, count);
}

/// False if the client wants no more.
bool StreamRange(const MemoryRange& range, std::uint8_t RL, PieceStream& stream) {
  std::int32_t address = range.Start();
  std::int32_t remaining = range.Count();
  while (remaining > 0) {
    const std::int32_t count = std::min(remaining, kMaxRequestSize);
    const std::int32_t next_address = checked::Add(address, count);
    if (!AddRequest(stream, RL, address, count)) {
      return false;
    }
    remaining -= count;
    address = next_address;
  }
  return true;
}

}  // namespace

void RunUpload(Context& context, TransferParameters& parameters, XMLDocClient& client) {
  const auto map = ReadMap(context.GetPlatform(), *std::exchange(parameters.document, nullptr));
  PieceStream stream(context, client);
  for (const auto& range : map->Ranges()) {
    if (!StreamRange(Require(range), parameters.RL, stream)) {
      return;
    }
  }
  stream.Finish();
}

}  // namespace quillmark::transfer
