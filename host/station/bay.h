// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/tool/ecu_run.h"
#include "host/tool/exit_code.h"
#include "host/tool/surroundings.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// What a bay does, or did last.
enum class BayWork : std::uint8_t { kNone, kIdentify, kFlash };

/// A phase of a flash, and how long it should take. Only what goes over the wire is known before.
struct BayPhase {
  Phase phase = Phase::kPrepare;
  Duration expected{};
};

/// What a bay knows at one moment. Texts may come from an ECU, a key command or a file: whoever
/// shows one treats it as text.
// NOLINTNEXTLINE(bugprone-exception-escape): moving Json throws nothing, though it checks itself
struct BayState {
  std::uint64_t revision = 0;  ///< grows with every change
  BayWork work = BayWork::kNone;
  bool is_running = false;
  bool is_stopping = false;  ///< on its way to the next safe point

  std::string ecu;  ///< the last identification, as text; empty before
  /// Of a flash: what is ahead and behind, in order.
  std::vector<BayPhase> phases;
  /// Of the phase in progress; nothing before the first.
  std::optional<Progress> progress;
  double done = 0;                   ///< of all phases together, 0 to 1; never falls during a run
  std::uint64_t bytes_a_second = 0;  ///< of the phase in progress; 0 if it moves none
  /// Of the whole run, as far as it can be told; nothing while it waits for an answer.
  std::optional<Duration> time_left;
  /// What waits for `Answer`.
  std::optional<EraseQuestion> question;

  /// How the last run ended; nothing before its end. Its code is kDone for success, and its message
  /// then says what was done. `details` has "next": what to do; empty for none.
  std::optional<FailureReport> outcome;
  /// Members of the event "identification" or "done" of the last run; null if there is none.
  Json result;
  std::string artifacts;  ///< the folder of the last run; empty if none was asked for

  /// The lines of the log from `first_line` on, counted from 0 since the bay began.
  std::vector<std::string> lines;
  std::size_t first_line = 0;
};

/// "download  12.3 kB/s", "waits for an answer", "done", …: what a bay does, in a few words.
[[nodiscard]] std::string SummaryOf(const BayState& state);

/// A place where one ECU is identified and flashed, on a thread of the bay's own. Nothing in a bay
/// waits for another one, and no call but those that say so waits for a bus, a file or a program.
///
/// Threads: every member may be called on any thread, but not on that of the bay itself.
class Bay {
 public:
  /// Who else is told. What is called holds the bay up for as long as it takes, and must outlive
  /// it.
  struct Listeners {
    /// The state has changed; it may be asked for in here. Called on the thread that has changed
    /// it, without a lock.
    std::function<void()> on_change{};
    /// Gets on the bay's thread what the terminal of a flash shows, but not how it failed, which is
    /// in the state. May be null.
    Reporter* reporter = nullptr;
    /// Opens a bus that is not `sim:`; empty: OpenBus.
    std::function<std::unique_ptr<Bus>(const BusUri&)> open_bus{};
  };

  /// `settings` name the bus and all else about the ECU; images in them are not used. The name goes
  /// into the records.
  Bay(std::string name, FlashSettings settings, Listeners listeners);
  Bay(const Bay&) = delete;
  Bay& operator=(const Bay&) = delete;
  Bay(Bay&&) = delete;
  Bay& operator=(Bay&&) = delete;
  /// Stops what runs, and waits for its end.
  ~Bay();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const FlashSettings& settings() const { return settings_; }

  /// Begins to identify. False if the bay is at work.
  bool StartIdentify();

  /// Begins to flash `run`, made with the settings of this bay, which asks before the erase unless
  /// they have `yes`. Its artifacts folder is the one that its settings name. False if the bay is
  /// at work.
  bool StartFlash(std::shared_ptr<FlashRun> run);

  /// Answers the question of the state. False if none waits.
  bool Answer(bool yes);

  /// Ends what runs at its next safe point. Returns at once.
  void Stop();

  /// Waits until nothing runs.
  void Wait();

  /// A consistent snapshot, with the lines of the log from `since` on.
  [[nodiscard]] BayState State(std::size_t since = 0) const;

  /// What would become of the ECU's memory if the process ended now.
  [[nodiscard]] EcuMemory memory() const;

 private:
  class Reader;

  bool Start(BayWork work, const std::string& artifacts,
             std::function<void(const Surroundings&)> body);
  void Run(const std::function<void(const Surroundings&)>& body);
  void Plan(FlashRun& run);
  [[nodiscard]] Programmer::Answer Ask(const EraseQuestion& question);
  void OnProgress(const Progress& progress);
  /// Adds what depends on the time of day: how much is done, and what is left.
  void Estimate(BayState& state) const;
  void Keep(const std::string& line);
  /// Changes the state under the lock, and says so without it.
  template <typename Change>
  void Update(Change change);

  std::string name_;
  FlashSettings settings_;
  Listeners listeners_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  /// Without lines and estimates.
  BayState state_;
  std::deque<std::string> lines_;
  std::size_t first_line_ = 0;
  mutable double done_ = 0;
  EcuMemory memory_ = EcuMemory::kUntouched;
  std::optional<bool> answer_;
  /// How long moving bytes takes, by what was expected.
  double slowness_ = 1;
  std::chrono::steady_clock::time_point phase_began_;
  std::atomic<bool> stop_ = false;

  /// Keeps two starts apart.
  std::mutex thread_mutex_;
  std::thread thread_;
};

}  // namespace quillmark::host
