#pragma once

#include <functional>
#include <string>
#include <vector>

namespace quillmark::bench {

struct Contender {
  std::string name;
  std::function<void()> run;
};

/// Median wall-clock seconds of one run of each contender: `repetitions` runs of each, interleaved
/// in random order by Google Benchmark, so that what else the machine does meets all alike.
[[nodiscard]] std::vector<double> MedianSeconds(const std::vector<Contender>& contenders,
                                                int repetitions);

}  // namespace quillmark::bench
