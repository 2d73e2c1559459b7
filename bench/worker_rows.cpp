// SPDX-License-Identifier: MIT
// Several workers at once, each on an object of its own, beside as many bare pugixml loops.
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "bench/reference.h"
#include "bench/session.h"
#include "bench/table.h"

namespace quillmark::bench {
namespace {

constexpr int kRepetitions = 11;
constexpr std::int32_t kAlignment = 16;
constexpr std::int32_t kMaxSize = 128;
constexpr double kBoundOnTwo = 1.8;

/// Calls `run` on this many threads at once.
template <typename Run>
void AtOnce(int count, Run run) {
  std::vector<std::thread> threads;
  for (int i = 1; i < count; ++i) {
    threads.emplace_back(run);
  }
  run();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

Contender Ours(const std::vector<std::uint8_t>& image, int count) {
  return {"ours x" + std::to_string(count), [&image, count] {
            AtOnce(count, [&] {
              Session session(kPlainCan);
              session.Download(session.Image(image), kAlignment, kMaxSize);
            });
          }};
}

Contender Bare(const std::vector<std::uint8_t>& image, int count) {
  return {"bare x" + std::to_string(count), [&image, count] {
            AtOnce(count, [&] {
              TreeSink sink(kPlainCan.transport, [](const pugi::xml_document& /*document*/) {});
              Reference(kPlainCan, sink).Download(image, kAlignment, kMaxSize);
            });
          }};
}

}  // namespace

void RunWorkers(bool /*quick*/) {
  PrintHeader("Workers at once on " + std::to_string(std::thread::hardware_concurrency()) +
                  " cores, total throughput against one",
              {"row", "one", "all", "throughput", "bound", "bare pugixml loops"});
  const std::vector<std::uint8_t> image = MakeImage(4 * kMiB, Filling::kDense);
  for (const int count : {2, 4, 8}) {
    const std::vector<double> seconds = MedianSeconds(
        {Ours(image, 1), Ours(image, count), Bare(image, 1), Bare(image, count)}, kRepetitions);
    const double gain = count * seconds[0] / seconds[1];
    PrintRow({std::to_string(count) + " workers, plain 1/0, 4 MiB each", Duration(seconds[0]),
              Duration(seconds[1]), Number(gain), count == 2 ? AtLeast(kBoundOnTwo, gain) : "",
              Number(count * seconds[2] / seconds[3])});
  }
}

}  // namespace quillmark::bench
