// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

/// The terminal or console that the tool runs at: terminal_linux.cpp or terminal_windows.cpp.
namespace quillmark::host {

enum class StandardStream : std::uint8_t { kInput, kOutput, kError };

[[nodiscard]] bool IsTerminal(StandardStream stream);

/// The width of the terminal at the standard output, which may change; nothing if it is not known.
[[nodiscard]] std::optional<std::size_t> TerminalColumns();

/// The same for its height.
[[nodiscard]] std::optional<std::size_t> TerminalRows();

/// Takes away the last lines that the standard output has shown on a terminal; the next text takes
/// their place.
void TakeBackLines(std::size_t count);

/// Drops what was typed and not read.
void DropTyped();

/// What was typed, as soon as there is something; empty at the end of input, nothing if none came
/// within `time`. Lines end with a line feed.
[[nodiscard]] std::optional<std::string> ReadTyped(std::chrono::milliseconds time);

/// While it lives, the standard output and error show UTF-8 at a terminal, and a file or pipe gets
/// every byte as it is written.
class TerminalOutput {
 public:
  TerminalOutput();
  TerminalOutput(const TerminalOutput&) = delete;
  TerminalOutput& operator=(const TerminalOutput&) = delete;
  TerminalOutput(TerminalOutput&&) = delete;
  TerminalOutput& operator=(TerminalOutput&&) = delete;
  ~TerminalOutput();

 private:
  /// Empty where the streams do so by themselves.
  std::vector<std::unique_ptr<std::streambuf>> consoles_;
};

/// The name of the program and its arguments, in UTF-8 where the system says what they are in.
[[nodiscard]] std::vector<std::string> ProgramArguments(int argc, const char* const* argv);

/// An environment variable; empty if it is not set.
[[nodiscard]] std::string EnvironmentVariable(const char* name);

}  // namespace quillmark::host
