// SPDX-License-Identifier: MIT
#include "host/programmer/repetition.h"

#include <algorithm>
#include <array>
#include <limits>

namespace quillmark::host {
namespace {

using enum RequestKind;
using enum Remedy;

constexpr std::uint8_t kBusyRepeatRequest = 0x21;
constexpr std::uint8_t kConditionsNotCorrect = 0x22;
constexpr std::uint8_t kBlockChecksumError = 0x77;

/// What to do about a request of a kind.
struct Rule {
  RequestKind kind = kOther;
  Remedy after_21 = kNone;
  Remedy after_77 = kNone;
  /// After silence, or an answer that was damaged on its way: while the request was not sent to its
  /// end, since the ECU waits in vain for the rest, and afterwards, when it may have been executed.
  Remedy unsent = kNone;
  Remedy unanswered = kNone;
  /// At most so many repetitions after silence, whatever the limits are, and what is left then.
  int most = std::numeric_limits<int>::max();
  Remedy at_last = kNone;
};

/// What changes nothing in the ECU is sent again. What does, is sent again only where it cannot
/// have been executed, or where that does no harm:
/// - a second key for a seed that was used counts as a wrong one;
/// - a second start of the erase may erase what is being written;
/// - flash that protects its cells by a checksum accepts a block once, then refuses it with 72;
/// - a second log record is a second entry.
///
/// Opening a session locks the ECU, so no phase between the key and the end does it.
constexpr std::array kRules = {
    Rule{kOpen, kAskAgainSoon, kNone, kRepeat, kRepeat},
    Rule{kRead, kAskAgainSoon, kNone, kRepeat, kRepeat},
    Rule{kStay, kAskAgainSoon, kNone, kRepeat, kRepeat},
    Rule{kSeed, kAskAgainSoon, kNone, kRepeat, kRepeat, 1},
    Rule{kKey, kAskAgainSoon, kNone, kNewSeed, kNewSeed},
    Rule{kStart, kAskAgainSoon, kNone, kPoll, kPoll},
    Rule{kRestart, kPoll, kNone, kPoll, kPoll},
    Rule{kStatus, kAskAgainSoon, kNone, kRepeat, kRepeat},
    Rule{kBlock, kAskAgainSoon, kRepeat, kRepeat, kReadBack},
    Rule{kLogRecord, kAskAgainSoon, kRepeat, kAccept, kAccept},
    Rule{kClose, kAskAgainSoon, kNone, kRepeat, kRepeat, 1, kAccept},
};

const Rule* RuleFor(RequestKind kind) {
  const auto* const rule = std::find_if(kRules.begin(), kRules.end(),
                                        [&](const Rule& each) { return each.kind == kind; });
  return rule == kRules.end() ? nullptr : rule;
}

RequestKind KindOfSecurityAccess(ByteView request) {
  constexpr std::uint8_t kSendKey = 0x82;
  return request.size() >= 2 && request[1] == kSendKey ? kKey : kSeed;
}

RequestKind KindOfRoutine(ByteView request) {
  constexpr std::size_t kStatusRequest = 3;
  constexpr std::uint8_t kAskStatus = 0x01;
  return request.size() == kStatusRequest && request[2] == kAskStatus ? kStatus : kStart;
}

/// A positive answer about something else is no answer to this request: the one to an earlier
/// request came late, or one of the two was changed on its way. In gateway form the checksum that
/// would tell comes with a later piece.
bool IsAboutSomethingElse(RequestKind kind, const RequestTry& request_try) {
  if (request_try.status != RunStatus::kUnexpectedFrame || request_try.response_code) {
    return false;
  }
  switch (kind) {
    case kRead:
    case kSeed:
    case kKey:
      return true;
    case kOpen:
    case kStart:
    case kRestart:
    case kStatus:
      return request_try.answer.size() >= 2 && request_try.request.size() >= 2 &&
             request_try.answer[1] != request_try.request[1];
    default:
      return false;
  }
}

bool IsUnanswered(RequestKind kind, const RequestTry& request_try) {
  return request_try.status == RunStatus::kSilence ||
         request_try.status == RunStatus::kDamagedReply || IsAboutSomethingElse(kind, request_try);
}

}  // namespace

RequestKind KindOf(ByteView request) {
  constexpr std::uint8_t kDefaultSession = 0x81;
  constexpr std::uint8_t kLogZone = 0x83;
  if (request.empty()) {
    return kOther;
  }
  const bool second_byte_is_81 = request.size() >= 2 && request[1] == kDefaultSession;
  const bool second_byte_is_83 = request.size() >= 2 && request[1] == kLogZone;
  switch (request[0]) {
    case 0x10:
      return second_byte_is_81 ? kClose : kOpen;
    case 0x81:
      return kOpen;
    case 0x82:
      return kClose;
    case 0x21:
    case 0x35:
      return kRead;
    case 0x3E:
      return kStay;
    case 0x27:
      return KindOfSecurityAccess(request);
    case 0x31:
      return KindOfRoutine(request);
    case 0x34:
      return second_byte_is_83 ? kLogRecord : kBlock;
    default:
      return kOther;
  }
}

Remedy RemedyFor(RequestKind kind, const RequestTry& request_try, int repetitions,
                 const RepetitionLimits& limits, Duration now) {
  if (request_try.status == RunStatus::kFlowControl) {
    // Once it may have been the flow control of another.
    return repetitions < std::min(1, limits.most) ? kRepeat : kAdapt;
  }
  const Rule* const rule = RuleFor(kind);
  if (rule == nullptr || limits.most == 0) {
    return kNone;
  }
  const bool may_repeat = repetitions < std::min(rule->most, limits.most);
  if (IsUnanswered(kind, request_try)) {
    const Remedy remedy = request_try.sent_whole ? rule->unanswered : rule->unsent;
    return remedy != kRepeat || may_repeat ? remedy : rule->at_last;
  }
  // The ECU got a key without a seed before it: one that it has answered, and the answer is lost.
  if (kind == kKey && request_try.response_code == kConditionsNotCorrect) {
    return kNewSeed;
  }
  if (request_try.response_code == kBlockChecksumError) {
    return may_repeat ? rule->after_77 : kNone;
  }
  if (request_try.response_code == kBusyRepeatRequest) {
    return now < request_try.began + limits.busy_limit ? rule->after_21 : kNone;
  }
  return kNone;
}

}  // namespace quillmark::host
