// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

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

}  // namespace quillmark::bench
