// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "bench/inputs.h"

/// What a job costs in memory: heap blocks, and the peak of a process of its own.
namespace quillmark::bench {

/// Heap blocks that the calling thread has asked for so far, by malloc() or what is built on it:
/// `new` and the XML library.
[[nodiscard]] std::size_t AllocationsSoFar();

inline constexpr std::string_view kPeakMemoryOption = "--peak-memory";

/// Bytes at the peak, the caller's image and the program itself included.
[[nodiscard]] double PeakMemoryOfDownload(std::size_t image_size);

/// The child's side: `arguments` are the option and the image's size in bytes.
int RunPeakMemoryChild(const std::vector<std::string_view>& arguments);

}  // namespace quillmark::bench
