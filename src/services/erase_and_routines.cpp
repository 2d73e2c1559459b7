// SPDX-License-Identifier: MIT
#include <cstddef>

#include "base/byte_access.h"
#include "base/hex.h"
#include "context/message_table.h"
#include "context/reply.h"
#include "context/request.h"
#include "services/services.h"

namespace quillmark::services {
namespace {

constexpr std::uint8_t kRoutineReply = 0x71;
constexpr std::uint8_t kEraseRoutine = 0x81;
constexpr std::uint8_t kRunning = 0x01;
constexpr std::uint8_t kFinished = 0x02;
constexpr std::int32_t kReplyLength = 3;

constexpr std::string_view kEraseRunning = "718101";
constexpr std::string_view kEraseFinished = "718102";

/// Asks for the status of a routine. D19.
std::shared_ptr<DOMDocument> StatusRequest(Context& context, std::uint8_t routine) {
  return SingleStepRequest(context, Octets(0x31, routine, 0x01),
                           Octets(kRoutineReply, routine, kFinished), kReplyLength);
}

/// The reply of a polling check. Raises 2000 without text if there is none.
Bytes ReadStatus(const Context& context, const std::shared_ptr<DOMDocument>& root) {
  Bytes reply = ReadReplyAt(context.Form(), root, 0);
  if (reply.empty()) {
    throw Error(error_number::kNoReply);
  }
  return reply;
}

bool BelongsTo(std::uint8_t routine, const Bytes& reply) {
  return ByteAt(reply, 1) == kRoutineReply && ByteAt(reply, 2) == routine;
}

}  // namespace

std::shared_ptr<DOMDocument> starterase(Context& context, std::uint8_t RL) {
  return SingleStepRequest(context, Octets(0x31, kEraseRoutine, RL, 0xF0, 0x5A),
                           Octets(kRoutineReply, kEraseRoutine, kRunning), kReplyLength);
}

void checkstarterase(const Context& context, const std::shared_ptr<DOMDocument>& root) {
  const TransportForm form = context.Form();
  const std::string reply = HexOf(ReadReplyAt(form, root, ReplyIndexOfLongRequest(form)));
  if (reply != kEraseRunning) {
    RaiseMessage(error_number::kEraseNotStarted, reply);
  }
}

std::shared_ptr<DOMDocument> checkerase(Context& context) {
  return StatusRequest(context, kEraseRoutine);
}

bool checkcheckerase(const Context& context, const std::shared_ptr<DOMDocument>& root) {
  const std::string reply = HexOf(ReadStatus(context, root));
  if (reply != kEraseRunning && reply != kEraseFinished) {
    RaiseMessage(error_number::kEraseFailed, reply);
  }
  return reply == kEraseFinished;
}

std::shared_ptr<DOMDocument> startroutine(Context& context, std::uint8_t Routine) {
  return SingleStepRequest(context, Octets(0x31, Routine, 0x00),
                           Octets(kRoutineReply, Routine, kRunning), kReplyLength);
}

void checkstartroutine(const Context& context, const std::shared_ptr<DOMDocument>& root,
                       std::uint8_t Routine) {
  const Bytes reply = ReadReplyAt(context.Form(), root, 0);
  if (reply != Bytes{kRoutineReply, Routine, kRunning}) {
    RaiseRoutineMessage(Routine, HexOf(reply));
  }
}

std::shared_ptr<DOMDocument> routinestatus(Context& context, std::uint8_t Routine) {
  return StatusRequest(context, Routine);
}

bool checkroutine(const Context& context, const std::shared_ptr<DOMDocument>& root,
                  std::uint8_t Routine) {
  const Bytes reply = ReadStatus(context, root);
  // D15.
  if (!BelongsTo(Routine, reply)) {
    RaiseRoutineMessage(Routine, HexOf(reply));
  }
  const std::uint8_t status = ByteAt(reply, 3);
  if (status != kRunning && status != kFinished) {
    RaiseRoutineMessage(Routine, HexOf(reply));
  }
  return status == kFinished;
}

}  // namespace quillmark::services
