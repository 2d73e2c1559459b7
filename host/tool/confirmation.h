// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/programmer/programmer.h"

namespace quillmark::host {

/// A question to whoever sits at the terminal; where nobody does, the answer is yes.
class Confirmation {
 public:
  /// `wanted` is false if no question is to be asked.
  explicit Confirmation(bool wanted);

  /// Asks at the first call; waits a moment for the answer, which only "y" and "yes" make a yes.
  [[nodiscard]] Programmer::Answer Ask();

 private:
  bool wanted_;
  bool asked_ = false;
  std::string answer_;
};

}  // namespace quillmark::host
