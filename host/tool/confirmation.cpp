// SPDX-License-Identifier: MIT
#include "host/tool/confirmation.h"

#include <chrono>
#include <iostream>
#include <optional>

#include "host/tool/terminal.h"

namespace quillmark::host {
namespace {

constexpr std::chrono::milliseconds kAnswerMoment{200};

bool SomebodyIsThere() {
  return IsTerminal(StandardStream::kInput) && IsTerminal(StandardStream::kError);
}

}  // namespace

Confirmation::Confirmation(bool wanted) : wanted_(wanted && SomebodyIsThere()) {}

Confirmation::~Confirmation() {
  if (asked_ && !IsAnswered()) {
    std::cerr << std::endl;
  }
}

Programmer::Answer Confirmation::Ask(const std::string& subject) {
  using Answer = Programmer::Answer;
  if (!wanted_) {
    return Answer::kYes;
  }
  if (!asked_) {
    asked_ = true;
    // What was typed before the question is not an answer.
    DropTyped();
    if (!IsTerminal(StandardStream::kOutput)) {
      std::cerr << subject;
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
