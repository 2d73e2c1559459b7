// SPDX-License-Identifier: MIT
#include "host/station/bay.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// How long a question is waited for before the session is looked after again.
constexpr milliseconds kMomentOfAnswer{200};
/// Of the log.
constexpr std::size_t kMostLines = 10'000;

/// What a phase takes beside the wire, where nothing else is known.
Duration GuessOf(Phase phase) {
  switch (phase) {
    case Phase::kErase:
      return milliseconds(2000);
    case Phase::kCheck:
      return milliseconds(1000);
    case Phase::kIdentify:
    case Phase::kUnlock:
      return milliseconds(500);
    default:
      return milliseconds(100);
  }
}

bool MovesBytes(Phase phase) {
  return phase == Phase::kBackup || phase == Phase::kDownload || phase == Phase::kVerify;
}

std::vector<BayPhase> PhasesOf(const FlashOptions& flash) {
  std::vector<BayPhase> phases;
  for (const Phase phase :
       {Phase::kIdentify, Phase::kUnlock, Phase::kBackup, Phase::kErase, Phase::kDownload,
        Phase::kCheck, Phase::kVerify, Phase::kLogZone, Phase::kClose}) {
    const bool is_left_out = (phase == Phase::kBackup && flash.backup.empty()) ||
                             (phase == Phase::kVerify && !flash.verify) ||
                             (phase == Phase::kLogZone && !flash.log_record);
    if (!is_left_out) {
      phases.push_back({phase, GuessOf(phase)});
    }
  }
  return phases;
}

/// What reading back takes: replies carry less than half of what the requests of a download do.
Duration UploadTime(const DownloadPlan& plan) {
  constexpr std::int64_t kPercentOfDownload = 140;
  const auto sent = std::max<std::int64_t>(static_cast<std::int64_t>(plan.sent_bytes), 1);
  return plan.wire_time * static_cast<std::int64_t>(plan.image_bytes) / sent * kPercentOfDownload /
         100;
}

const BayPhase* Find(const std::vector<BayPhase>& phases, Phase phase) {
  const auto found = std::find_if(phases.begin(), phases.end(),
                                  [phase](const BayPhase& each) { return each.phase == phase; });
  return found == phases.end() ? nullptr : &*found;
}

double FractionOf(const Progress& progress, Duration expected, Clock::duration time) {
  if (progress.bytes_total > 0) {
    return static_cast<double>(progress.bytes_done) / static_cast<double>(progress.bytes_total);
  }
  // Nobody knows when it ends: it comes ever closer.
  const double passed = std::chrono::duration<double>(time).count();
  return passed / (passed + SecondsOf(expected));
}

Duration Scaled(Duration time, double factor) {
  return Duration(static_cast<Duration::rep>(static_cast<double>(time.count()) * factor));
}

std::string SuccessOf(BayWork work, const BayState& state) {
  if (work == BayWork::kIdentify) {
    return state.ecu;
  }
  const Json& done = state.result;
  return fmt::format(
      "{} written into {}, {}, in {}", BytesText(done.value("image_bytes", 0ULL)), state.ecu,
      done.value("verified_bytes", 0ULL) > 0 ? "read back and found equal" : "checked by the ECU",
      TimeText(Duration(static_cast<Duration::rep>(done.value("seconds", 0.0) * 1e6))));
}

}  // namespace

std::string SummaryOf(const BayState& state) {
  if (state.question) {
    return "waits for an answer";
  }
  if (state.outcome) {
    return state.outcome->code == ExitCode::kDone ? "done" : "failed";
  }
  if (!state.is_running) {
    return "ready";
  }
  if (!state.progress) {
    return state.work == BayWork::kIdentify ? "identify" : "prepare";
  }
  const std::string phase(NameOf(state.progress->phase));
  return state.bytes_a_second == 0
             ? phase
             : fmt::format("{}  {}", phase,
                           RateText(state.progress->bytes_done, state.progress->phase_time));
}

/// Keeps what is told, and passes it on.
class Bay::Reader : public Reporter {
 public:
  explicit Reader(Bay& bay) : bay_(bay) {}

  void Line(const std::string& text) override {
    bay_.Keep(text);
    if (Reporter* const reporter = bay_.listeners_.reporter) {
      reporter->Line(text);
    }
  }

  void Warning(const std::string& text) override {
    bay_.Keep("warning   " + text);
    if (Reporter* const reporter = bay_.listeners_.reporter) {
      reporter->Warning(text);
    }
  }

