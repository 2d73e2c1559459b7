// SPDX-License-Identifier: MIT
#include "quillmark/host/programmer.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <array>
#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "arguments.h"
#include "bindings.h"
#include "errors.h"
#include "live_transfers.h"
#include "python_bus.h"
#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"
#include "shared_objects.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

using namespace py::literals;

double SecondsOf(host::Duration time) { return std::chrono::duration<double>(time).count(); }

const char* NameOf(host::Cause cause) {
  constexpr std::array<const char*, 10> kNames{
      "argument",  "silence", "unexpected reply", "still busy", "bus",
      "component", "key",     "incomplete",       "difference", "cancelled"};
  return kNames.at(static_cast<std::size_t>(cause));
}

const char* NameOf(host::EcuMemory memory) {
  constexpr std::array<const char*, 5> kNames{"untouched", "perhaps erased", "partly written",
                                              "written", "checked"};
  return kNames.at(static_cast<std::size_t>(memory));
}

py::object PackageType(const char* name) {
  return py::module_::import("quillmark._programming").attr(name);
}

py::object BytesOrNone(const host::Bytes& bytes) {
  return bytes.empty() ? py::object(py::none()) : PythonBytes(bytes);
}

py::object IdentificationOf(const host::Identification& identification) {
  py::list entries;
  for (const auto& entry : identification.entries) {
    entries.append(
        PackageType("HistoryEntry")(BytesOrNone(entry.history), BytesOrNone(entry.reprogramming)));
  }
  return PackageType("Identification")(PythonBytes(identification.record), entries);
}

py::object ProgressOf(const host::Progress& progress) {
  return PackageType("Progress")(host::NameOf(progress.phase), progress.bytes_done,
                                 progress.bytes_total, SecondsOf(progress.phase_time),
                                 SecondsOf(progress.total_time), NameOf(progress.memory),
                                 progress.repeated, progress.passed_over);
}

py::object ResultOf(const host::ProgramResult& result) {
  return PackageType("ProgramResult")(
      "identification"_a = IdentificationOf(result.identification),
      "image_bytes"_a = result.image_bytes, "sent_bytes"_a = result.sent_bytes,
      "verified_bytes"_a = result.verified_bytes,
      "log_record_is_unanswered"_a = result.log_record_is_unanswered,
      "repeated"_a = result.repeated, "passed_over"_a = result.passed_over,
      "download_seconds"_a = SecondsOf(result.download_time),
      "seconds"_a = SecondsOf(result.total_time));
}

py::object ErrorOf(const host::ProgrammingError& error) {
  const host::Failure& failure = error.failure();
  py::list differences;
  for (const host::Difference& difference : failure.differences) {
    differences.append(
        PackageType("Difference")(difference.address, difference.expected, difference.found));
  }
  return PackageType("error_of_failure")(
      error.what(), "phase"_a = host::NameOf(failure.phase), "cause"_a = NameOf(failure.cause),
      "number"_a = failure.number, "text"_a = failure.text, "address"_a = failure.address,
      "response_code"_a = failure.response_code, "service"_a = failure.service,
      "document_step"_a = failure.document_step, "differences"_a = differences,
      "different_bytes"_a = failure.different_bytes, "memory"_a = NameOf(failure.memory),
      "written_bytes"_a = failure.written_bytes, "image_bytes"_a = failure.image_bytes,
      "session_open"_a = failure.session_open, "repeated"_a = failure.repeated,
      "passed_over"_a = failure.passed_over, "state"_a = host::EcuStateText(failure),
      "advice"_a = host::AdviceText(failure));
}

/// Ends a call whose callback has raised.
[[noreturn]] void End(host::Phase phase) {
  host::Failure failure;
  failure.phase = phase;
  failure.cause = host::Cause::kCancelled;
  failure.text = "cancelled by an exception of the host";
  throw host::ProgrammingError(failure);
}

/// What a call tells and asks its host: an object of the package with a method for each. They are
/// called with the interpreter's lock, which the caller need not hold. What one raises is kept, and
/// ends the call.
class Callbacks {
 public:
  explicit Callbacks(py::object hooks) : hooks_(std::move(hooks)) {}

