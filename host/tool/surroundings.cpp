// SPDX-License-Identifier: MIT
#include "host/tool/surroundings.h"

#include <fmt/format.h>

#include <chrono>
#include <iostream>
#include <optional>

#include "host/tool/interrupt.h"
#include "host/tool/printable_output.h"
#include "host/tool/terminal.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr std::chrono::milliseconds kAnswerMoment{200};

}  // namespace

std::vector<std::string> LinesOf(const EraseQuestion& question) {
  return {fmt::format("erase memory {:02X} of {}", question.memory, question.ecu),
          fmt::format("and write {} into {:06X} to {:06X}", BytesText(question.image_bytes),
                      question.first_address, question.last_address)};
}

Surroundings SurroundingsOfProcess(Reporter& reporter, bool asks) {
  CatchInterrupts();
  Surroundings surroundings{.reporter = reporter, .stop_requested = Interrupted};
  surroundings.on_memory = [](EcuMemory memory) { SetLeftBehind(LeftBehindOf(memory)); };
  if (asks && SomebodyIsThere()) {
    const auto question = std::make_shared<TerminalQuestion>();
    surroundings.ask = [question](const EraseQuestion& about) {
      const std::vector<std::string> lines = LinesOf(about);
      return question->Ask({"about to  " + lines[0], "          " + lines[1]});
    };
  }
  return surroundings;
}

const char* LeftBehindOf(EcuMemory memory) {
  switch (memory) {
    case EcuMemory::kUntouched:
      return "nothing was erased or written; the session stays open until it ends by itself";
    case EcuMemory::kPerhapsErased:
      return "the ECU's memory is perhaps erased; the session stays open until it ends by itself";
    case EcuMemory::kPartlyWritten:
      return "the ECU's memory is erased and partly written; the session stays open until it ends "
             "by itself";
    case EcuMemory::kWritten:
      return "the ECU's memory is written, but not checked; the session stays open until it ends "
             "by itself";
    case EcuMemory::kChecked:
      break;
  }
  return "the ECU's memory is written and checked; the session stays open until it ends by itself";
}

bool SomebodyIsThere() {
  return IsTerminal(StandardStream::kInput) && IsTerminal(StandardStream::kError);
}

TerminalQuestion::~TerminalQuestion() {
  if (asked_ && !IsAnswered()) {
    std::cerr << std::endl;
  }
}

Programmer::Answer TerminalQuestion::Ask(const std::vector<std::string>& subject) {
  using Answer = Programmer::Answer;
  if (!asked_) {
    asked_ = true;
    // What was typed before the question is not an answer.
    DropTyped();
    if (!IsTerminal(StandardStream::kOutput)) {
      for (const std::string& line : subject) {
        std::cerr << OneLine(line) << '\n';
      }
    }
    std::cerr << "erase and write? [y/N] " << std::flush;
  }
  const std::optional<std::string> typed = ReadTyped(kAnswerMoment);
  if (!typed) {
    return Answer::kNotYet;
  }
  if (typed->empty()) {
    return Answer::kNo;
  }
  answer_ += *typed;
  if (!IsAnswered()) {
    return Answer::kNotYet;
  }
  return answer_ == "y\n" || answer_ == "yes\n" ? Answer::kYes : Answer::kNo;
}

}  // namespace quillmark::host
