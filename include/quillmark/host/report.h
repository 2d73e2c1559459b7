// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "quillmark/export.h"
#include "quillmark/host/artifacts.h"

namespace quillmark::host {

/// How a command ended, for the head of the page.
struct Outcome {
  std::string state{};   ///< done, failed, cancelled, unfinished
  std::string line{};    ///< a sentence
  std::string advice{};  ///< what to do next; empty if there is no advice
};

/// How the command ended that left these artifacts.
[[nodiscard]] QUILLMARK_API Outcome OutcomeOf(const Artifacts& artifacts);

/// A whole page in HTML, which needs no other file and no network.
[[nodiscard]] QUILLMARK_API std::string RenderPage(const Artifacts& artifacts);

}  // namespace quillmark::host
