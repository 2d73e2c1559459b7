// SPDX-License-Identifier: MIT
#include "host/tool/confirmation.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <iostream>

namespace quillmark::host {
namespace {

constexpr int kMomentInMilliseconds = 200;

bool SomebodyIsThere() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

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
    ::tcflush(STDIN_FILENO, TCIFLUSH);
    if (::isatty(STDOUT_FILENO) == 0) {
      std::cerr << subject;
    }
    std::cerr << "erase and write? [y/N] " << std::flush;
  }
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (::poll(&input, 1, kMomentInMilliseconds) <= 0) {
    return Answer::kNotYet;
  }
  std::array<char, 64> buffer{};
  const ssize_t size = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (size <= 0) {
    return Answer::kNo;
  }
  answer_.append(buffer.data(), static_cast<std::size_t>(size));
  if (!IsAnswered()) {
    return Answer::kNotYet;
  }
  return answer_ == "y\n" || answer_ == "yes\n" ? Answer::kYes : Answer::kNo;
}

}  // namespace quillmark::host
