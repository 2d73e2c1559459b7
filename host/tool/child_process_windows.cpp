// SPDX-License-Identifier: MIT
#include <windows.h>
// It needs the types of windows.h.
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/tool/child_process.h"
#include "quillmark/host/files.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

/// How long a wait lasts before the command is looked at again.
constexpr milliseconds kLookUp{20};
/// As much as is kept of an output.
constexpr std::size_t kMostText = 65536;

[[noreturn]] void RaiseLastError(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

void Require(BOOL done, const char* what) {
  if (done == FALSE) {
    RaiseLastError(what);
  }
}

/// UTF-8 as Windows wants it.
std::wstring Wide(const std::string& text) { return Utf8Path(text).wstring(); }

/// An owned handle.
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  Handle(Handle&&) = delete;
  Handle& operator=(Handle&&) = delete;
  ~Handle() { Close(); }

  [[nodiscard]] HANDLE get() const { return handle_; }
  [[nodiscard]] HANDLE* Put() {
    Close();
    return &handle_;
  }
  void Close() {
    if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) {
      CloseHandle(handle_);
    }
    handle_ = nullptr;
  }

 private:
  HANDLE handle_ = nullptr;
};

/// Handles that a child inherits.
SECURITY_ATTRIBUTES Inherited() { return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE}; }

/// One of the outputs of a command, of which no more than a bounded part is kept.
class Stream {
 public:
  Stream() {
    SECURITY_ATTRIBUTES inherited = Inherited();
    Require(CreatePipe(read_end_.Put(), write_end_.Put(), &inherited, 0), "there is no pipe");
    SetHandleInformation(read_end_.get(), HANDLE_FLAG_INHERIT, 0);
  }

  [[nodiscard]] HANDLE write_end() const { return write_end_.get(); }
  /// Once the command has the other end.
  void CloseWriteEnd() { write_end_.Close(); }

  /// Takes what is there.
  void Read() {
    std::array<char, 4096> buffer{};
    DWORD available = 0;
    while (PeekNamedPipe(read_end_.get(), nullptr, 0, nullptr, &available, nullptr) != FALSE &&
           available > 0) {
      DWORD size = 0;
      const DWORD wanted = std::min<DWORD>(available, buffer.size());
      if (::ReadFile(read_end_.get(), buffer.data(), wanted, &size, nullptr) == FALSE) {
        return;
      }
      const std::size_t kept = std::min<std::size_t>(size, room_);
      text_.append(buffer.data(), kept);
      room_ -= kept;
    }
  }

  /// Lines end with a line feed.
  [[nodiscard]] std::string TakeText() {
    std::erase(text_, '\r');
    return std::exchange(text_, {});
  }

 private:
  Handle read_end_;
  Handle write_end_;
  std::size_t room_ = kMostText;
  std::string text_;
};

/// Names the only handles that a new process inherits.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    Require(InitializeProcThreadAttributeList(list(), 1, 0, &size), "there is no process");
    Require(UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      handles_.size() * sizeof(HANDLE), nullptr, nullptr),
            "there is no process");
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  InheritedHandles(InheritedHandles&&) = delete;
  InheritedHandles& operator=(InheritedHandles&&) = delete;
  ~InheritedHandles() { DeleteProcThreadAttributeList(list()); }

  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::vector<std::uint8_t> memory_;
};

/// A job whose processes end with its last handle, and so with this process, however that ends.
HANDLE NewJob() {
  const HANDLE job = CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

/// What a program gets as its standard input, output and error.
struct StandardHandles {
  HANDLE input = nullptr;
  HANDLE output = nullptr;
  HANDLE error = nullptr;
};

/// Starts a command line in a job. The process is put into `process`.
void StartInJob(std::wstring line, const StandardHandles& standard, DWORD flags, HANDLE job,
                Handle& process) {
  std::vector<HANDLE> inherited{standard.input, standard.output};
  if (standard.error != nullptr) {
    inherited.push_back(standard.error);
  }
  InheritedHandles handles(std::move(inherited));
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = standard.input;
  startup.StartupInfo.hStdOutput = standard.output;
  startup.StartupInfo.hStdError = standard.error;
  startup.lpAttributeList = handles.list();
  PROCESS_INFORMATION started{};
  Require(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                         flags | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                         &startup.StartupInfo, &started),
          "there is no process");
  *process.Put() = started.hProcess;
  AssignProcessToJobObject(job, started.hProcess);
  ResumeThread(started.hThread);
  CloseHandle(started.hThread);
}

