// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "quillmark/host/decode.h"

namespace quillmark::host {

/// How the ECU answered a request.
enum class ExchangeOutcome : std::uint8_t {
  kAnswered,  ///< with a positive response
  kRefused,   ///< with a negative response
  kSilent,    ///< with nothing, or with "response pending" alone
  kBroken,    ///< with something damaged, or the request itself did not get through
};

/// A request and what answered it.
struct DecodedExchange {
  std::size_t first_message = 0;
  std::size_t messages = 0;
  ExchangeOutcome outcome = ExchangeOutcome::kSilent;
  /// "Response pending" before the answer.
  std::size_t pending = 0;
  /// The request repeats the previous one, such as a poll.
  bool is_repeat = false;
};

/// The messages of a decoding, each in one exchange. Anything before the first request is an
/// exchange of its own.
[[nodiscard]] std::vector<DecodedExchange> ExchangesOf(const Decoding& decoding);

/// The message that answered the exchange; null if none did.
[[nodiscard]] const DecodedMessage* AnswerOf(const Decoding& decoding,
                                             const DecodedExchange& exchange);

}  // namespace quillmark::host
