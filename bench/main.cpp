// SPDX-License-Identifier: MIT
// quillmark_bench [--quick] [--cpu] [GROUP…]: measures the groups named, or all, and prints their
// tables.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <vector>

#include "bench/measure.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

struct Group {
  std::string_view name;
  void (*run)(bool quick);
};

constexpr std::array<Group, 8> kGroups = {{{"download", RunDownloads},
                                           {"upload", RunUploads},
                                           {"checks", RunChecks},
                                           {"calls", RunCalls},
                                           {"workers", RunWorkers},
                                           {"segmentation", RunSegmentation},
                                           {"memory", RunMemory},
                                           {"flash", RunFlashes}}};

bool IsGroup(std::string_view name) {
  return std::any_of(kGroups.begin(), kGroups.end(),
                     [&](const Group& group) { return group.name == name; });
}

/// Whether `option` is among the arguments, which lose it.
bool Take(std::vector<std::string_view>& arguments, std::string_view option) {
  const auto rest = std::remove(arguments.begin(), arguments.end(), option);
  const bool is_there = rest != arguments.end();
  arguments.erase(rest, arguments.end());
  return is_there;
}

/// Runs are taken one by one and in random order, whatever the command line says.
void InitializeGoogleBenchmark(char* program) {
  std::array<char, 48> interleave{"--benchmark_enable_random_interleaving=true"};
  std::array<char*, 3> arguments = {program, interleave.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments.data());
}

int Main(const std::vector<std::string_view>& arguments) {
  std::vector<std::string_view> wanted = arguments;
  const bool is_quick = Take(wanted, "--quick");
  if (Take(wanted, "--cpu")) {
    TakeProcessorTime();
  }
  for (const std::string_view name : wanted) {
    if (!IsGroup(name)) {
      std::cerr << "there is no group \"" << name << "\"\n";
      return 64;
    }
  }
  for (const Group& group : kGroups) {
    if (wanted.empty() || std::find(wanted.begin(), wanted.end(), group.name) != wanted.end()) {
      group.run(is_quick);
    }
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quillmark::bench

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (!arguments.empty() && arguments.front() == quillmark::bench::kPeakMemoryOption) {
    return quillmark::bench::RunPeakMemoryChild(arguments);
  }
  quillmark::bench::InitializeGoogleBenchmark(argv[0]);
  return quillmark::bench::Main(arguments);
}
