// SPDX-License-Identifier: MIT
// Flashes a simulated ECU many times while things go wrong, and checks after each flash that it
// ended as it has to (BrokenLaws) and left nothing behind. tests/campaign/run builds and runs it.
#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "campaign/fault.h"
#include "campaign/live_memory.h"
#include "campaign/scenario.h"
#include "campaign/workbench.h"

namespace quillmark::campaign {
namespace {

/// Counts what happened in a campaign. Takes no memory for it.
class Tally {
 public:
  void Add(const Scenario& scenario, const Outcome& outcome);

  void Print(std::ostream& out) const;

  /// Flashes with verification, and those of them that succeeded.
  [[nodiscard]] std::uint64_t verified() const { return verified_; }
  [[nodiscard]] std::uint64_t verified_successes() const { return verified_successes_; }

 private:
  static constexpr std::size_t kPhases = static_cast<std::size_t>(host::Phase::kClose) + 1;

  struct Ends {
    std::uint64_t happened = 0;
    std::uint64_t succeeded = 0;
  };

  std::uint64_t flashes_ = 0;
  std::uint64_t undisturbed_ = 0;
  std::uint64_t succeeded_ = 0;
  std::uint64_t verified_ = 0;
  std::uint64_t verified_successes_ = 0;
  std::uint64_t unverified_wrong_ = 0;
  std::array<Ends, kFaultKinds> faults_{};
  std::array<std::uint64_t, kPhases> failures_{};
  std::uint64_t host_failures_ = 0;
};

constexpr int kNameWidth = 38;
constexpr int kNumberWidth = 9;

void PrintRow(std::ostream& out, std::string_view name, std::uint64_t number) {
  out << std::left << std::setw(kNameWidth) << name << std::right << std::setw(kNumberWidth)
      << number << '\n';
}

void Tally::Add(const Scenario& scenario, const Outcome& outcome) {
  ++flashes_;
  undisturbed_ += outcome.faults.empty() ? 1 : 0;
  succeeded_ += outcome.succeeded ? 1 : 0;
  verified_ += scenario.verify ? 1 : 0;
  verified_successes_ += scenario.verify && outcome.succeeded ? 1 : 0;
  unverified_wrong_ += !scenario.verify && outcome.succeeded && !outcome.memory_is_right ? 1 : 0;
  for (const FaultKind kind : outcome.faults) {
    Ends& ends = faults_[static_cast<std::size_t>(kind)];
    ++ends.happened;
    ends.succeeded += outcome.succeeded ? 1 : 0;
  }
  if (outcome.failure) {
    ++failures_.at(static_cast<std::size_t>(outcome.failure->phase));
  }
  host_failures_ += outcome.host_failed ? 1 : 0;
}

void Tally::Print(std::ostream& out) const {
  PrintRow(out, "flashes", flashes_);
  PrintRow(out, "  without a fault that happened", undisturbed_);
  PrintRow(out, "  successes", succeeded_);
  PrintRow(out, "  verified", verified_);
  PrintRow(out, "  verified successes", verified_successes_);
  PrintRow(out, "  wrong without verification", unverified_wrong_);
  out << "\nfault" << std::setw(kNameWidth + kNumberWidth - 5) << "happened"
      << std::setw(kNumberWidth + 2) << "succeeded" << '\n';
  for (std::size_t kind = 0; kind < faults_.size(); ++kind) {
    if (faults_[kind].happened == 0) {
      continue;
    }
    out << std::left << std::setw(kNameWidth) << NameOf(static_cast<FaultKind>(kind)) << std::right
        << std::setw(kNumberWidth) << faults_[kind].happened << std::setw(kNumberWidth + 2)
        << faults_[kind].succeeded << '\n';
  }
  out << "\nfailed in phase\n";
  for (std::size_t phase = 0; phase < failures_.size(); ++phase) {
    PrintRow(out, host::NameOf(static_cast<host::Phase>(phase)), failures_[phase]);
  }
  PrintRow(out, "(by the host's own exception)", host_failures_);
}

bool NamesItsStep(const Outcome& outcome) {
  const host::Failure& failure = *outcome.failure;
  const std::string_view name = host::NameOf(outcome.phase);
  return failure.phase == outcome.phase && !failure.text.empty() &&
         std::string_view(outcome.message).substr(0, name.size()) == name;
}

/// Whether the host's own handler or backup threw: such an exception reaches the host unchanged.
/// One from the key function becomes a failure of the programmer.
bool ThrewByItself(const Outcome& outcome) {
  for (const FaultKind kind : outcome.faults) {
    if (kind == FaultKind::kThrowingHandler || kind == FaultKind::kThrowingBackup) {
      return true;
    }
  }
  return false;
}

/// What two flashes of a scenario, the one with faults and the one after it, did wrong; empty if
/// all is well:
///
/// - with verification, success means that the ECU's memory holds the image;
/// - without a fault that happened, a flash succeeds;
/// - where a backup was asked for, nothing is changed before the host keeps it, and without a fault
///   it is what the ECU held;
/// - a failure names the phase that the host was told last, in its text as well;
/// - the programmer is usable for the next flash.
std::vector<std::string> BrokenLaws(const Scenario& scenario, const Outcome& faulty,
                                    const Outcome& again) {
  std::vector<std::string> broken;
  const auto require = [&](bool holds, const char* text) {
    if (!holds) {
      broken.emplace_back(text);
    }
  };
  require(!faulty.succeeded || !scenario.verify || faulty.memory_is_right,
          "reported a success although the memory differs from the image");
  require(!faulty.faults.empty() || faulty.succeeded, "failed without a fault");
  require(!faulty.faults.empty() || faulty.memory_is_right,
          "wrote something else, without a fault");
  require(!scenario.backup || faulty.backup_was_kept || !faulty.memory_was_changed,
          "changed the memory before its content was kept");
  require(!scenario.backup || !faulty.faults.empty() || faulty.backup_is_right,
          "read back something else, without a fault");
  require(!faulty.failure || NamesItsStep(faulty), "failed without naming the step");
  require(!faulty.host_failed || ThrewByItself(faulty), "let an exception through");
  require(again.succeeded && again.memory_is_right && (!scenario.backup || again.backup_is_right),
          "could not be used for the next flash");
  return broken;
}

using Clock = std::chrono::steady_clock;

/// Whether no transfer worker is left, after a while at most.
bool WorkersEnd(const PortablePlatform& platform) {
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while (platform.RunningWorkers() != 0 && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::microseconds(20));
  }
  return platform.RunningWorkers() == 0;
}

struct Choice {
  /// Flashes with transient faults, at most so many; 0: with faults of any kind.
  std::uint32_t transient = 0;
  std::optional<host::TransportForm> form{};
  /// Instead of what the seed says.
  std::optional<int> repetitions{};
  bool verbose = false;
};

class Campaign {
 public:
  explicit Campaign(Choice choice) : choice_(std::move(choice)) {}

