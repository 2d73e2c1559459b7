// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <utility>

#include "host/station/bay.h"
#include "host/station/job.h"
#include "host/tool/interrupt.h"
#include "host/tool/outputs.h"
#include "host/tool/printable_output.h"
#include "host/tool/progress_text.h"
#include "host/tool/terminal.h"
#include "quillmark/host/files.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

namespace fs = std::filesystem;

/// How often signals and the terminal are looked at.
constexpr std::chrono::milliseconds kLook{100};
constexpr std::size_t kUsualRows = 24;

/// How several bays end together: as the first of these that one of them ended with.
constexpr std::array kFromTheWorst{
    ExitCode::kInternal,   ExitCode::kInputOutput,  ExitCode::kProtocol, ExitCode::kUnavailable,
    ExitCode::kDifference, ExitCode::kCannotCreate, ExitCode::kNoInput,  ExitCode::kData,
    ExitCode::kUsage,      ExitCode::kInterrupted,  ExitCode::kDone};

/// The same of what they leave behind.
constexpr std::array kMemoryFromTheWorst{EcuMemory::kPartlyWritten, EcuMemory::kPerhapsErased,
                                         EcuMemory::kWritten, EcuMemory::kUntouched,
                                         EcuMemory::kChecked};

template <typename List, typename Value>
auto RankIn(const List& list, const Value& value) {
  return std::find(list.begin(), list.end(), value) - list.begin();
}

/// What the bays have to say, until the thread of the process says it: no bay waits for a terminal
/// or a pipe.
class Outbox {
 public:
  struct Text {
    std::string line;
    bool is_error;
  };

  void Add(std::string line, bool is_error) {
    {
      const std::lock_guard lock(mutex_);
      texts_.push_back({std::move(line), is_error});
    }
    Notify();
  }

  void Notify() {
    {
      const std::lock_guard lock(mutex_);
      has_news_ = true;
    }
    news_.notify_one();
  }

