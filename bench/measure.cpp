// SPDX-License-Identifier: MIT
#include "bench/measure.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/session.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

extern "C" void* __libc_malloc(std::size_t size);

/// Takes the place of the C library's for the whole program; costs one increment.
extern "C" void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}

std::size_t quillmark::bench::AllocationsSoFar() { return allocations; }

namespace quillmark::bench {
namespace {

constexpr std::int32_t kAlignment = 16;
constexpr std::int32_t kMaxSize = 128;

struct ClosePipe {
  void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

/// The segment is filled in place, so that no second copy of the image counts.
std::shared_ptr<MemoryImage> MakeImageInPlace(const Session& session, std::size_t size) {
  auto image = session.GetPlatform().CreateMemoryImage();
  image->AddSegment(*session.GetPlatform().CreateByteString());
  const auto segment = image->Segments().front();
  segment->SetLength(static_cast<std::int32_t>(size));
  segment->SetStartAddress(0);
  std::uint32_t value = 1;
  for (std::int32_t at = 0; at <= segment->EndAddress(); ++at) {
    value = value * 1664525 + 1013904223;
    segment->SetItem(at, static_cast<std::uint8_t>(value >> 24U));
  }
  return image;
}

/// From the kernel's status of this process: getrusage() would count what the parent held when it
/// forked.
std::string PeakInKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmHWM:" && status >> word) {
      return word;
    }
  }
  throw std::runtime_error("the kernel gives no peak of this process's memory");
}

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

int RunPeakMemoryChild(const std::vector<std::string_view>& arguments) {
  Session session(kPlainCan);
  const auto image = MakeImageInPlace(session, std::stoul(std::string(arguments.at(1))));
  session.Download(image, kAlignment, kMaxSize);
  std::cout << PeakInKibibytes() << '\n';
  return EXIT_SUCCESS;
}

double PeakMemoryOfDownload(std::size_t image_size) {
  const std::string command = "exec /proc/" + std::to_string(::getpid()) + "/exe " +
                              std::string(kPeakMemoryOption) + " " + std::to_string(image_size);
  const std::unique_ptr<std::FILE, ClosePipe> pipe(::popen(command.c_str(), "r"));
  long kibibytes = 0;
  if (pipe == nullptr || std::fscanf(pipe.get(), "%ld", &kibibytes) != 1) {
    throw std::runtime_error("the process that measures memory gave no number");
  }
  return static_cast<double>(kibibytes) * 1024;
}

}  // namespace quillmark::bench
