// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "host/decode/exchanges.h"
#include "quillmark/host/artifacts.h"

namespace quillmark::host {

/// What happened to a range of memory, as far as the frames on the bus show.
enum class MemoryState : std::uint8_t {
  kOutside,   ///< not part of the command
  kPlanned,   ///< not reached
  kFill,      ///< left out, because an erased memory holds the same
  kErased,    ///< erased, and not written since
  kWritten,   ///< sent, and accepted by the ECU
  kVerified,  ///< read back as it should be
  kRead,      ///< read
  kFailed,    ///< refused, not answered, or read back as something else
};

/// The name by which the page knows a state.
[[nodiscard]] std::string_view NameOf(MemoryState state);

struct MemoryStretch {
  std::uint64_t start = 0;
  std::uint64_t count = 0;
  MemoryState state = MemoryState::kOutside;

  friend bool operator==(const MemoryStretch&, const MemoryStretch&) = default;
};

/// States of 32-bit addresses; later states replace earlier ones.
class MemoryPicture {
 public:
  void Paint(std::uint32_t start, std::uint32_t count, MemoryState state);
  [[nodiscard]] MemoryState StateAt(std::uint64_t address) const;
  /// In address order, without what is outside; adjacent ranges differ in state or have a gap
  /// between them.
  [[nodiscard]] std::vector<MemoryStretch> Stretches() const;

 private:
  /// Where each state begins; it reaches to the next one.
  std::map<std::uint64_t, MemoryState> begins_{{0, MemoryState::kOutside}};
};

/// The memory of `plan`, after the exchanges.
[[nodiscard]] MemoryPicture PictureOf(const CommandPlan& plan, const Decoding& decoding,
                                      const std::vector<DecodedExchange>& exchanges);

}  // namespace quillmark::host
