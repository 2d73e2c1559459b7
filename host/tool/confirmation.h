// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// A question to the user at the terminal; without a terminal, the answer is yes.
class Confirmation {
 public:
  /// `wanted` is false if no question is to be asked.
  explicit Confirmation(bool wanted);

  Confirmation(const Confirmation&) = delete;
  Confirmation& operator=(const Confirmation&) = delete;
  Confirmation(Confirmation&&) = delete;
  Confirmation& operator=(Confirmation&&) = delete;
  /// Ends the line of a question that has no answer.
  ~Confirmation();

  /// Asks at the first call; waits a moment for the answer, which only "y" and "yes" make a yes.
  /// `subject` says what it is about; it is shown if the standard output, which has it too, is not
  /// a terminal.
  [[nodiscard]] Programmer::Answer Ask(const std::string& subject);

 private:
  [[nodiscard]] bool IsAnswered() const { return answer_.ends_with('\n'); }

  bool wanted_;
  bool asked_ = false;
  std::string answer_;
};

}  // namespace quillmark::host
