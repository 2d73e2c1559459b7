// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>

#include "base/byte_access.h"
#include "base/guards.h"
#include "base/hex.h"
#include "context/message_table.h"
#include "context/reply.h"
#include "context/request.h"
#include "services/services.h"

namespace quillmark::services {
namespace {

constexpr std::size_t kStartReplyLength = 3;
constexpr std::size_t kSeedReplyLength = 6;
constexpr std::size_t kUnlockReplyLength = 2;
constexpr std::size_t kSeedPosition = 3;

bool HasSeedHeader(const Bytes& reply) { return reply[0] == 0x67 && reply[1] == 0x81; }

/// D13.
Bytes ReadSeedReplyOnKLine(const std::shared_ptr<DOMDocument>& root) {
  Bytes reply = ReadReplyAt(TransportForm::kKLine, root, 0);
  if (reply.size() != kSeedReplyLength) {
    RaiseMessage(error_number::kSeedRefused, HexOf(reply));
  }
  return reply;
}

void CheckStartReply(TransportForm form, const std::shared_ptr<DOMDocument>& root) {
  const Bytes reply = ReadReplyAt(form, root, 0);
  if (reply.size() != kStartReplyLength) {
    throw Error(error_number::kNoReply, "Reprog on CAN : init failed " + HexOf(reply));
  }
}

Bytes ReadSeedReplyOnCAN(TransportForm form, const std::shared_ptr<DOMDocument>& root) {
  std::size_t index = 0;
  if (form == TransportForm::kGateway) {
    CheckStartReply(form, root);
    index = 1;
  }
  Bytes reply = ReadReplyAt(form, root, index);
  CheckNegativeReply(reply);
  if (reply.size() != kSeedReplyLength || !HasSeedHeader(reply)) {
    throw Error(error_number::kIllegalReply, "SA#1 Illegal Reply : " + HexOf(reply));
  }
  return reply;
}

}  // namespace

std::shared_ptr<DOMDocument> readseed(Context& context) {
  Request document(context);
  // The flag, not the form: D2.
  if (context.GetAddressing().gateway_form) {
    document.AddStep(Octets(0x81), Octets(0xC1), kStartReplyLength);
  }
  document.AddStep(Octets(0x27, 0x81), Octets(0x67, 0x81), kSeedReplyLength);
  return document.Finish();
}

std::shared_ptr<ByteString> getseed(const Context& context,
                                    const std::shared_ptr<DOMDocument>& root) {
  const TransportForm form = context.Form();
  const Bytes reply =
      form == TransportForm::kKLine ? ReadSeedReplyOnKLine(root) : ReadSeedReplyOnCAN(form, root);
  auto seed = NotNull(context.GetPlatform().CreateByteString());
  seed->SetBytes(ViewFrom(reply, kSeedPosition));
  return seed;
}

std::shared_ptr<DOMDocument> dounlock(Context& context, const std::shared_ptr<ByteString>& key) {
  Bytes request = {0x27, 0x82};
  Require(key).ReadBytes([&](ByteView bytes) { Append(request, bytes); });
  return SingleStepRequest(context, request, Octets(0x67, 0x82), kUnlockReplyLength);
}

void checkunlock(const Context& context, const std::shared_ptr<DOMDocument>& root) {
  const TransportForm form = context.Form();
  const Bytes reply = ReadReplyAt(form, root, ReplyIndexOfLongRequest(form));
  CheckNegativeReply(reply);
  // D14.
  if (reply.size() != kUnlockReplyLength) {
    throw Error(error_number::kIllegalReply, "SA#2 Illegal Reply " + HexOf(reply));
  }
}

}  // namespace quillmark::services
