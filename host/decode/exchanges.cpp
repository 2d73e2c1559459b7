// SPDX-License-Identifier: MIT
#include "host/decode/exchanges.h"

namespace quillmark::host {
namespace {

bool IsRequest(const DecodedMessage& message) {
  return message.message.direction == Direction::kToEcu;
}

bool IsDamaged(const DecodedMessage& message) { return !message.message.defect.empty(); }

ExchangeOutcome OutcomeOf(const DecodedMessage& reply) {
  if (IsDamaged(reply)) {
    return ExchangeOutcome::kBroken;
  }
  switch (reply.description.kind) {
    case MessageKind::kPositive:
      return ExchangeOutcome::kAnswered;
    case MessageKind::kNegative:
      return ExchangeOutcome::kRefused;
    default:
      return ExchangeOutcome::kBroken;
  }
}

void AddMessage(const DecodedMessage& message, DecodedExchange& exchange) {
  ++exchange.messages;
  if (IsRequest(message)) {
    exchange.outcome = IsDamaged(message) ? ExchangeOutcome::kBroken : ExchangeOutcome::kSilent;
  } else if (message.description.kind == MessageKind::kPending && !IsDamaged(message)) {
    ++exchange.pending;
  } else {
    exchange.outcome = OutcomeOf(message);
  }
}

}  // namespace

std::vector<DecodedExchange> ExchangesOf(const Decoding& decoding) {
  std::vector<DecodedExchange> exchanges;
  const Bytes* last_request = nullptr;
  for (std::size_t i = 0; i < decoding.messages.size(); ++i) {
    const DecodedMessage& message = decoding.messages[i];
    if (exchanges.empty() || IsRequest(message)) {
      exchanges.push_back({.first_message = i});
    }
    if (IsRequest(message)) {
      const Bytes& request = message.message.bytes;
      exchanges.back().is_repeat = last_request != nullptr && *last_request == request;
      last_request = &request;
    }
    AddMessage(message, exchanges.back());
  }
  return exchanges;
}

const DecodedMessage* AnswerOf(const Decoding& decoding, const DecodedExchange& exchange) {
  const DecodedMessage& last = decoding.messages[exchange.first_message + exchange.messages - 1];
  const bool is_answer = !IsRequest(last) && last.description.kind != MessageKind::kPending;
  return is_answer ? &last : nullptr;
}

}  // namespace quillmark::host
