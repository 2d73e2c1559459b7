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

/// The Long, Byte or document at an index. A Long is converted if a Byte is requested. Raises 9 for
/// a missing parameter, 13 for one of the wrong kind, 6 for a value that does not fit, 91 for no
/// document.
[[nodiscard]] std::int32_t LongParameter(ParameterList parameters, std::size_t index);
[[nodiscard]] std::uint8_t ByteParameter(ParameterList parameters, std::size_t index);
[[nodiscard]] std::shared_ptr<DOMDocument> DocumentParameter(ParameterList parameters,
                                                             std::size_t index);

/// Reads the list from index 2 on: document, `RL` and, for a download, `FillByte`, `IMod`,
/// `MaxSize`, `BS` and `STMin`.
[[nodiscard]] TransferParameters ReadParameters(ParameterList parameters);

}  // namespace quillmark::transfer
