// SPDX-License-Identifier: MIT
#include "host/tool/reporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "host/tool/printable_output.h"
#include "host/tool/progress_text.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

class StreamReporter : public Reporter {
 public:
  void Warning(const std::string& text) override {
    std::cerr << OneLine("quillmark: warning: " + text) << std::endl;
  }
};

class PlainReporter : public StreamReporter {
 public:
  explicit PlainReporter(std::ostream& out) : out_(out) {}

  void Line(const std::string& text) override { out_ << OneLine(text) << '\n' << std::flush; }
  void Event(EventKind /*kind*/, const Json& /*members*/) override {}
  [[nodiscard]] bool TakesEvents() const override { return false; }

  void OnProgress(const Progress& progress) override {
    const unsigned tenth = Percent(progress) / 10;
    if (phase_ == progress.phase && tenth == tenth_) {
      return;
    }
    phase_ = progress.phase;
    tenth_ = tenth;
    Line(ProgressText(progress));
  }

  void EndProgress() override { phase_.reset(); }

 private:
  std::ostream& out_;
  std::optional<Phase> phase_;
  unsigned tenth_ = 0;
};

class TerminalReporter : public StreamReporter {
 public:
  TerminalReporter(std::ostream& out, std::function<std::size_t()> columns)
      : out_(out), columns_(std::move(columns)) {}

  void Line(const std::string& text) override {
    EndProgress();
    out_ << OneLine(text) << '\n' << std::flush;
  }

  void Event(EventKind /*kind*/, const Json& /*members*/) override {}
  [[nodiscard]] bool TakesEvents() const override { return false; }

  void OnProgress(const Progress& progress) override {
    if (last_ && last_->phase != progress.phase) {
      EndProgress();
    }
    const bool is_new = !last_ || Percent(*last_) != Percent(progress);
    last_ = progress;
    is_drawn_ = false;
    if (is_new || Clock::now() >= next_drawing_) {
      Draw();
    }
  }

  void EndProgress() override {
    if (last_) {
      if (!is_drawn_) {
        Draw();
      }
      out_ << '\n' << std::flush;
      last_.reset();
      drawn_ = 0;
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  void Draw() {
    constexpr TerminalControl kStartOfLine{"\r"};
    const std::size_t width = columns_() - 1;
    const std::string text = ProgressBar(*last_, width);
    // Blanks over what was longer: not every console of Windows acts on control sequences.
    out_ << kStartOfLine << fmt::format("{:{}}", text, std::min(drawn_, width)) << std::flush;
    drawn_ = text.size();
    is_drawn_ = true;
    next_drawing_ = Clock::now() + std::chrono::milliseconds(100);
  }

  std::ostream& out_;
  std::function<std::size_t()> columns_;
  std::optional<Progress> last_;
  bool is_drawn_ = false;
  /// How much of the line has been drawn on.
  std::size_t drawn_ = 0;
  Clock::time_point next_drawing_;
};

class JsonReporter : public StreamReporter {
 public:
  JsonReporter(std::ostream& out, Json common) : out_(out), common_(std::move(common)) {}

  void Line(const std::string& /*text*/) override {}

  [[nodiscard]] bool TakesEvents() const override { return true; }

  void Event(EventKind kind, const Json& members) override {
    Json event = {{"event", kEventNames.at(static_cast<std::size_t>(kind))}};
    event.update(common_);
    event.update(members);
    out_ << event.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
  }

  void OnProgress(const Progress& progress) override {
    const unsigned percent = Percent(progress);
    if (phase_ == progress.phase && percent == percent_) {
      return;
    }
    phase_ = progress.phase;
    percent_ = percent;
    Event(EventKind::kProgress, {{"phase", NameOf(progress.phase)},
                                 {"bytes", progress.bytes_done},
                                 {"total", progress.bytes_total},
                                 {"seconds", SecondsOf(progress.total_time)},
                                 {"repeated", progress.repeated},
                                 {"passed_over", progress.passed_over}});
  }

  void EndProgress() override { phase_.reset(); }

 private:
  std::ostream& out_;
  Json common_;
  std::optional<Phase> phase_;
  unsigned percent_ = 0;
};

}  // namespace

std::unique_ptr<Reporter> MakeReporter(ReportStyle style, std::ostream& out,
                                       std::function<std::size_t()> columns, const Json& common) {
  switch (style) {
    case ReportStyle::kJson:
      return std::make_unique<JsonReporter>(out, common);
    case ReportStyle::kTerminal:
      return std::make_unique<TerminalReporter>(out, std::move(columns));
    case ReportStyle::kPlain:
      break;
  }
  return std::make_unique<PlainReporter>(out);
}

}  // namespace quillmark::host