  void Event(EventKind kind, const Json& members) override {
    bay_.Update([&](BayState& state) {
      if (kind == EventKind::kDone || kind == EventKind::kIdentification) {
        state.result = members;
      }
      if (members.contains("ecu")) {
        state.ecu = members["ecu"].get<std::string>();
      }
    });
    if (Reporter* const reporter = bay_.listeners_.reporter) {
      reporter->Event(kind, members);
    }
  }

  [[nodiscard]] bool TakesEvents() const override {
    const Reporter* const reporter = bay_.listeners_.reporter;
    return reporter != nullptr && reporter->TakesEvents();
  }

  void OnProgress(const Progress& progress) override {
    bay_.OnProgress(progress);
    if (Reporter* const reporter = bay_.listeners_.reporter) {
      reporter->OnProgress(progress);
    }
  }

  void EndProgress() override {
    if (Reporter* const reporter = bay_.listeners_.reporter) {
      reporter->EndProgress();
    }
  }

 private:
  Bay& bay_;
};

Bay::Bay(std::string name, FlashSettings settings, Listeners listeners)
    : name_(std::move(name)), settings_(std::move(settings)), listeners_(std::move(listeners)) {
  settings_.recording.bay = name_;
}

Bay::~Bay() {
  Stop();
  const std::lock_guard lock(thread_mutex_);
  if (thread_.joinable()) {
    thread_.join();
  }
}

template <typename Change>
void Bay::Update(Change change) {
  {
    const std::lock_guard lock(mutex_);
    change(state_);
    ++state_.revision;
  }
  changed_.notify_all();
  if (listeners_.on_change) {
    listeners_.on_change();
  }
}

bool Bay::StartIdentify() {
  return Start(BayWork::kIdentify, "", [this](const Surroundings& surroundings) {
    const Identification found = Identify(settings_.link, settings_.session, surroundings);
    Update([&](BayState& state) { state.ecu = RecordText(found.record); });
  });
}

bool Bay::StartFlash(std::shared_ptr<FlashRun> run) {
  const std::string artifacts = run->settings().recording.artifacts;
  return Start(BayWork::kFlash, artifacts,
               [this, run = std::move(run)](const Surroundings& surroundings) {
                 Plan(*run);
                 run->Run(surroundings);
               });
}

bool Bay::Start(BayWork work, const std::string& artifacts,
                std::function<void(const Surroundings&)> body) {
  const std::lock_guard thread_lock(thread_mutex_);
  {
    const std::lock_guard lock(mutex_);
    if (state_.is_running) {
      return false;
    }
  }
  if (thread_.joinable()) {
    thread_.join();
  }
  stop_ = false;
  Update([&](BayState& state) {
    BayState fresh;
    fresh.revision = state.revision;
    fresh.work = work;
    fresh.is_running = true;
    fresh.ecu = std::move(state.ecu);
    fresh.artifacts = artifacts;
    state = std::move(fresh);
    done_ = 0;
    slowness_ = 1;
    memory_ = EcuMemory::kUntouched;
  });
  thread_ = std::thread([this, body = std::move(body)] { Run(body); });
  return true;
}

void Bay::Run(const std::function<void(const Surroundings&)>& body) {
  Reader reader(*this);
  Surroundings surroundings{.reporter = reader, .stop_requested = [this] { return stop_.load(); }};
  surroundings.ask = [this](const EraseQuestion& question) { return Ask(question); };
  surroundings.on_memory = [this](EcuMemory memory) {
    const std::lock_guard lock(mutex_);
    memory_ = memory;
  };
  if (listeners_.open_bus) {
    surroundings.open_bus = listeners_.open_bus;
  }
  FailureReport outcome;
  outcome.code = ExitCode::kDone;
  try {
    body(surroundings);
  } catch (...) {
    outcome = ReportCurrentException(stop_);
    reader.EndProgress();
  }
  if (outcome.code != ExitCode::kDone) {
    Keep("failed    " + outcome.message);
    std::for_each(outcome.lines.begin(), outcome.lines.end(),
                  [this](const std::string& line) { Keep(line); });
  }
  Update([&](BayState& state) {
    if (outcome.code == ExitCode::kDone) {
      outcome.message = SuccessOf(state.work, state);
      done_ = 1;
    }
    state.is_running = false;
    state.is_stopping = false;
    state.question.reset();
    state.outcome = std::move(outcome);
  });
}