/// A word of a command line as the C library of the program will read it: a backslash means itself
/// unless a quotation mark follows.
std::wstring Quoted(const std::wstring& word) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t each : word) {
    if (each == L'"') {
      quoted.append(backslashes + 1, L'\\');
    }
    backslashes = each == L'\\' ? backslashes + 1 : 0;
    quoted += each;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

std::wstring CommandLineOf(const std::vector<std::string>& words) {
  std::wstring line;
  for (const std::string& word : words) {
    line += (line.empty() ? L"" : L" ") + Quoted(Wide(word));
  }
  return line;
}

/// A handle of this process's own that a child inherits; none if there is nothing to inherit.
HANDLE InheritedCopy(HANDLE handle) {
  HANDLE copy = nullptr;
  const HANDLE process = GetCurrentProcess();
  const BOOL copied =
      DuplicateHandle(process, handle, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS);
  return copied != FALSE ? copy : nullptr;
}

}  // namespace

class ChildProcess::Implementation {
 public:
  explicit Implementation(const std::string& command) : job_(NewJob()) {
    SECURITY_ATTRIBUTES inherited = Inherited();
    const Handle nothing(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                     &inherited, OPEN_EXISTING, 0, nullptr));
    // With /s, cmd takes what is between the outer quotes as it is.
    StartInJob(L"cmd.exe /d /s /c \"" + Wide(command) + L"\"",
               {nothing.get(), output_.write_end(), errors_.write_end()},
               CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP, job_.get(), process_);
    output_.CloseWriteEnd();
    errors_.CloseWriteEnd();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  Implementation(Implementation&&) = delete;
  Implementation& operator=(Implementation&&) = delete;
  /// What the command started may outlive it.
  ~Implementation() { TerminateJobObject(job_.get(), 1); }

