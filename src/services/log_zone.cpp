// SPDX-License-Identifier: MIT
#include <cstdint>

#include "base/guards.h"
#include "base/hex.h"
#include "context/message_table.h"
#include "context/reply.h"
#include "context/request.h"
#include "services/services.h"

namespace quillmark::services {
namespace {

/// 34 83, address 00 00 00, length 0x30, 48 bytes of history, 2-byte checksum.
constexpr std::string_view kHeaderHex = "348300000030";
constexpr std::int32_t kHeaderLength = 6;
constexpr std::int32_t kHistoryLength = 48;
constexpr std::int32_t kChecksumLength = 2;

}  // namespace

std::shared_ptr<DOMDocument> writelogzone(Context& context,
                                          const std::shared_ptr<ByteString>& Histo) {
  Platform& platform = context.GetPlatform();
  const auto block = NotNull(platform.CreateByteString());
  block->SetHex(kHeaderHex);
  block->SetLength(kHeaderLength + kHistoryLength + kChecksumLength);
  Require(block->Mid(kHeaderLength + 1, kHistoryLength)).Assign(Require(Histo));

  const auto checksum = NotNull(platform.CreateChecksumCalculator());
  checksum->Add(Require(block->Mid(1, kHeaderLength + kHistoryLength)));
  checksum->StoreInto(*block);
  std::shared_ptr<DOMDocument> document;
  block->ReadBytes([&](ByteView request) {
    document = SingleStepRequest(context, request, Octets(0x74, 0x02), 2);
  });
  return document;
}

void checkwritelogzone(const Context& /*context*/, const std::shared_ptr<DOMDocument>& root) {
  if (const auto failure = DescribeErrorMark(root)) {
    RaiseMessage(error_number::kLogZoneNotWritten, *failure);
  }
}

}  // namespace quillmark::services
