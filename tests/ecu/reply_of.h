// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "ecu/frame_bench.h"
#include "host/ecu/negative_response.h"

namespace quillmark::host {

/// The positive reply of a call in hex, or "refused " and the code.
template <typename Call>
std::string ReplyOf(Call&& call) {
  try {
    return HexOf(call());
  } catch (const Refusal& refusal) {
    return "refused " + HexOf(Bytes{static_cast<std::uint8_t>(refusal.code())});
  }
}

}  // namespace quillmark::host
