// SPDX-License-Identifier: MIT
#include <windows.h>
// It needs the types of windows.h.
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

#include "host/tool/terminal.h"

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

namespace quillmark::host {
namespace {

HANDLE HandleOf(StandardStream stream) {
  constexpr std::array<DWORD, 3> kHandles{STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(kHandles.at(static_cast<std::size_t>(stream)));
}

/// UTF-16 of Windows as UTF-8.
std::string Utf8Of(const wchar_t* text) { return std::filesystem::path(text).string(); }

/// One read of the console, which cannot be given up once it has begun: it goes on in a thread of
/// its own.
class PendingRead {
 public:
  void Run() {
    std::array<char, 64> buffer{};
    DWORD size = 0;
    ::ReadFile(HandleOf(StandardStream::kInput), buffer.data(), buffer.size(), &size, nullptr);
    std::string text(buffer.data(), size);
    std::erase(text, '\r');
    const std::lock_guard lock(mutex_);
    text_ = std::move(text);
    done_.notify_all();
  }

  std::optional<std::string> Wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    done_.wait_for(lock, time, [this] { return text_.has_value(); });
    return text_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  std::optional<std::string> text_;
};

}  // namespace

bool IsTerminal(StandardStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

std::optional<std::size_t> TerminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(StandardStream::kOutput), &info) == FALSE) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

void DropTyped() { FlushConsoleInputBuffer(HandleOf(StandardStream::kInput)); }

std::optional<std::string> ReadTyped(std::chrono::milliseconds time) {
  static std::shared_ptr<PendingRead> pending;
  if (!pending) {
    pending = std::make_shared<PendingRead>();
    std::thread([read = pending] { read->Run(); }).detach();
  }
  std::optional<std::string> text = pending->Wait(time);
  if (text) {
    pending.reset();
  }
  return text;
}

TerminalSettings::TerminalSettings() : code_page_(GetConsoleOutputCP()) {
  SetConsoleOutputCP(CP_UTF8);
  for (const StandardStream stream : {StandardStream::kOutput, StandardStream::kError}) {
    DWORD mode = 0;
    if (GetConsoleMode(HandleOf(stream), &mode) != FALSE) {
      SetConsoleMode(HandleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
  }
}

TerminalSettings::~TerminalSettings() { SetConsoleOutputCP(code_page_); }

/// Those of `argv` have lost every character that is not in the code page of the system.
std::vector<std::string> ProgramArguments(int /*argc*/, const char* const* /*argv*/) {
  int count = 0;
  const std::unique_ptr<LPWSTR, decltype(&LocalFree)> words(
      CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
  std::vector<std::string> arguments;
  std::transform(words.get(), words.get() + count, std::back_inserter(arguments), Utf8Of);
  return arguments;
}

std::string EnvironmentVariable(const char* name) {
  const std::wstring wide(name, name + std::char_traits<char>::length(name));
  const wchar_t* const value = _wgetenv(wide.c_str());
  return value == nullptr ? "" : Utf8Of(value);
}

}  // namespace quillmark::host