  /// Flashes the scenario of a seed and checks what that leaves behind.
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

  /// The same without checking.
  void Flash(std::uint64_t seed) {
    try {
      const Scenario scenario = ScenarioOfSeed(seed);
      Workbench bench(scenario);
      if (choice_.verbose) {
        bench.ShowFrames(std::cout);
      }
      const Outcome faulty = bench.FlashWithFaults();
      const bool worker_left = !WorkersEnd(bench.platform());
      const Outcome again = bench.FlashAgain();
      if (choice_.transient > 0 && faulty.faults.empty()) {
        return;
      }
      tally_.Add(scenario, faulty);
      TellFailure(seed, scenario, faulty);
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
  [[nodiscard]] Scenario ScenarioOfSeed(std::uint64_t seed) const {
    Scenario scenario = ScenarioOf(seed, choice_.form);
    scenario.config.repetition.most = choice_.repetitions.value_or(scenario.config.repetition.most);
    if (choice_.transient > 0) {
      scenario.faults.clear();
      Workbench bench(scenario);
      static_cast<void>(bench.FlashWithFaults());
      WorkersEnd(bench.platform());
      ChooseTransientFaults(
          seed, choice_.transient, [&](FaultKind kind) { return bench.Chances(kind); }, scenario);
    }
    return scenario;
  }

  void Report(std::uint64_t seed, const std::string& what) {
    ++findings_;
    Tell(seed, what);
  }

  /// A transient fault should end no flash, though some may.
  void TellFailure(std::uint64_t seed, const Scenario& scenario, const Outcome& outcome) const {
    if (choice_.transient > 0 && !outcome.succeeded && choice_.repetitions != 0) {
      Tell(seed, Describe(scenario.faults.front()) + ": " + outcome.message);
    }
  }

  void Tell(std::uint64_t seed, const std::string& what) const {
    std::cout << "seed " << seed << ": " << what << " (tests/campaign/run --seed " << seed
              << Options() << ")" << std::endl;
  }

  [[nodiscard]] std::string Options() const {
    if (choice_.transient == 0) {
      return "";
    }
    constexpr std::array kForms = {"can", "gateway", "kline"};
    return " --transient " + std::to_string(choice_.transient) + " --form " +
           kForms[static_cast<std::size_t>(*choice_.form)];
  }

  void Explain(const Scenario& scenario, const Outcome& faulty, const Outcome& again) const {
    if (!choice_.verbose) {
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

  Choice choice_;
  Tally tally_;
  std::uint64_t findings_ = 0;
};

/// What is made once in a process, such as a locale, is not a leak of the first flash.
void WarmUp(std::uint64_t seed, Choice choice) {
  choice.verbose = false;
  Campaign(choice).Flash(seed);
}

int Run(std::uint64_t first, std::uint64_t count, const Choice& choice) {
  WarmUp(first, choice);
  const auto start = Clock::now();
  Campaign campaign(choice);
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

/// Until so many flashes were verified.
int RunTransient(std::uint64_t first, std::uint64_t count, const Choice& choice) {
  constexpr double kEnoughWithOne = 99.9;
  constexpr double kEnoughWithSeveral = 97;
  WarmUp(first, choice);
  Campaign campaign(choice);
  std::uint64_t seed = first;
  for (; campaign.tally().verified() < count; ++seed) {
    campaign.Run(seed);
  }
  const double rate = 100.0 * static_cast<double>(campaign.tally().verified_successes()) /
                      static_cast<double>(count);
  const double enough = choice.transient == 1 ? kEnoughWithOne : kEnoughWithSeveral;
  const bool is_enough = rate >= enough || choice.repetitions == 0;
  std::cout << TextOf(*choice.form) << ", 1 to " << choice.transient << " transient faults, "
            << (choice.repetitions == 0 ? "without repetition" : "with repetition") << "\n\n";
  campaign.tally().Print(std::cout);
  std::cout << '\n'
            << rate << " % of the verified flashes succeeded"
            << (is_enough ? "" : ", which is not enough") << "; " << campaign.findings()
            << " findings in seeds " << first << " to " << seed - 1 << "\n\n";
  return campaign.findings() == 0 && is_enough ? 0 : 1;
}

int RunForms(std::uint64_t first, std::uint64_t count, Choice choice) {
  using host::TransportForm;
  int result = 0;
  for (const TransportForm form :
       {TransportForm::kPlainCan, TransportForm::kGateway, TransportForm::kKLine}) {
    choice.form = form;
    result |= RunTransient(first, count, choice);
  }
  return result;
}

}  // namespace
}  // namespace quillmark::campaign

int main(int argc, char** argv) {
  using quillmark::campaign::Choice;
  using quillmark::host::TransportForm;
  CLI::App app("Flashes a simulated ECU while things go wrong.");
  const std::map<std::string, TransportForm> forms = {{"can", TransportForm::kPlainCan},
                                                      {"gateway", TransportForm::kGateway},
                                                      {"kline", TransportForm::kKLine}};
  Choice choice;
  std::uint64_t count = 0;
  std::uint64_t seed = 0;
  std::uint64_t first = 1;
  app.add_option("N", count, "number of flashes; with --transient verified ones in each form")
      ->check(CLI::PositiveNumber);
  app.add_option("--first", first, "the first seed; the others count up from it");
  auto* const single =
      app.add_option("--seed", seed, "flash this seed alone, and say what happens");
  app.add_option("--transient", choice.transient,
                 "instead of all faults, 1 to this many of those that a bench meets every day")
      ->check(CLI::Range(1, 9));
  app.add_option("--form", choice.form, "flash in this form alone")
      ->transform(CLI::CheckedTransformer(forms));
  app.add_option("--repeat", choice.repetitions, "how often the programmer repeats a request");
  CLI11_PARSE(app, argc, argv);
  if (single->count() == 0 && count == 0) {
    std::cerr << app.help();
    return 64;
  }
  if (choice.transient > 0 && !choice.repetitions) {
    choice.repetitions = quillmark::host::RepetitionLimits{}.most;
  }
  quillmark::campaign::CountXmlLibrary();
  if (single->count() > 0) {
    choice.verbose = true;
    return quillmark::campaign::Run(seed, 1, choice);
  }
  if (choice.transient == 0) {
    return quillmark::campaign::Run(first, count, choice);
  }
  return choice.form ? quillmark::campaign::RunTransient(first, count, choice)
                     : quillmark::campaign::RunForms(first, count, choice);
}
