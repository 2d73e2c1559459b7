// SPDX-License-Identifier: MIT
#include "host/tool/key_command.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/tool/child_process.h"
#include "host/tool/exit_code.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// How long a call may take; the session is kept alive between two.
constexpr milliseconds kMoment{200};
constexpr std::size_t kShortestKey = 2;
constexpr std::size_t kLongestKey = 5;
constexpr std::size_t kLongestShown = 60;

[[noreturn]] void Raise(const std::string& command, const std::string& reason) {
  throw ToolError(ExitCode::kUnavailable, fmt::format("key command \"{}\": {}", command, reason));
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

void CheckEnd(const std::string& command, const ProcessEnd& end) {
  if (end.by_signal) {
    Raise(command, "was ended by a signal");
  }
  if (end.status != 0) {
    Raise(command, fmt::format("failed with status {}", end.status));
  }
}

/// One key command, which is run anew for each key.
class KeyCommand {
 public:
  KeyCommand(std::string command, milliseconds limit, ShowLine show)
      : command_(std::move(command)), limit_(limit), show_(std::move(show)) {}

  /// Nothing while the command runs.
  std::optional<Bytes> KeyOf(const Bytes& seed) {
    if (!process_ || seed != seed_) {
      Start(seed);
    }
    const std::optional<ProcessEnd> end = process_->Wait(kMoment);
    const bool goes_on = !end && Clock::now() - started_ < limit_;
    ShowErrors(goes_on);
    if (goes_on) {
      return std::nullopt;
    }
    const std::string output = process_->TakeOutput();
    process_.reset();
    if (!end) {
      Raise(command_, fmt::format("did not end within {} ms", limit_.count()));
    }
    CheckEnd(command_, *end);
    return host::KeyOf(command_, output);
  }

 private:
  using Clock = std::chrono::steady_clock;

  void Start(const Bytes& seed) {
    seed_ = seed;
    started_ = Clock::now();
    try {
      process_.emplace(fmt::format("{} {}", command_, HexOf(seed)));
    } catch (const std::system_error& error) {
      Raise(command_, fmt::format("cannot be started: {}", error.what()));
    }
  }

  /// Shows every whole line, and what is left once nothing follows.
  void ShowErrors(bool more_follows) {
    errors_ += process_->TakeErrors();
    if (!more_follows && !errors_.empty() && errors_.back() != '\n') {
      errors_ += '\n';
    }
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = errors_.find('\n', begin)) != std::string::npos;) {
      show_(errors_.substr(begin, end - begin));
      begin = end + 1;
    }
    errors_.erase(0, begin);
  }

  std::string command_;
  milliseconds limit_;
  ShowLine show_;
  std::optional<ChildProcess> process_;
  Bytes seed_;
  Clock::time_point started_;
  /// The beginning of a line.
  std::string errors_;
};

}  // namespace

KeyFunction MakeKeyCommand(const std::string& command, milliseconds limit, ShowLine show) {
  const auto key_command = std::make_shared<KeyCommand>(command, limit, std::move(show));
  return [key_command](const Bytes& seed) { return key_command->KeyOf(seed); };
}

}  // namespace quillmark::host
