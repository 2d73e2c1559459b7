// SPDX-License-Identifier: MIT
#include "bench/measure.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>

namespace quillmark::bench {
namespace {

bool takes_processor_time = false;

double SecondsOf(const benchmark::BenchmarkReporter::Run& run) {
  const double all = takes_processor_time ? run.cpu_accumulated_time : run.real_accumulated_time;
  return all / static_cast<double>(run.iterations);
}

/// Keeps the time of every single run and prints nothing.
class Recorder final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        seconds_[run.run_name.function_name].push_back(SecondsOf(run));
      }
    }
  }

  [[nodiscard]] double Median(const std::string& name) {
    std::vector<double>& seconds = seconds_.at(name);
    const auto middle = seconds.begin() + static_cast<std::ptrdiff_t>(seconds.size() / 2);
    std::nth_element(seconds.begin(), middle, seconds.end());
    return *middle;
  }

 private:
  std::map<std::string, std::vector<double>> seconds_;
};

}  // namespace

void TakeProcessorTime() { takes_processor_time = true; }

std::vector<double> MedianSeconds(const std::vector<Contender>& contenders, int repetitions) {
  benchmark::ClearRegisteredBenchmarks();
  for (const Contender& contender : contenders) {
    contender.run();  // Not measured: memory and caches are then equally warm for all.
    benchmark::RegisterBenchmark(contender.name.c_str(),
                                 [&contender](benchmark::State& state) {
                                   for ([[maybe_unused]] const auto turn : state) {
                                     contender.run();
                                   }
                                 })
        ->Iterations(1)
        ->Repetitions(repetitions)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
  }
  Recorder recorder;
  benchmark::RunSpecifiedBenchmarks(&recorder);
  std::vector<double> medians;
  for (const Contender& contender : contenders) {
    medians.push_back(recorder.Median(contender.name));
  }
  return medians;
}

}  // namespace quillmark::bench
