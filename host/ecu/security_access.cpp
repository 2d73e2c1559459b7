// SPDX-License-Identifier: MIT
#include "host/ecu/security_access.h"

#include <bit>

#include "host/ecu/negative_response.h"

namespace quillmark::host {
namespace {

constexpr std::uint8_t kRequestSeed = 0x81;
constexpr std::uint8_t kSendKey = 0x82;

Bytes BigEndian(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value >> 24U), static_cast<std::uint8_t>(value >> 16U),
          static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value)};
}

/// A full-period sequence; 0 is left out, since a seed of zeros says "already unlocked".
std::uint32_t SeedAfter(std::uint32_t seed) {
  const std::uint32_t next = seed * 1'664'525U + 1'013'904'223U;
  return next == 0 ? 1 : next;
}

}  // namespace

Bytes SimulatedKey(const Bytes& seed) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : seed) {
    value = value << 8U | byte;
  }
  return BigEndian(std::rotl(value, 5) ^ 0x51D4C7A3U);
}

SecurityAccess::SecurityAccess(const EcuOptions& options)
    : key_of_(options.key),
      refuses_key_(options.misbehaviour.refuses_key),
      allowed_attempts_(options.key_attempts),
      delay_(options.timing.security_delay),
      next_seed_(options.first_seed) {}

void SecurityAccess::Lock() {
  seed_.reset();
  unlocked_ = false;
}

Bytes SecurityAccess::OnRequest(ByteView request, Duration now) {
  if (request.size() < 2) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  switch (request[1]) {
    case kRequestSeed:
      return OnSeedRequest(request, now);
    case kSendKey:
      return OnKey(request.subspan(2), now);
    default:
      throw Refusal(ResponseCode::kSubFunctionNotSupported);
  }
}

Bytes SecurityAccess::OnSeedRequest(ByteView request, Duration now) {
  if (request.size() != 2) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  if (closed_until_ && now < *closed_until_) {
    throw Refusal(ResponseCode::kRequiredTimeDelayNotExpired);
  }
  if (closed_until_) {
    closed_until_.reset();
    wrong_keys_ = 0;
  }
  if (unlocked_) {
    return {0x67, kRequestSeed, 0, 0, 0, 0};
  }
  seed_ = BigEndian(next_seed_);
  next_seed_ = SeedAfter(next_seed_);
  Bytes reply{0x67, kRequestSeed};
  reply.insert(reply.end(), seed_->begin(), seed_->end());
  return reply;
}

Bytes SecurityAccess::OnKey(ByteView key, Duration now) {
  if (!seed_) {
    throw Refusal(ResponseCode::kConditionsNotCorrect);
  }
  const Bytes expected = key_of_(*seed_);
  if (key.size() != expected.size()) {
    throw Refusal(ResponseCode::kIncorrectMessageLength);
  }
  seed_.reset();
  if (!refuses_key_ && Bytes(key.begin(), key.end()) == expected) {
    unlocked_ = true;
    wrong_keys_ = 0;
    return {0x67, kSendKey};
  }
  if (++wrong_keys_ < allowed_attempts_) {
    throw Refusal(ResponseCode::kInvalidKey);
  }
  closed_until_ = now + delay_;
  throw Refusal(ResponseCode::kExceededNumberOfAttempts);
}

}  // namespace quillmark::host
