// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/calls/json_value.h"

namespace quillmark::host {

/// The arguments of one call, taken one after the other from the left; errors as in json_value.h.
class Arguments {
 public:
  /// `values` is an array with one value per parameter, or one more; everything must outlive the
  /// object.
  Arguments(std::string_view call, const std::vector<std::string_view>& parameters,
            const Json& values, Platform& platform)
      : call_(call), parameters_(parameters), values_(values), platform_(platform) {}

  /// The next argument as one of the types below.
  template <typename Type>
  [[nodiscard]] Type Take();

  /// The event number of a last argument `{"cancel_at":K}`, nothing if it was left out.
  [[nodiscard]] std::optional<std::int32_t> TakeCancelAt();

 private:
  [[nodiscard]] JsonValue Next();

  std::string_view call_;
  const std::vector<std::string_view>& parameters_;
  const Json& values_;
  Platform& platform_;
  std::size_t taken_ = 0;
};

template <>
std::uint8_t Arguments::Take();
template <>
std::int32_t Arguments::Take();
template <>
std::shared_ptr<ByteString> Arguments::Take();
template <>
std::shared_ptr<DOMDocument> Arguments::Take();
template <>
std::shared_ptr<MemoryImage> Arguments::Take();
template <>
std::shared_ptr<MemoryMap> Arguments::Take();

}  // namespace quillmark::host
