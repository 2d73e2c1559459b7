// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "quillmark/dom.h"
#include "quillmark/threading.h"

namespace quillmark::transfer {

/// What a worker was started with, apart from the identifiers of its `CANIDs`.
struct TransferParameters {
  std::shared_ptr<DOMDocument> document;
  std::string root_name;  ///< "image": a download, "map": an upload, anything else: nothing to do
  std::uint8_t RL = 0;
  std::uint8_t FillByte = 0;
  std::int32_t IMod = 0;
  std::int32_t MaxSize = 0;
  std::int32_t BS = 0;
  std::int32_t STMin = 0;
};

/// The Long at an index, or the Byte as one. Raises 9 for a missing parameter, 13 for one of
/// another kind.
[[nodiscard]] std::int32_t LongParameter(ParameterList parameters, std::size_t index);

/// Reads the list from index 2 on: document, `RL` and, for a download, `FillByte`, `IMod`,
/// `MaxSize`, `BS` and `STMin`. Raises as `LongParameter` does, and 6 for a number that is not a
/// Byte, 91 for no document.
[[nodiscard]] TransferParameters ReadParameters(ParameterList parameters);

}  // namespace quillmark::transfer