  std::optional<ProcessEnd> Wait(milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    do {
      const bool has_ended =
          WaitForSingleObject(process_.get(), static_cast<DWORD>(kLookUp.count())) == WAIT_OBJECT_0;
      output_.Read();
      errors_.Read();
      if (has_ended) {
        DWORD status = 0;
        GetExitCodeProcess(process_.get(), &status);
        return ProcessEnd{.status = static_cast<int>(status)};
      }
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
  }

  std::string TakeOutput() { return output_.TakeText(); }
  std::string TakeErrors() { return errors_.TakeText(); }

 private:
  Stream output_;
  Stream errors_;
  Handle job_;
  Handle process_;
};

ChildProcess::ChildProcess(const std::string& command)
    : implementation_(std::make_unique<Implementation>(command)) {}

ChildProcess::~ChildProcess() = default;

std::optional<ProcessEnd> ChildProcess::Wait(milliseconds time) {
  return implementation_->Wait(time);
}

std::string ChildProcess::TakeOutput() { return implementation_->TakeOutput(); }

std::string ChildProcess::TakeErrors() { return implementation_->TakeErrors(); }

class PipedProcess::Implementation {
 public:
  explicit Implementation(const std::vector<std::string>& command) : job_(NewJob()) {
    SECURITY_ATTRIBUTES inherited = Inherited();
    Handle input;
    Require(CreatePipe(input.Put(), input_.Put(), &inherited, kMostText), "there is no pipe");
    SetHandleInformation(input_.get(), HANDLE_FLAG_INHERIT, 0);
    const Handle output(OpenOutput(inherited));
    const Handle error(InheritedCopy(GetStdHandle(STD_ERROR_HANDLE)));
    StartInJob(CommandLineOf(command), {input.get(), output.get(), error.get()}, 0, job_.get(),
               process_);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  Implementation(Implementation&&) = delete;
  Implementation& operator=(Implementation&&) = delete;
  ~Implementation() {
    input_.Close();
    static_cast<void>(AwaitEnd());
    TerminateJobObject(job_.get(), 1);
    if (is_reading_) {
      DWORD size = 0;
      CancelIo(output_.get());
      GetOverlappedResult(output_.get(), &read_, &size, TRUE);
    }
  }

  void Write(std::string_view text) {
    while (!text.empty()) {
      DWORD size = 0;
      if (::WriteFile(input_.get(), text.data(), static_cast<DWORD>(text.size()), &size, nullptr) ==
          FALSE) {
        return;
      }
      text.remove_prefix(size);
    }
  }

  std::optional<std::string> Read(milliseconds time) {
    if (!is_reading_ && !BeginReading()) {
      return "";
    }
    if (WaitForSingleObject(arrived_.get(), static_cast<DWORD>(time.count())) != WAIT_OBJECT_0) {
      return std::nullopt;
    }
    is_reading_ = false;
    DWORD size = 0;
    if (GetOverlappedResult(output_.get(), &read_, &size, FALSE) == FALSE) {
      return AfterTheEnd();
    }
    return std::string(buffer_.data(), size);
  }

  ProcessEnd AwaitEnd() {
    constexpr DWORD kTimeToEnd = 1000;
    if (WaitForSingleObject(process_.get(), kTimeToEnd) != WAIT_OBJECT_0) {
      TerminateProcess(process_.get(), 1);
      WaitForSingleObject(process_.get(), INFINITE);
    }
    DWORD status = 0;
    GetExitCodeProcess(process_.get(), &status);
    return {.status = static_cast<int>(status)};
  }

 private:
  /// The program's end of its output. Only a pipe with a name can be waited for.
  HANDLE OpenOutput(SECURITY_ATTRIBUTES& inherited) {
    static std::atomic<unsigned> count = 0;
    const std::wstring name = L"\\\\.\\pipe\\quillmark-" + std::to_wstring(GetCurrentProcessId()) +
                              L'-' + std::to_wstring(++count);
    *output_.Put() = CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, kMostText, kMostText, 0,
        nullptr);
    Require(output_.get() != INVALID_HANDLE_VALUE ? TRUE : FALSE, "there is no pipe");
    *arrived_.Put() = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Require(arrived_.get() != nullptr ? TRUE : FALSE, "there is no event");
    const HANDLE output =
        CreateFileW(name.c_str(), GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
    Require(output != INVALID_HANDLE_VALUE ? TRUE : FALSE, "there is no pipe");
    return output;
  }

  /// False if the output has ended.
  bool BeginReading() {
    read_ = {};
    read_.hEvent = arrived_.get();
    is_reading_ = ::ReadFile(output_.get(), buffer_.data(), static_cast<DWORD>(buffer_.size()),
                             nullptr, &read_) != FALSE ||
                  GetLastError() == ERROR_IO_PENDING;
    if (!is_reading_) {
      static_cast<void>(AfterTheEnd());
    }
    return is_reading_;
  }

  /// Empty, if the last error is no other than that nobody writes any more.
  static std::string AfterTheEnd() {
    Require(GetLastError() == ERROR_BROKEN_PIPE ? TRUE : FALSE, "the pipe cannot be read");
    return {};
  }

  Handle job_;
  Handle process_;
  Handle input_;
  Handle output_;
  Handle arrived_;
  OVERLAPPED read_{};
  std::array<char, 4096> buffer_{};
  bool is_reading_ = false;
};

PipedProcess::PipedProcess(const std::vector<std::string>& command)
    : implementation_(std::make_unique<Implementation>(command)) {}

PipedProcess::~PipedProcess() = default;

void PipedProcess::Write(std::string_view text) { implementation_->Write(text); }

std::optional<std::string> PipedProcess::Read(milliseconds time) {
  return implementation_->Read(time);
}

ProcessEnd PipedProcess::AwaitEnd() { return implementation_->AwaitEnd(); }

bool OpenOnDesktop(const std::string& file) {
  constexpr std::intptr_t kLastError = 32;
  const HINSTANCE opened =
      ShellExecuteW(nullptr, L"open", Wide(file).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<std::intptr_t>(opened) > kLastError;
}

}  // namespace quillmark::host
