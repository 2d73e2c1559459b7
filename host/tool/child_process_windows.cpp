// SPDX-License-Identifier: MIT
#include <windows.h>
// It needs the types of windows.h.
#include <shellapi.h>

#include <algorithm>
#include <array>
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

}  // namespace

class ChildProcess::Implementation {
 public:
  explicit Implementation(const std::string& command) : job_(NewJob()) {
    SECURITY_ATTRIBUTES inherited = Inherited();
    const Handle nothing(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                     &inherited, OPEN_EXISTING, 0, nullptr));
    InheritedHandles handles({nothing.get(), output_.write_end(), errors_.write_end()});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = nothing.get();
    startup.StartupInfo.hStdOutput = output_.write_end();
    startup.StartupInfo.hStdError = errors_.write_end();
    startup.lpAttributeList = handles.list();
    // With /s, cmd takes what is between the outer quotes as it is.
    std::wstring line = L"cmd.exe /d /s /c \"" + Wide(command) + L"\"";
    constexpr DWORD kFlags = CREATE_SUSPENDED | CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP |
                             EXTENDED_STARTUPINFO_PRESENT;
    PROCESS_INFORMATION started{};
    Require(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, kFlags, nullptr, nullptr,
                           &startup.StartupInfo, &started),
            "there is no process");
    *process_.Put() = started.hProcess;
    AssignProcessToJobObject(job_.get(), started.hProcess);
    ResumeThread(started.hThread);
    CloseHandle(started.hThread);
    output_.CloseWriteEnd();
    errors_.CloseWriteEnd();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  Implementation(Implementation&&) = delete;
  Implementation& operator=(Implementation&&) = delete;
  /// What the command started may outlive it.
  ~Implementation() { TerminateJobObject(job_.get(), 1); }

  std::optional<End> Wait(milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    do {
      const bool has_ended =
          WaitForSingleObject(process_.get(), static_cast<DWORD>(kLookUp.count())) == WAIT_OBJECT_0;
      output_.Read();
      errors_.Read();
      if (has_ended) {
        DWORD status = 0;
        GetExitCodeProcess(process_.get(), &status);
        return End{.status = static_cast<int>(status)};
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

std::optional<ChildProcess::End> ChildProcess::Wait(milliseconds time) {
  return implementation_->Wait(time);
}

std::string ChildProcess::TakeOutput() { return implementation_->TakeOutput(); }

std::string ChildProcess::TakeErrors() { return implementation_->TakeErrors(); }

bool OpenOnDesktop(const std::string& file) {
  constexpr std::intptr_t kLastError = 32;
  const HINSTANCE opened =
      ShellExecuteW(nullptr, L"open", Wide(file).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<std::intptr_t>(opened) > kLastError;
}

}  // namespace quillmark::host
