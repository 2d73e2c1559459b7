// SPDX-License-Identifier: MIT
#include "host/tool/key_command.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include "host/tool/exit_code.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kShortestKey = 2;
constexpr std::size_t kLongestKey = 5;
constexpr std::size_t kLongestShown = 60;

[[noreturn]] void Raise(const std::string& command, const std::string& reason) {
  throw ToolError(ExitCode::kUnavailable, fmt::format("key command \"{}\": {}", command, reason));
}

struct CommandResult {
  std::string output;
  int status;
};

CommandResult RunCommand(const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) {
    Raise(command, "cannot be started");
  }
  std::string output;
  std::array<char, 256> buffer{};
  while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    output.append(buffer.data(), size);
  }
  return {output, ::pclose(pipe)};
}

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos
             ? std::string_view()
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

Bytes KeyOf(const std::string& command, const std::string& output) {
  const std::string_view text = WithoutBlanks(output);
  const auto key = BytesOfHex(text);
  if (!key || text.empty()) {
    Raise(command, fmt::format("expected the key as hexadecimal text, found \"{}\"",
                               text.substr(0, kLongestShown)));
  }
  if (key->size() < kShortestKey || key->size() > kLongestKey) {
    Raise(command, fmt::format("expected a key of {} to {} bytes, found {}", kShortestKey,
                               kLongestKey, key->size()));
  }
  return *key;
}

}  // namespace

KeyFunction MakeKeyCommand(const std::string& command) {
  return [command](const Bytes& seed) {
    const CommandResult result = RunCommand(fmt::format("{} {}", command, HexOf(seed)));
    if (result.status == -1 || !WIFEXITED(result.status)) {
      Raise(command, "was ended by a signal");
    }
    if (WEXITSTATUS(result.status) != 0) {
      Raise(command, fmt::format("failed with status {}", WEXITSTATUS(result.status)));
    }
    return KeyOf(command, result.output);
  };
}

}  // namespace quillmark::host
