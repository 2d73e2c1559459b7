// quillmark_bench [--quick] [GROUP…]: measures the groups named, or all, and prints their tables.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <vector>

#include "bench/groups.h"
#include "bench/peak_memory.h"

namespace quillmark::bench {
namespace {

struct Group {
  std::string_view name;
  void (*run)(bool quick);
};

constexpr std::array<Group, 7> kGroups = {{{"download", RunDownloads},
                                           {"upload", RunUploads},
                                           {"checks", RunChecks},
                                           {"calls", RunCalls},
                                           {"workers", RunWorkers},
                                           {"segmentation", RunSegmentation},
                                           {"memory", RunMemory}}};

bool IsGroup(std::string_view name) {
  return std::any_of(kGroups.begin(), kGroups.end(),
                     [&](const Group& group) { return group.name == name; });
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
  const auto quick = std::remove(wanted.begin(), wanted.end(), "--quick");
  const bool is_quick = quick != wanted.end();
  wanted.erase(quick, wanted.end());
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
