// SPDX-License-Identifier: MIT
// Flashes a simulated ECU many times while things go wrong, and checks after each flash that it
// ended as it has to (laws.h) and left nothing behind. tests/campaign/run builds and runs it.
#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <iostream>
#include <thread>

#include "campaign/laws.h"
#include "campaign/live_memory.h"
#include "campaign/tally.h"

namespace quillmark::campaign {
namespace {

using Clock = std::chrono::steady_clock;

/// Whether no transfer worker is left, at the latest after a while.
bool WorkersEnd(const PortablePlatform& platform) {
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while (platform.RunningWorkers() != 0 && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::microseconds(20));
  }
  return platform.RunningWorkers() == 0;
}

class Campaign {
 public:
  explicit Campaign(bool verbose) : verbose_(verbose) {}

  /// Flashes the scenario of a seed and looks at what that leaves behind.
  void Run(std::uint64_t seed) {
    const Holdings before = CurrentHoldings();
    Flash(seed);
    const Holdings after = HoldingsOnceDownTo(before);
    if (after != before) {
      Report(seed, "left behind: " + std::to_string(after.blocks) + " blocks of memory, " +
                       std::to_string(after.bytes) + " bytes and " + std::to_string(after.threads) +
                       " threads instead of " + std::to_string(before.blocks) + ", " +
                       std::to_string(before.bytes) + " and " + std::to_string(before.threads));
    }
  }

  /// The same without looking.
  void Flash(std::uint64_t seed) {
    const Scenario scenario = ScenarioOf(seed);
    try {
      Workbench bench(scenario);
      const Outcome faulty = bench.FlashWithFaults();
      const bool worker_left = !WorkersEnd(bench.platform());
      const Outcome again = bench.FlashAgain();
      tally_.Add(scenario, faulty);
      for (const std::string& law : BrokenLaws(scenario, faulty, again)) {
        Report(seed, law);
      }
      if (worker_left || !WorkersEnd(bench.platform())) {
        Report(seed, "left a worker behind");
      }
      Explain(scenario, faulty, again);
    } catch (const std::exception& error) {
      Report(seed, std::string("raised something else: ") + error.what());
    }
  }

  [[nodiscard]] const Tally& tally() const { return tally_; }
  [[nodiscard]] std::uint64_t findings() const { return findings_; }

 private:
  void Report(std::uint64_t seed, const std::string& what) {
    ++findings_;
    std::cout << "seed " << seed << ": " << what << " (tests/campaign/run --seed " << seed << ")"
              << std::endl;
  }

  void Explain(const Scenario& scenario, const Outcome& faulty, const Outcome& again) const {
    if (!verbose_) {
      return;
    }
    std::cout << Describe(scenario);
    for (const FaultKind kind : faulty.faults) {
      std::cout << "happened: " << NameOf(kind) << '\n';
    }
    std::cout << "result: " << (faulty.succeeded ? "success" : faulty.message)
              << (faulty.memory_is_right ? ", the memory is right" : ", the memory is not right")
              << "\nnext flash: " << (again.succeeded ? "success" : again.message) << '\n';
  }

  bool verbose_;
  Tally tally_;
  std::uint64_t findings_ = 0;
};

/// What is made once in a process, such as a locale, is not a leak of the first flash.
void WarmUp(std::uint64_t seed) { Campaign(false).Flash(seed); }

int Run(std::uint64_t first, std::uint64_t count, bool verbose) {
  const auto start = Clock::now();
  Campaign campaign(verbose);
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    campaign.Run(seed);
  }
  const std::chrono::duration<double> elapsed = Clock::now() - start;
  campaign.tally().Print(std::cout);
  std::cout << '\n'
            << campaign.findings() << " findings in seeds " << first << " to " << first + count - 1
            << ", " << elapsed.count() << " s, " << static_cast<double>(count) / elapsed.count()
            << " flashes a second\n";
  return campaign.findings() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace quillmark::campaign

int main(int argc, char** argv) {
  CLI::App app("Flashes a simulated ECU while things go wrong.");
  std::uint64_t count = 0;
  std::uint64_t seed = 0;
  std::uint64_t first = 1;
  app.add_option("N", count, "number of flashes")->check(CLI::PositiveNumber);
  app.add_option("--first", first, "the first seed; the others count up from it");
  auto* const single =
      app.add_option("--seed", seed, "flash this seed alone, and say what happens");
  CLI11_PARSE(app, argc, argv);
  if (single->count() == 0 && count == 0) {
    std::cerr << app.help();
    return 64;
  }
  quillmark::campaign::CountXmlLibrary();
  if (single->count() > 0) {
    quillmark::campaign::WarmUp(seed);
    return quillmark::campaign::Run(seed, 1, true);
  }
  quillmark::campaign::WarmUp(first);
  return quillmark::campaign::Run(first, count, false);
}
