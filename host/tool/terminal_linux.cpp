// SPDX-License-Identifier: MIT
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <iostream>

#include "host/tool/printable_output.h"
#include "host/tool/terminal.h"

namespace quillmark::host {

bool IsTerminal(StandardStream stream) { return ::isatty(static_cast<int>(stream)) == 1; }

std::optional<std::size_t> TerminalColumns() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
}

std::optional<std::size_t> TerminalRows() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
  return known ? std::optional<std::size_t>(size.ws_row) : std::nullopt;
}

void TakeBackLines(std::size_t count) {
  const std::string sequence = "\x1B[" + std::to_string(count) + "A\r\x1B[J";
  std::cout << TerminalControl{sequence} << std::flush;
}

void DropTyped() { ::tcflush(STDIN_FILENO, TCIFLUSH); }

std::optional<std::string> ReadTyped(std::chrono::milliseconds time) {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (::poll(&input, 1, static_cast<int>(time.count())) <= 0) {
    return std::nullopt;
  }
  std::array<char, 64> buffer{};
  const ssize_t size = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  return std::string(buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
}

TerminalOutput::TerminalOutput() = default;
TerminalOutput::~TerminalOutput() = default;

std::vector<std::string> ProgramArguments(int argc, const char* const* argv) {
  return {argv, argv + argc};
}

std::string EnvironmentVariable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? "" : value;
}

}  // namespace quillmark::host
