// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "bench/inputs.h"

/// Peak resident memory of a download, measured in a process of its own that does nothing else.
namespace quillmark::bench {

inline constexpr std::string_view kPeakMemoryOption = "--peak-memory";

/// Bytes at the peak, the caller's image and the program itself included.
[[nodiscard]] double PeakMemoryOfDownload(std::size_t image_size);

/// The child's side: `arguments` are the option and the image's size in bytes.
int RunPeakMemoryChild(const std::vector<std::string_view>& arguments);

}  // namespace quillmark::bench
