// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillmark::host::testing {

/// A line for the console and the line that it answers with.
struct RecordedCall {
  std::string call;
  std::string answer;
};

/// The lines of a text file. Raises std::runtime_error if it cannot be read.
inline std::vector<std::string> LinesOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + file);
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// The calls of `folder`, in the order in which one console takes them: every member in every
/// transport form, with good and bad arguments and replies.
inline std::vector<RecordedCall> RecordedCalls(const std::string& folder) {
  const std::vector<std::string> calls = LinesOf(folder + "/calls.jsonl");
  const std::vector<std::string> answers = LinesOf(folder + "/answers.jsonl");
  if (calls.size() != answers.size()) {
    throw std::runtime_error("there are more or fewer answers than calls");
  }
  std::vector<RecordedCall> recorded;
  for (std::size_t index = 0; index < calls.size(); ++index) {
    recorded.push_back({calls[index], answers[index]});
  }
  return recorded;
}

}  // namespace quillmark::host::testing