  /// What `call` makes of the method; nothing if it has raised.
  template <typename Call>
  auto Ask(const char* method, Call call) -> std::optional<decltype(call(py::object()))> {
    const py::gil_scoped_acquire gil;
    try {
      return call(hooks_.attr(method));
    } catch (const py::error_already_set&) {
      Keep(std::current_exception());
    }
    return std::nullopt;
  }

  /// The same for a method whose result says nothing: whether it has raised nothing.
  template <typename Call>
  bool Tell(const char* method, Call call) {
    return Ask(method,
               [&](const py::object& tell) {
                 call(tell);
                 return true;
               })
        .has_value();
  }

  [[nodiscard]] bool StopRequested() {
    const auto ask = [this](const py::object& asked) {
      CheckSignals();
      return raised_ || py::bool_(asked());
    };
    return LiveCall::MustEnd() || Ask("stop_requested", ask).value_or(true);
  }

  /// Keeps the first.
  void Keep(std::exception_ptr raised) {
    if (!raised_) {
      raised_ = std::move(raised);
    }
  }

  /// Raises what a callback raised, with the failure that came of it as its context.
  void Rethrow(const host::ProgrammingError* failure) const {
    if (!raised_) {
      return;
    }
    try {
      std::rethrow_exception(raised_);
    } catch (const py::error_already_set& error) {
      if (failure != nullptr) {
        PyException_SetContext(error.value().ptr(), ErrorOf(*failure).release().ptr());
      }
      throw;
    }
  }

 private:
  py::object hooks_;
  /// Threads that read or write it have the interpreter's lock.
  std::exception_ptr raised_;
};

/// The host's checksum of a block, which the threads of transfers ask for, too. Once its call has
/// ended they get 0: what they still compute is dropped.
class Checksum {
 public:
  explicit Checksum(Callbacks& callbacks) : callbacks_(&callbacks) {}

  std::uint16_t Of(host::ByteView block) {
    const std::lock_guard lock(mutex_);
    if (callbacks_ == nullptr) {
      return 0;
    }
    const auto ask = [&](const py::object& compute) {
      return py::cast<std::uint16_t>(compute(PythonBytes(block)));
    };
    return callbacks_->Ask("checksum", ask).value_or(0);
  }

  /// Waits for a thread that is asking; called without the interpreter's lock.
  void End() {
    const std::lock_guard lock(mutex_);
    callbacks_ = nullptr;
  }

 private:
  std::mutex mutex_;
  Callbacks* callbacks_;
};

/// A file for what is read back before an erase. It replaces nothing.
class BackupFile {
 public:
  explicit BackupFile(std::filesystem::path path)
      : path_(std::move(path)), file_(path_, host::Existing::kKept) {}

  void Write(const MemoryImage& memory, std::uint8_t fill) {
    host::WriteImage(file_.stream(), host::FormatOfName(path_), FileSegmentsOf(memory), fill);
    file_.CommitToDisk();
    written_ = true;
  }

  /// Its name once it is written; empty before.
  [[nodiscard]] std::string name() const { return written_ ? path_.string() : ""; }

 private:
  std::filesystem::path path_;
  host::OutputFile file_;
  bool written_ = false;
};

template <typename Value>
Value Setting(const py::dict& settings, const char* name) {
  return py::cast<Value>(settings[name]);
}

std::chrono::milliseconds TimeSetting(const py::dict& settings, const char* name) {
  return MillisecondsOf(Setting<double>(settings, name));
}

