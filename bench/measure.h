// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What a job costs: time, heap blocks, and the peak of the memory of a process of its own.
namespace quillmark::bench {

struct Contender {
  std::string name;
  std::function<void()> run;
};

/// From now on the processor time of all threads together is taken, not the wall clock: for a
/// machine that is busy with something else. Says nothing about workers at once.
void TakeProcessorTime();

/// Median wall-clock seconds of one run of each contender: `repetitions` runs of each, interleaved
/// in random order by Google Benchmark, so that other work on the machine affects all of them
/// equally.
[[nodiscard]] std::vector<double> MedianSeconds(const std::vector<Contender>& contenders,
                                                int repetitions);

/// Heap blocks that the calling thread has asked for so far, by malloc() or what is built on it:
/// `new` and the XML library.
[[nodiscard]] std::size_t AllocationsSoFar();

inline constexpr std::string_view kPeakMemoryOption = "--peak-memory";

/// Bytes at the peak, the caller's image and the program itself included.
[[nodiscard]] double PeakMemoryOfDownload(std::size_t image_size);

/// The child's side: `arguments` are the option and the image's size in bytes.
int RunPeakMemoryChild(const std::vector<std::string_view>& arguments);

}  // namespace quillmark::bench