  /// What has been added since the last call. Waits for news, at most for a moment.
  [[nodiscard]] std::vector<Text> Take() {
    std::unique_lock lock(mutex_);
    news_.wait_for(lock, kLook, [this] { return has_news_; });
    has_news_ = false;
    return std::exchange(texts_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable news_;
  bool has_news_ = false;
  std::vector<Text> texts_;
};

/// Tells of one bay as a command tells of its run. On a terminal a bay has a line that is drawn
/// again instead.
class BayReporter : public Reporter {
 public:
  /// `width` is that of the longest name of a bay.
  BayReporter(Outbox& outbox, std::string bay, std::size_t width, ReportStyle style)
      : outbox_(outbox), bay_(std::move(bay)), width_(width), style_(style) {
    reporter_ = MakeReporter(style == ReportStyle::kJson ? style : ReportStyle::kPlain, text_,
                             [] { return kUsualColumns; }, {{"bay", bay_}});
  }

  void Line(const std::string& text) override {
    Pass([&] { reporter_->Line(text); });
  }

  void Warning(const std::string& text) override {
    outbox_.Add(fmt::format("quillmark: {}: warning: {}", bay_, text), true);
  }

  void Event(EventKind kind, const Json& members) override {
    Pass([&] { reporter_->Event(kind, members); });
  }

  [[nodiscard]] bool TakesEvents() const override { return style_ == ReportStyle::kJson; }

  void OnProgress(const Progress& progress) override {
    Pass([&] { reporter_->OnProgress(progress); });
  }

  void EndProgress() override {
    Pass([&] { reporter_->EndProgress(); });
  }

 private:
  template <typename Tell>
  void Pass(Tell tell) {
    if (style_ == ReportStyle::kTerminal) {
      return;
    }
    tell();
    for (std::string line; std::getline(text_, line);) {
      outbox_.Add(
          style_ == ReportStyle::kJson ? line : fmt::format("{:<{}}  {}", bay_, width_, line),
          false);
    }
    text_.clear();
    text_.str("");
  }

  Outbox& outbox_;
  std::string bay_;
  std::size_t width_;
  ReportStyle style_;
  std::stringstream text_;
  std::unique_ptr<Reporter> reporter_;
};

std::string NextOf(const FailureReport& report) { return report.details.value("next", ""); }

/// What is wrong with a bay, with its name.
template <typename Work>
auto For(const std::string& bay, Work work) {
  try {
    return work();
  } catch (...) {
    const FailureReport report = ReportCurrentException(false);
    throw ToolError(report.code, fmt::format("bay {}: {}", bay, report.message),
                    NextOf(report).empty() ? "nothing was sent" : NextOf(report));
  }
}

/// A job whose settings and images are found good.
class CheckedJob {
 public:
  /// Creates and sends nothing. Raises what is wrong with the job.
  explicit CheckedJob(const JobOptions& options) : options_(options) {
    const fs::path folder = Utf8Path(options.file).parent_path();
    auto bays = ReadJob(options.file, JobFor::kFlash);
    RequireBusesOfTheirOwn(bays);
    for (auto& [bay, settings] : bays) {
      Add(bay, std::move(settings), folder);
    }
    CheckFiles();
  }

  struct Part {
    std::string name;
    std::shared_ptr<FlashRun> run;
  };

  [[nodiscard]] const std::vector<Part>& parts() const { return parts_; }

 private:
  void Add(const JobBay& bay, FlashSettings settings, const fs::path& folder) {
    settings.flash.yes = options_.yes;
    settings.recording = options_.recording;
    settings.recording.bay = bay.name;
    if (!options_.recording.artifacts.empty()) {
      settings.recording.artifacts = (Utf8Path(options_.recording.artifacts) / bay.name).string();
    }
    parts_.push_back({bay.name, For(bay.name, [&] {
                        return std::make_shared<FlashRun>(settings, ImagesFor(bay, folder));
                      })});
  }

  /// Bays with the same images share them.
  std::shared_ptr<const Images> ImagesFor(const JobBay& bay, const fs::path& folder) {
    std::vector<std::pair<std::string, std::optional<std::uint32_t>>> key;
    for (const JobBay::Image& image : bay.images) {
      key.emplace_back((folder / Utf8Path(image.file)).string(), image.base);
    }
    std::shared_ptr<const Images>& images = images_[key];
    if (!images) {
      std::vector<NamedContent> files;
      files.reserve(key.size());
      for (const auto& [file, base] : key) {
        files.push_back({file, ReadFile(Utf8Path(file), kLargestImageFile), base});
      }
      images = std::make_shared<Images>(ImagesOf(files));
    }
    return images;
  }

  /// That no bay writes what another one reads or writes.
  void CheckFiles() const {
    std::vector<NamedPath> inputs{{"--job", options_.file}};
    std::vector<Output> outputs{
        {{"--records", FileOf(options_.recording.records)}, OutputKind::kAddedTo}};
    for (const Part& part : parts_) {
      const FlashSettings& settings = part.run->settings();
      for (const NamedPath& input : InputsOf(settings.transfer, settings.session.profile)) {
        inputs.push_back({fmt::format("{} of bay {}", input.option, part.name), input.path});
      }
      outputs.push_back(
          {{"backup of bay " + part.name, settings.flash.backup}, OutputKind::kBackup});
      outputs.push_back(
          {{"artifacts of bay " + part.name, settings.recording.artifacts}, OutputKind::kFolder});
      CheckFolder(settings.recording);
    }
    CheckOutputs(inputs, outputs, ExistingWith(options_.recording.force));
  }

  static void CheckFolder(const RecordingOptions& recording) {
    std::error_code ignored;
    const fs::path folder = Utf8Path(recording.artifacts);
    if (!recording.artifacts.empty() && !recording.force && fs::is_directory(folder, ignored) &&
        !fs::is_empty(folder, ignored)) {
      throw ToolError(ExitCode::kCannotCreate,
                      fmt::format("{}: expected a new or an empty folder", recording.artifacts),
                      "name another folder with --artifacts, or add --force; nothing was sent");
    }
  }

  const JobOptions& options_;
  std::vector<Part> parts_;
  std::map<std::vector<std::pair<std::string, std::optional<std::uint32_t>>>,
           std::shared_ptr<const Images>>
      images_;
};

/// Draws a line for each bay, again and again in the same place.
class Board {
 public:
  explicit Board(bool is_shown) : is_shown_(is_shown) {}

  /// Takes the lines away, for others above them.
  void Clear() {
    if (drawn_ > 0) {
      TakeBackLines(drawn_);
      drawn_ = 0;
    }
  }

  void Draw(const std::vector<std::pair<std::string, BayState>>& bays) {
    if (!is_shown_) {
      return;
    }
    Clear();
    const std::size_t columns = TerminalColumns().value_or(kUsualColumns);
    const std::size_t rows = std::max<std::size_t>(TerminalRows().value_or(kUsualRows), 3) - 1;
    std::size_t width = 0;
    for (const auto& [name, state] : bays) {
      width = std::max(width, name.size());
    }
    const std::size_t shown = bays.size() <= rows ? bays.size() : rows - 1;
    for (std::size_t i = 0; i < shown; ++i) {
      Print(fmt::format("{:<{}}  {}", bays[i].first, width, TextOf(bays[i].second)), columns);
    }
    if (shown < bays.size()) {
      Print(fmt::format("and {} more", bays.size() - shown), columns);
    }
    std::cout << std::flush;
  }

 private:
  static std::string TextOf(const BayState& state) {
    constexpr std::size_t kLength = 20;
    const auto filled = static_cast<std::size_t>(static_cast<double>(kLength) * state.done);
    const std::string bar = fmt::format("[{}{}] {:>3.0f} %", std::string(filled, '#'),
                                        std::string(kLength - filled, '-'), state.done * 100);
    const std::string left = state.is_running && state.time_left
                                 ? fmt::format("  {} left", TimeText(*state.time_left))
                                 : "";
    return fmt::format("{}  {}{}", bar, SummaryOf(state), left);
  }

  void Print(const std::string& line, std::size_t columns) {
    std::cout << OneLine(line.substr(0, columns - 1)) << '\n';
    ++drawn_;
  }

  bool is_shown_;
  std::size_t drawn_ = 0;
};

/// A job at work.
class JobRun {
 public:
  JobRun(const CheckedJob& job, ReportStyle style)
      : style_(style), board_(style == ReportStyle::kTerminal) {
    std::size_t width = 0;
    for (const CheckedJob::Part& part : job.parts()) {
      width = std::max(width, part.name.size());
    }
    for (const CheckedJob::Part& part : job.parts()) {
      readers_.push_back(std::make_unique<BayReporter>(outbox_, part.name, width, style));
      bays_.push_back(
          std::make_unique<Bay>(part.name, part.run->settings(),
                                Bay::Listeners{.on_change = [this] { outbox_.Notify(); },
                                               .reporter = readers_.back().get()}));
    }
    for (std::size_t i = 0; i < bays_.size(); ++i) {
      bays_[i]->StartFlash(job.parts()[i].run);
    }
  }

  /// Returns when all have ended.
  void Run() {
    for (bool goes_on = true; goes_on;) {
      const std::vector<Outbox::Text> texts = outbox_.Take();
      const auto states = States();
      // What they said is taken before what they are: nothing is said after the end.
      goes_on = std::any_of(states.begin(), states.end(),
                            [](const auto& bay) { return bay.second.is_running; });
      Write(goes_on ? texts : WithTheRest(texts));
      TellOutcomes(states);
      HeedInterrupts();
      AskOnce(states);
      if (!question_ || !goes_on) {
        Redraw(states, goes_on);
      }
    }
  }

  /// Raises ToolError if one is not done.
  void RequireDone() const {
    ExitCode worst = ExitCode::kDone;
    std::vector<std::string> others;
    for (const auto& bay : bays_) {
      const ExitCode code = bay->State().outcome->code;
      worst = RankIn(kFromTheWorst, code) < RankIn(kFromTheWorst, worst) ? code : worst;
      if (code != ExitCode::kDone) {
        others.push_back(bay->name());
      }
    }
    if (worst != ExitCode::kDone) {
      throw ToolError(worst,
                      fmt::format("{} of {} not done: {}", others.size(),
                                  CountText(bays_.size(), "bay"), fmt::join(others, ", ")),
                      "do what is said of each; a job with these bays alone flashes them again");
    }
  }

 private:
  using States_ = std::vector<std::pair<std::string, BayState>>;

  [[nodiscard]] States_ States() const {
    States_ states;
    for (const auto& bay : bays_) {
      states.emplace_back(bay->name(), bay->State(kNoLines));
    }
    return states;
  }

  std::vector<Outbox::Text> WithTheRest(std::vector<Outbox::Text> texts) {
    outbox_.Notify();
    for (Outbox::Text& text : outbox_.Take()) {
      texts.push_back(std::move(text));
    }
    return texts;
  }

  void Write(const std::vector<Outbox::Text>& texts) {
    if (texts.empty()) {
      return;
    }
    board_.Clear();
    for (const auto& [line, is_error] : texts) {
      (is_error ? std::cerr : std::cout) << OneLine(line) << '\n';
    }
    std::cout << std::flush;
    std::cerr << std::flush;
  }

  /// Of the bays that have ended since the last time.
  void TellOutcomes(const States_& states) {
    for (const auto& [name, state] : states) {
      if (!state.outcome || !told_.emplace(name, true).second) {
        continue;
      }
      const FailureReport& outcome = *state.outcome;
      if (outcome.code == ExitCode::kDone) {
        if (style_ == ReportStyle::kTerminal) {
          Write({{fmt::format("{}  {}", name, outcome.message), false}});
        }
        continue;
      }
      Json event = {{"exit", static_cast<int>(outcome.code)}, {"message", outcome.message}};
      event.update(outcome.details);
      reporter_of(name).Event(EventKind::kError, event);
      std::vector<Outbox::Text> texts{
          {fmt::format("quillmark: {}: {}", name, outcome.message), true}};
      for (const std::string& line : outcome.lines) {
        texts.push_back({fmt::format("{}  {}", name, line), true});
      }
      Write(WithTheRest({}));
      Write(texts);
    }
  }

  [[nodiscard]] Reporter& reporter_of(const std::string& name) {
    const auto found = std::find_if(bays_.begin(), bays_.end(),
                                    [&](const auto& bay) { return bay->name() == name; });
    return *readers_[static_cast<std::size_t>(found - bays_.begin())];
  }

  void HeedInterrupts() {
    EcuMemory worst = EcuMemory::kChecked;
    for (const auto& bay : bays_) {
      const EcuMemory memory = bay->memory();
      worst =
          RankIn(kMemoryFromTheWorst, memory) < RankIn(kMemoryFromTheWorst, worst) ? memory : worst;
      if (Interrupted()) {
        bay->Stop();
      }
    }
    SetLeftBehind(LeftBehindOf(worst));
  }

  /// When each bay that still runs waits for an answer, one question is for all.
  void AskOnce(const States_& states) {
    std::vector<std::string> subject;
    for (const auto& [name, state] : states) {
      if (state.is_running && !state.question) {
        return;
      }
      if (state.question) {
        for (const std::string& line : LinesOf(*state.question)) {
          subject.push_back(fmt::format("{}  {}", name, line));
        }
      }
    }
    if (subject.empty() || Interrupted()) {
      question_.reset();
      return;
    }
    if (!question_) {
      board_.Clear();
      if (style_ == ReportStyle::kTerminal) {
        for (const std::string& line : subject) {
          std::cout << OneLine(line) << '\n';
        }
        std::cout << std::flush;
      }
      question_.emplace();
    }
    const Programmer::Answer answer = question_->Ask(subject);
    if (answer == Programmer::Answer::kNotYet) {
      return;
    }
    question_.reset();
    for (const auto& bay : bays_) {
      static_cast<void>(bay->Answer(answer == Programmer::Answer::kYes));
    }
  }

  void Redraw(const States_& states, bool goes_on) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= next_drawing_ || !goes_on) {
      next_drawing_ = now + kLook;
      board_.Draw(states);
    }
  }

  /// Beyond every line of a log.
  static constexpr std::size_t kNoLines = SIZE_MAX;

  ReportStyle style_;
  Outbox outbox_;
  Board board_;
  std::vector<std::unique_ptr<BayReporter>> readers_;
  std::vector<std::unique_ptr<Bay>> bays_;
  std::map<std::string, bool> told_;
  std::optional<TerminalQuestion> question_;
  std::chrono::steady_clock::time_point next_drawing_;
};

}  // namespace

void RunJob(const JobOptions& options, ReportStyle style) {
  const CheckedJob job(options);
  if (!options.yes && !SomebodyIsThere()) {
    throw ToolError(ExitCode::kUsage,
                    "expected --yes where no terminal is there to ask on, found none",
                    "look at the job, and add --yes; nothing was sent");
  }
  CatchInterrupts();
  JobRun run(job, style);
  run.Run();
  run.RequireDone();
}

}  // namespace quillmark::host
