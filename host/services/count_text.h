// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmark::host {

/// "52,144".
[[nodiscard]] std::string WithThousands(std::uint64_t number);

/// "3 segments", "1 segment".
[[nodiscard]] std::string CountText(std::uint64_t count, std::string_view noun);

/// "52,144 bytes", "1 byte".
[[nodiscard]] std::string BytesText(std::uint64_t bytes);

}  // namespace quillmark::host