host::ProgrammerConfig ConfigOf(host::TransportForm form, const py::dict& settings) {
  host::ProgrammerConfig config;
  config.form = form;
  config.receive_id = Setting<std::int32_t>(settings, "receive_id");
  config.send_id = Setting<std::int32_t>(settings, "send_id");
  config.address = Setting<std::int32_t>(settings, "address");
  config.block_size = Setting<std::int32_t>(settings, "block_size");
  config.separation_time = Setting<std::int32_t>(settings, "separation_time");
  config.adapts_flow_control = Setting<bool>(settings, "adapts_flow_control");
  config.memory = Setting<std::uint8_t>(settings, "memory");
  config.check_routine = Setting<std::uint8_t>(settings, "check_routine");
  config.fill_byte = Setting<std::uint8_t>(settings, "fill");
  config.alignment = Setting<std::int32_t>(settings, "align");
  config.max_block = Setting<std::int32_t>(settings, "block");
  if (const py::object record = settings["log_record"]; !record.is_none()) {
    config.log_record = BytesOf(record).bytes;
  }
  config.timing =
      TimingOf(Setting<double>(settings, "p2"), Setting<double>(settings, "p2_star"),
               Setting<int>(settings, "max_pending"), Setting<double>(settings, "pending_limit"),
               Setting<int>(settings, "max_wait_frames"));
  config.repetition.most = Setting<int>(settings, "repeat");
  config.repetition.busy_interval = TimeSetting(settings, "busy_interval");
  config.repetition.busy_limit = TimeSetting(settings, "busy_limit");
  config.poll_interval = TimeSetting(settings, "poll_interval");
  config.tester_present_interval = TimeSetting(settings, "tester_present");
  config.busy_limit = TimeSetting(settings, "routine_limit");
  return config;
}

/// A programmer of the host on a bus, as the class Programmer of the package uses it.
class Programmer {
 public:
  Programmer(const py::object& bus, const std::optional<std::string>& form,
             const py::dict& settings)
      : bus_(BusOf(bus)),
        config_(ConfigOf(form ? FormOf(*form) : bus_->form(), settings)),
        has_checksum_(Setting<bool>(settings, "has_checksum")) {
    bus_->Use([&](const auto& native) {
      const host::Programmer checks_the_settings(SharedPlatform(), *native, config_);
    });
  }

  py::object Identify(const py::object& hooks) {
    std::optional<host::Identification> identification;
    Call(hooks,
         [&](host::Programmer& programmer, Callbacks&) { identification = programmer.Identify(); });
    return IdentificationOf(*identification);
  }

  py::object Flash(const py::object& image, bool verify, const py::object& backup,
                   const py::object& hooks) {
    const auto copy = CopyOf(*ImageOf(image));
    std::optional<BackupFile> file;
    if (py::isinstance<py::str>(backup)) {
      file.emplace(py::cast<std::string>(backup));
    }
    host::ProgramResult result;
    Call(
        hooks,
        [&](host::Programmer& programmer, Callbacks& callbacks) {
          host::Programmer::ProgramOptions options{.verify = verify};
          options.confirm = [&](const host::Identification& ecu) {
            return Confirm(callbacks, ecu);
          };
          if (file) {
            options.backup = [&](const MemoryImage& memory) {
              file->Write(memory, config_.fill_byte);
            };
          } else if (!backup.is_none()) {
            options.backup = [&](const MemoryImage& memory) { BackUp(callbacks, memory); };
          }
          result = programmer.Program(copy, options);
        },
        [&] { return file ? file->name() : ""; });
    return ResultOf(result);
  }

  std::shared_ptr<Image> Read(const py::object& ranges, const py::object& hooks) {
    const Ranges wanted = RangesOf(ranges);
    std::shared_ptr<MemoryImage> image;
    Call(hooks,
         [&](host::Programmer& programmer, Callbacks&) { image = programmer.Read(wanted.map); });
    return std::make_shared<Image>(JoinedImage(*image));
  }

  py::object Verify(const py::object& image, const py::object& hooks) {
    const auto copy = CopyOf(*ImageOf(image));
    host::ProgramResult result;
    Call(hooks,
         [&](host::Programmer& programmer, Callbacks&) { result = programmer.Verify(copy); });
    return ResultOf(result);
  }

 private:
  /// Does `work` without the interpreter's lock, on the thread of the caller. `backup` names the
  /// file of the backup.
  template <typename Work>
  void Call(
      const py::object& hooks, Work work,
      const std::function<std::string()>& backup = [] { return ""; }) {
    Callbacks callbacks(hooks);
    const auto checksum = std::make_shared<Checksum>(callbacks);
    std::optional<host::ProgrammingError> failed;
    bus_->Use([&](const auto& bus) {
      const WithoutGil released;
      const LiveCall live;
      const auto ends = std::unique_ptr<Checksum, void (*)(Checksum*)>(
          checksum.get(), [](Checksum* ended) { ended->End(); });
      host::Programmer programmer(SharedPlatform(), *bus, ConfigWith(callbacks, checksum));
      Connect(programmer, callbacks);
      try {
        work(programmer, callbacks);
      } catch (const host::ProgrammingError& error) {
        host::Failure failure = error.failure();
        failure.backup = backup();
        failed.emplace(std::move(failure));
      }
    });
    callbacks.Keep(bus_->TakeRaised());
    callbacks.Rethrow(failed ? &*failed : nullptr);
    if (failed) {
      Raise(ErrorOf(*failed));
    }
  }

