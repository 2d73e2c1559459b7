// SPDX-License-Identifier: MIT
#include "host/tool/progress_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kPhaseWidth = 10;
constexpr std::size_t kPercentWidth = 7;
constexpr std::size_t kRateWidth = 10;
constexpr std::size_t kTimeWidth = 14;
constexpr std::size_t kLongestBar = 40;
constexpr std::size_t kShortestBar = 5;

std::string PhaseText(const Progress& progress) {
  return fmt::format("{:<{}}", NameOf(progress.phase), kPhaseWidth);
}

std::string BytesDoneText(const Progress& progress) {
  const std::string total = WithThousands(progress.bytes_total);
  return fmt::format("{:>{}} of {} B", WithThousands(progress.bytes_done), total.size(), total);
}

// Rate and time left, or the time that the phase took.
std::string PaceText(const Progress& progress) {
  if (progress.bytes_done == 0) {
    return "";
  }
  const auto left = progress.phase_time * (progress.bytes_total - progress.bytes_done) /
                    static_cast<std::int64_t>(progress.bytes_done);
  return fmt::format("{:>{}}  {}", RateText(progress.bytes_done, progress.phase_time), kRateWidth,
                     progress.bytes_done == progress.bytes_total ? TimeText(progress.phase_time)
                                                                 : TimeText(left) + " left");
}

std::string PercentText(const Progress& progress) {
  return fmt::format("{:>3} %", Percent(progress));
}

std::string NumbersText(const Progress& progress) {
  const std::string pace = PaceText(progress);
  return fmt::format("{}  {}{}{}", PercentText(progress), BytesDoneText(progress),
                     pace.empty() ? "" : "  ", pace);
}

std::string TextWithoutTries(const Progress& progress) {
  return progress.bytes_total == 0 ? std::string(NameOf(progress.phase))
                                   : PhaseText(progress) + NumbersText(progress);
}

std::string TriesText(const Progress& progress) {
  return progress.repeated == 0 ? "" : "  " + RepeatedText(progress.repeated);
}

/// As much as fits of what matters most.
std::string NarrowText(const Progress& progress, std::size_t columns) {
  const std::string percent = PhaseText(progress) + PercentText(progress);
  for (const std::string& text :
       {TextWithoutTries(progress), percent + "  " + BytesDoneText(progress), percent}) {
    if (text.size() <= columns) {
      return text;
    }
  }
  return std::string(NameOf(progress.phase).substr(0, columns));
}

// As long in the whole phase, so that the bar keeps its length.
std::size_t BarLength(const Progress& progress, std::size_t columns) {
  const std::size_t around = kPhaseWidth + std::string_view("[] ").size() + kPercentWidth +
                             BytesDoneText(progress).size() + 2 + kRateWidth + 2 + kTimeWidth;
  return columns < around ? 0 : std::min(columns - around, kLongestBar);
}

std::string BarWithoutTries(const Progress& progress, std::size_t columns) {
  if (progress.bytes_total == 0) {
    return std::string(NameOf(progress.phase).substr(0, columns));
  }
  const std::size_t length = BarLength(progress, columns);
  if (length < kShortestBar) {
    return NarrowText(progress, columns);
  }
  const std::size_t filled = length * Percent(progress) / 100;
  return fmt::format("{}[{}{}] {}", PhaseText(progress), std::string(filled, '#'),
                     std::string(length - filled, '-'), NumbersText(progress));
}

}  // namespace

std::string RepeatedText(std::uint32_t repeated) {
  return repeated == 0 ? "" : fmt::format("asked again {}", CountText(repeated, "time"));
}

unsigned Percent(const Progress& progress) {
  return progress.bytes_total == 0
             ? 0
             : static_cast<unsigned>(progress.bytes_done * 100 / progress.bytes_total);
}

std::string ProgressText(const Progress& progress) {
  return TextWithoutTries(progress) + TriesText(progress);
}

std::string ProgressBar(const Progress& progress, std::size_t columns) {
  const std::string text = BarWithoutTries(progress, columns);
  const std::string tries = TriesText(progress);
  return text.size() + tries.size() <= columns ? text + tries : text;
}

}  // namespace quillmark::host