/// For the bar alone: what is wrong with a plan is found again by the run, which reports it.
void Bay::Plan(FlashRun& run) {
  std::vector<BayPhase> phases = PhasesOf(run.settings().flash);
  try {
    const DownloadPlan& plan = run.Plan([this] { return stop_.load(); });
    for (BayPhase& each : phases) {
      if (MovesBytes(each.phase)) {
        each.expected = each.phase == Phase::kDownload ? plan.wire_time : UploadTime(plan);
      }
    }
  } catch (const std::exception&) {
    phases = PhasesOf(run.settings().flash);
  }
  Update([&](BayState& state) { state.phases = std::move(phases); });
}

Programmer::Answer Bay::Ask(const EraseQuestion& question) {
  using Answer = Programmer::Answer;
  bool is_asked = false;
  {
    const std::lock_guard lock(mutex_);
    is_asked = state_.question.has_value();
  }
  if (!is_asked) {
    Update([&](BayState& state) {
      state.question = question;
      answer_.reset();
    });
  }
  std::optional<bool> answer;
  {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kMomentOfAnswer, [this] { return answer_ || stop_; });
    answer = answer_;
  }
  if (!answer) {
    return Answer::kNotYet;
  }
  Update([](BayState& state) { state.question.reset(); });
  return *answer ? Answer::kYes : Answer::kNo;
}

bool Bay::Answer(bool yes) {
  {
    const std::lock_guard lock(mutex_);
    if (!state_.question || answer_) {
      return false;
    }
    answer_ = yes;
  }
  changed_.notify_all();
  return true;
}

void Bay::Stop() {
  {
    const std::lock_guard lock(mutex_);
    if (!state_.is_running || stop_) {
      return;
    }
    stop_ = true;
  }
  Update([](BayState& state) { state.is_stopping = state.is_running; });
}

void Bay::Wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !state_.is_running; });
}

void Bay::Keep(const std::string& line) {
  Update([&](BayState& /*state*/) {
    lines_.push_back(line);
    if (lines_.size() > kMostLines) {
      lines_.pop_front();
      ++first_line_;
    }
  });
}

void Bay::OnProgress(const Progress& progress) {
  Update([&](BayState& state) {
    if (!state.progress || state.progress->phase != progress.phase) {
      phase_began_ = Clock::now();
    }
    state.progress = progress;
    const BayPhase* const phase = Find(state.phases, progress.phase);
    if (phase != nullptr && phase->expected > Duration{} && MovesBytes(progress.phase) &&
        progress.bytes_done > 0) {
      slowness_ = SecondsOf(progress.phase_time) /
                  (SecondsOf(phase->expected) * FractionOf(progress, phase->expected, {}));
    }
    Estimate(state);
  });
}

void Bay::Estimate(BayState& state) const {
  state.done = done_;
  state.bytes_a_second = 0;
  state.time_left.reset();
  if (!state.is_running || state.phases.empty()) {
    return;
  }
  const Phase current = state.progress ? state.progress->phase : Phase::kPrepare;
  Duration all{};
  double done = 0;
  Duration left{};
  for (const BayPhase& each : state.phases) {
    const Duration expected = Scaled(each.expected, MovesBytes(each.phase) ? slowness_ : 1);
    const Clock::duration time = Clock::now() - phase_began_;
    const double fraction = each.phase == current ? FractionOf(*state.progress, expected, time)
                                                  : (each.phase < current ? 1 : 0);
    all += each.expected;
    done += SecondsOf(each.expected) * fraction;
    left += Scaled(expected, 1 - fraction);
  }
  done_ = std::max(done_, done / SecondsOf(all));
  state.done = done_;
  if (!state.question) {
    state.time_left = left;
  }
  if (state.progress && state.progress->phase_time > Duration{}) {
    state.bytes_a_second = static_cast<std::uint64_t>(
        static_cast<double>(state.progress->bytes_done) / SecondsOf(state.progress->phase_time));
  }
}

BayState Bay::State(std::size_t since) const {
  const std::lock_guard lock(mutex_);
  BayState state = state_;
  Estimate(state);
  const std::size_t begin = std::clamp(since, first_line_, first_line_ + lines_.size());
  state.first_line = begin;
  state.lines.assign(lines_.begin() + static_cast<std::ptrdiff_t>(begin - first_line_),
                     lines_.end());
  return state;
}

EcuMemory Bay::memory() const {
  const std::lock_guard lock(mutex_);
  return memory_;
}

}  // namespace quillmark::host