  [[nodiscard]] host::ProgrammerConfig ConfigWith(Callbacks& callbacks,
                                                  const std::shared_ptr<Checksum>& checksum) const {
    host::ProgrammerConfig config = config_;
    config.key = [&callbacks](const host::Bytes& seed) { return KeyOf(callbacks, seed); };
    if (has_checksum_) {
      config.checksum = [checksum](host::ByteView block) { return checksum->Of(block); };
    }
    return config;
  }

  static void Connect(host::Programmer& programmer, Callbacks& callbacks) {
    programmer.OnProgress([&callbacks](const host::Progress& progress) {
      callbacks.Tell("progress", [&](const py::object& tell) { tell(ProgressOf(progress)); });
    });
    programmer.OnStopRequested([&callbacks] { return callbacks.StopRequested(); });
    programmer.OnWarning([&callbacks](const std::string& text) {
      callbacks.Tell("warning", [&](const py::object& tell) { tell(text); });
    });
    programmer.OnDocument([&callbacks](const host::DocumentRun& run) {
      if (run.outcome != nullptr) {
        const host::RunOutcome& outcome = *run.outcome;
        callbacks.Tell("document", [&](const py::object& tell) {
          tell(host::NameOf(run.phase), PythonBytes(outcome.request), outcome.reason,
               SecondsOf(outcome.elapsed));
        });
      }
    });
    programmer.OnIdentified([&callbacks](const host::Identification& ecu) {
      const auto tell = [&](const py::object& identified) { identified(IdentificationOf(ecu)); };
      if (!callbacks.Tell("identified", tell)) {
        End(host::Phase::kIdentify);
      }
    });
  }

  static std::optional<host::Bytes> KeyOf(Callbacks& callbacks, const host::Bytes& seed) {
    const auto key = callbacks.Ask("key", [&](const py::object& ask) {
      const py::object answer = ask(PythonBytes(seed));
      return answer.is_none() ? std::nullopt : std::optional(BytesOf(answer).bytes);
    });
    if (!key) {
      throw std::runtime_error("the key function has raised an exception");
    }
    if (!*key) {
      Pause();
    }
    return *key;
  }

  static host::Programmer::Answer Confirm(Callbacks& callbacks, const host::Identification& ecu) {
    using Answer = host::Programmer::Answer;
    const auto answer = callbacks.Ask("confirm", [&](const py::object& ask) {
      const py::object given = ask(IdentificationOf(ecu));
      if (given.is_none()) {
        return Answer::kNotYet;
      }
      return py::bool_(given) ? Answer::kYes : Answer::kNo;
    });
    if (answer == Answer::kNotYet) {
      Pause();
    }
    return answer.value_or(Answer::kNo);
  }

  static void BackUp(Callbacks& callbacks, const MemoryImage& memory) {
    const auto joined = JoinedImage(memory);
    if (!callbacks.Tell("backup",
                        [&](const py::object& tell) { tell(std::make_shared<Image>(joined)); })) {
      End(host::Phase::kBackup);
    }
  }

  /// Until a host that has no answer yet is asked again.
  static void Pause() {
    constexpr std::chrono::milliseconds kMoment{20};
    std::this_thread::sleep_for(kMoment);
  }

  std::shared_ptr<Bus> bus_;
  host::ProgrammerConfig config_;
  bool has_checksum_;
};

}  // namespace

void BindProgrammer(py::module_& module) {
  py::class_<Programmer>(module, "Programmer", "What Programmer of the package works with.")
      .def(py::init<const py::object&, std::optional<std::string>, const py::dict&>())
      .def("identify", &Programmer::Identify)
      .def("flash", &Programmer::Flash)
      .def("read", &Programmer::Read)
      .def("verify", &Programmer::Verify);
}

}  // namespace quillmark::python
