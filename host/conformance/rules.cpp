// SPDX-License-Identifier: MIT
#include "host/conformance/rules.h"

#include <algorithm>

namespace quillmark::host {

using std::chrono::milliseconds;

Finding FirstOf(std::initializer_list<Finding> findings) {
  const auto first = std::find_if(findings.begin(), findings.end(),
                                  [](const Finding& finding) { return finding.has_value(); });
  return first == findings.end() ? std::nullopt : *first;
}

std::vector<Turn> TurnsOf(const Exercise& exercise, std::size_t number) {
  const auto begin = exercise.script.begin();
  const Exercise::Request& request = exercise.requests[number];
  return {begin + static_cast<std::ptrdiff_t>(request.first),
          begin + static_cast<std::ptrdiff_t>(request.end)};
}

Bytes PlainFrame(std::initializer_list<std::uint8_t> bytes) {
  Bytes frame(bytes);
  frame.resize(8, 0xAA);
  return frame;
}

void Postpone(Exercise& exercise, const Bytes& frame, int count, milliseconds interval) {
  constexpr milliseconds kFirst{2};
  std::vector<ScriptedReply>& replies = exercise.RepliesTo(0);
  for (ScriptedReply& reply : replies) {
    reply.after = kFirst + count * interval;
  }
  std::vector<ScriptedReply> before;
  before.reserve(static_cast<std::size_t>(count));
  for (int n = 0; n < count; ++n) {
    before.push_back({kFirst + n * interval, frame});
  }
  replies.insert(replies.begin(), before.begin(), before.end());
}

Exercise Endless(Exercise exercise, const Bytes& frame, int count, milliseconds interval) {
  Postpone(exercise, frame, count, interval);
  exercise.RepliesTo(0).pop_back();
  return exercise;
}

}  // namespace quillmark::host
