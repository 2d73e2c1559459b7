// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What the preloaded library and the process that plays the bus tell each other.
namespace quillmark::host::testing::stand_in {

enum class Kind : std::uint32_t {
  kBind,       ///< to the bus: the index of an interface
  kFilters,    ///< to the bus: can_filter, any number
  kErrorMask,  ///< to the bus: can_err_mask_t
  kFrame,      ///< both ways: a can_frame; to the bus with a descriptor for its verdict
  kVerdict,    ///< from the bus, on that descriptor: `error`
};

struct Message {
  Kind kind;
  std::uint32_t size;
  std::uint32_t error;
  unsigned char content[512];
};

}  // namespace quillmark::host::testing::stand_in
