// SPDX-License-Identifier: MIT
#include <windows.h>
// It needs the types of windows.h.
#include <shellapi.h>
// They need the C library's own types.
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>

#include "host/tool/terminal.h"

namespace quillmark::host {
namespace {

HANDLE HandleOf(StandardStream stream) {
  constexpr std::array<DWORD, 3> kHandles{STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(kHandles.at(static_cast<std::size_t>(stream)));
}

/// UTF-16 of Windows as UTF-8. Half a surrogate pair becomes U+FFFD.
std::string Utf8Of(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  std::string utf8(text.size() * 3, '\0');
  const int used = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(),
                                       static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<std::size_t>(used));
  return utf8;
}

/// The other way round. What is not UTF-8 becomes U+FFFD.
std::wstring Wide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring text(utf8.size(), L'\0');
  const int used = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), size);
  text.resize(static_cast<std::size_t>(used));
  return text;
}

/// Has a stream write to the console while it lives: in Unicode, whatever the console's code page
/// is. Each write has to end with a whole character, as those of PrintableOutput do.
class ConsoleOutput : public std::streambuf {
 public:
  ConsoleOutput(std::ostream& stream, HANDLE console)
      : stream_(stream), target_(stream.rdbuf()), console_(console) {
    stream_.rdbuf(this);
  }
  ConsoleOutput(const ConsoleOutput&) = delete;
  ConsoleOutput& operator=(const ConsoleOutput&) = delete;
  ConsoleOutput(ConsoleOutput&&) = delete;
  ConsoleOutput& operator=(ConsoleOutput&&) = delete;
  /// Gives the stream its own buffer back.
  ~ConsoleOutput() override { stream_.rdbuf(target_); }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    return Write({text, static_cast<std::size_t>(size)}) ? size : 0;
  }

  int_type overflow(int_type character) override {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
      return traits_type::not_eof(character);
    }
    const char byte = traits_type::to_char_type(character);
    return Write({&byte, 1}) ? character : traits_type::eof();
  }

 private:
  /// The console takes no more than its buffer holds at a time.
  static constexpr std::size_t kMostAtOnce = 4096;

  [[nodiscard]] bool Write(std::string_view utf8) {
    const std::wstring text = Wide(utf8);
    for (std::size_t at = 0; at < text.size();) {
      const auto size = static_cast<DWORD>(std::min(text.size() - at, kMostAtOnce));
      DWORD written = 0;
      if (WriteConsoleW(console_, text.data() + at, size, &written, nullptr) == FALSE ||
          written == 0) {
        return false;
      }
      at += written;
    }
    return true;
  }

  std::ostream& stream_;
  std::streambuf* target_;
  HANDLE console_;
};

/// One read of the console, which cannot be given up once it has begun: it goes on in a thread of
/// its own.
class PendingRead {
 public:
  void Run() {
    std::string text = Utf8Of(Read());
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
  /// Empty once the console is gone. Ctrl-C ends a read without a character, and is not an answer.
  static std::wstring Read() {
    std::array<wchar_t, 64> buffer{};
    DWORD size = 0;
    BOOL done = TRUE;
    while (done != FALSE && size == 0) {
      done = ReadConsoleW(HandleOf(StandardStream::kInput), buffer.data(), buffer.size(), &size,
                          nullptr);
    }
    return {buffer.data(), size};
  }

  std::mutex mutex_;
  std::condition_variable done_;
  std::optional<std::string> text_;
};

DWORD WINAPI RunRead(void* argument) {
  const std::unique_ptr<std::shared_ptr<PendingRead>> read(
      static_cast<std::shared_ptr<PendingRead>*>(argument));
  (*read)->Run();
  return 0;
}

/// Begins a read on a thread of its own. That is no detached std::thread: where one ends while it
/// is being detached, as it does if the read fails at once, the thread library of MinGW was seen to
/// leave a lock behind on which a later thread spins for ever.
std::shared_ptr<PendingRead> BeginRead() {
  auto read = std::make_unique<std::shared_ptr<PendingRead>>(std::make_shared<PendingRead>());
  std::shared_ptr<PendingRead> pending = *read;
  const HANDLE thread = CreateThread(nullptr, 0, &RunRead, read.get(), 0, nullptr);
  if (thread == nullptr) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  static_cast<void>(read.release());
  CloseHandle(thread);
  return pending;
}

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

std::optional<std::size_t> TerminalRows() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(StandardStream::kOutput), &info) == FALSE) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1);
}

/// Without control sequences, which not every console acts on.
void TakeBackLines(std::size_t count) {
  std::cout.flush();
  const HANDLE console = HandleOf(StandardStream::kOutput);
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(console, &info) == FALSE) {
    return;
  }
  const auto lines = static_cast<SHORT>(
      std::min(count, static_cast<std::size_t>(std::max<SHORT>(info.dwCursorPosition.Y, 0))));
  const COORD first{0, static_cast<SHORT>(info.dwCursorPosition.Y - lines)};
  const DWORD cells = static_cast<DWORD>(info.dwSize.X) * static_cast<DWORD>(lines + 1);
  DWORD done = 0;
  FillConsoleOutputCharacterW(console, L' ', cells, first, &done);
  SetConsoleCursorPosition(console, first);
}

void DropTyped() { FlushConsoleInputBuffer(HandleOf(StandardStream::kInput)); }

std::optional<std::string> ReadTyped(std::chrono::milliseconds time) {
  static std::shared_ptr<PendingRead> pending;
  if (!pending) {
    pending = BeginRead();
  }
  std::optional<std::string> text = pending->Wait(time);
  if (text) {
    pending.reset();
  }
  return text;
}

TerminalOutput::TerminalOutput() {
  // The C library would write a carriage return before each line feed.
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  const auto show = [this](StandardStream number, std::ostream& stream) {
    if (IsTerminal(number)) {
      consoles_.push_back(std::make_unique<ConsoleOutput>(stream, HandleOf(number)));
    }
  };
  show(StandardStream::kOutput, std::cout);
  show(StandardStream::kError, std::cerr);
}

TerminalOutput::~TerminalOutput() = default;

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
