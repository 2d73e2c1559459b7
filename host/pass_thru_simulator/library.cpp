// SPDX-License-Identifier: MIT
// The exported functions. The library is built twice, with 32 and with 64 bits for the interface's
// `unsigned long`.
#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <string>

#include "host/pass_thru_simulator/settings.h"
#include "host/tool/flash_file.h"
#include "host/tool/terminal.h"
#include "quillmark/host/files.h"

#ifdef _WIN32
#define QUILLMARK_EXPORT extern "C" __declspec(dllexport)
#else
#define QUILLMARK_EXPORT extern "C" [[gnu::visibility("default")]]
#endif

namespace quillmark::host::pass_thru {
namespace {

#if QUILLMARK_PASS_THRU_WIDTH == 64
using Word = std::uint64_t;
#else
using Word = std::uint32_t;
#endif
using Result = Functions<Word>::Result;
using RawMessage = Message<Word>;

constexpr const char* kSettingsVariable = "QUILLMARK_PASS_THRU_SIMULATOR";
constexpr Word kDevice = 1;

/// Whether a status is the caller's fault, which a host that keeps the rules never sees.
bool BreaksTheRules(Status status) {
  switch (status) {
    case kNoError:
    case kNotSupported:
    case kFailed:
    case kDeviceNotConnected:
    case kTimeout:
    case kDeviceInUse:
    case kBufferEmpty:
    case kBufferFull:
    case kBufferOverflow:
      return false;
    default:
      return true;
  }
}

/// What the process that loads the library gets: one adapter.
class Library {
 public:
  Library() = default;
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  Library(Library&&) = delete;
  Library& operator=(Library&&) = delete;
  ~Library() {
    if (device_) {
      function_ = "(unload)";
      Complain("the adapter is still open");
      Leave();
    }
  }

  /// Runs a function and turns what it raises into its status.
  template <typename Work>
  Result Call(const std::string& function, Work work) {
    const std::lock_guard lock(mutex_);
    function_ = function;
    try {
      FailOnPurpose();
      const Status status = work();
      if (status != kNoError) {
        last_error_ = NameOfStatus(status) + " of the simulated adapter";
      }
      return static_cast<Result>(status);
    } catch (const Refusal& refusal) {
      last_error_ = refusal.what();
      if (BreaksTheRules(refusal.status()) && !on_purpose_) {
        Complain(NameOfStatus(refusal.status()) + ": " + last_error_);
      }
      return static_cast<Result>(refusal.status());
    } catch (const std::exception& error) {
      last_error_ = error.what();
      Complain(last_error_);
      return static_cast<Result>(kFailed);
    }
  }

  void Open() {
    if (device_) {
      throw Refusal(kDeviceInUse, "the adapter is open already");
    }
    settings_ = ParseSettings(EnvironmentVariable(kSettingsVariable));
    calls_.clear();
    violations_ = 0;
    device_.emplace(settings_.device, [this](const std::string& text) { Complain(text); });
    // The call that opens counts, too.
    FailOnPurpose();
  }

  void Close() {
    if (Opened(kDevice).HasChannels()) {
      Complain("a channel is still connected");
    }
    Leave();
  }

  /// The device of a handle.
  Device& Opened(Word device) {
    if (!device_ || device != kDevice) {
      throw Refusal(kInvalidDeviceId, "no such adapter is open");
    }
    return *device_;
  }

  /// The device of a channel.
  Device& Channel(Word channel) {
    if (!device_) {
      throw Refusal(kInvalidChannelId, "no adapter is open");
    }
    device_->Require(static_cast<std::uint32_t>(channel));
    return *device_;
  }

  void Complain(const std::string& text) {
    ++violations_;
    Report("violation: " + function_ + ": " + text);
  }

  [[nodiscard]] const std::string& last_error() const { return last_error_; }

 private:
  /// Raises what the settings have for this call.
  void FailOnPurpose() {
    on_purpose_ = false;
    if (!device_) {
      return;
    }
    const std::uint64_t number = ++calls_[function_];
    for (const FailingCall& call : settings_.failing) {
      if (call.function == function_ && (call.call == 0 || call.call == number)) {
        on_purpose_ = true;
        if (function_ == "PassThruOpen") {
          device_.reset();
        }
        throw Refusal(static_cast<Status>(call.status), "the simulator was told to fail here");
      }
    }
  }

  void Leave() {
    if (const SimulatedEcu* const ecu = device_->Ecu()) {
      FlashFile(settings_.memory_file, settings_.size).Save(*ecu);
    }
    Report("closed with " + std::to_string(violations_) + " violations");
    device_.reset();
  }

  void Report(const std::string& line) const {
    if (!settings_.report.empty()) {
      std::ofstream(Utf8Path(settings_.report), std::ios::app) << line << '\n';
    }
  }

  std::mutex mutex_;
  Settings settings_;
  std::optional<Device> device_;
  std::map<std::string, std::uint64_t> calls_;
  std::uint64_t violations_ = 0;
  std::string function_;
  std::string last_error_ = "nothing failed yet";
  bool on_purpose_ = false;
};

Library& TheLibrary() {
  static Library library;
  return library;
}

void RequireAll(std::initializer_list<const void*> pointers) {
  if (std::find(pointers.begin(), pointers.end(), nullptr) != pointers.end()) {
    throw Refusal(kNullParameter, "a pointer is null");
  }
}

std::uint32_t Narrow(Word word) {
  if (word > 0xFFFFFFFF) {
    throw Refusal(kFailed, "a number has more than 32 bits");
  }
  return static_cast<std::uint32_t>(word);
}

Frame FrameOf(const RawMessage& raw) {
  if (raw.size > raw.data.size()) {
    throw Refusal(kInvalidMessage, "the size is larger than a message");
  }
  return {
      .protocol = Narrow(raw.protocol),
      .rx_status = Narrow(raw.rx_status),
      .tx_flags = Narrow(raw.tx_flags),
      .data = Bytes(raw.data.begin(), raw.data.begin() + static_cast<std::ptrdiff_t>(raw.size))};
}

void Store(const Frame& frame, RawMessage& raw) {
  raw.protocol = frame.protocol;
  raw.rx_status = frame.rx_status;
  raw.tx_flags = frame.tx_flags;
  raw.timestamp = frame.timestamp;
  raw.size = static_cast<Word>(frame.data.size());
  raw.extra_index = raw.size;
  std::copy(frame.data.begin(), frame.data.end(), raw.data.begin());
}

void StoreText(const std::string& text, char* target) {
  const std::size_t size = std::min(text.size(), kTextSize - 1);
  std::copy_n(text.begin(), size, target);
  target[size] = '\0';
}

Status Read(Word channel, RawMessage* messages, Word* count, Word timeout) {
  Device& device = TheLibrary().Channel(channel);
  RequireAll({messages, count});
  const Word most = std::exchange(*count, 0);
  if (most == 0) {
    TheLibrary().Complain("the count is 0");
    return kBufferEmpty;
  }
  if (timeout == 0) {
    TheLibrary().Complain("the timeout is 0, which waits for ever in some libraries");
  }
  Status status = kNoError;
  const std::vector<Frame> frames =
      device.Read(Narrow(channel), most, std::chrono::milliseconds(Narrow(timeout)), status);
  for (const Frame& frame : frames) {
    Store(frame, messages[*count]);
    ++*count;
  }
  return status;
}

Status Write(Word channel, const RawMessage* messages, Word* count, Word timeout) {
  Device& device = TheLibrary().Channel(channel);
  RequireAll({messages, count});
  const Word most = std::exchange(*count, 0);
  if (most == 0 || most > 1000) {
    TheLibrary().Complain("the count is " + std::to_string(most));
    return kFailed;
  }
  std::vector<Frame> frames;
  for (Word i = 0; i < most; ++i) {
    frames.push_back(FrameOf(messages[i]));
  }
  std::size_t sent = 0;
  const auto store = [&] { *count = static_cast<Word>(sent); };
  try {
    device.Write(Narrow(channel), frames, std::chrono::milliseconds(Narrow(timeout)), sent);
  } catch (const Refusal&) {
    store();
    throw;
  }
  store();
  return kNoError;
}

Status Configure(Device& device, Word channel, Word id, const ParameterList<Word>* list) {
  RequireAll({list});
  RequireAll({list->parameters});
  if (list->count == 0 || list->count > 100) {
    throw Refusal(kInvalidIoctlValue, "the list has no parameters, or too many");
  }
  for (Word i = 0; i < list->count; ++i) {
    Parameter<Word>& parameter = list->parameters[i];
    if (id == kSetConfig) {
      device.SetParameter(Narrow(channel), Narrow(parameter.name), Narrow(parameter.value));
    } else {
      parameter.value = device.GetParameter(Narrow(channel), Narrow(parameter.name));
    }
  }
  return kNoError;
}

Status FastInit(Device& device, Word channel, const RawMessage* request, RawMessage* reply) {
  if (request == nullptr) {
    static_cast<void>(device.FastInit(Narrow(channel), nullptr));
    return kNoError;
  }
  RequireAll({reply});
  const Frame frame = FrameOf(*request);
  Store(device.FastInit(Narrow(channel), &frame).value(), *reply);
  return kNoError;
}

Status Control(Word handle, Word id, void* input, void* output) {
  if (id == kReadBatteryVoltage) {
    Device& device = TheLibrary().Opened(handle);
    RequireAll({output});
    *static_cast<Word*>(output) = device.Millivolts();
    return kNoError;
  }
  Device& device = TheLibrary().Channel(handle);
  const std::uint32_t channel = Narrow(handle);
  switch (id) {
    case kGetConfig:
    case kSetConfig:
      return Configure(device, handle, id, static_cast<const ParameterList<Word>*>(input));
    case kFastInit:
      return FastInit(device, handle, static_cast<const RawMessage*>(input),
                      static_cast<RawMessage*>(output));
    case kFiveBaudInit:
      return kNotSupported;
    case kClearTransmitBuffer:
      return kNoError;
    case kClearReceiveBuffer:
      device.ClearReceiveBuffer(channel);
      return kNoError;
    case kClearPeriodicMessages:
      device.ClearPeriodic(channel);
      return kNoError;
    case kClearMessageFilters:
      device.ClearFilters(channel);
      return kNoError;
    default:
      throw Refusal(kInvalidIoctlId, "there is no such ioctl");
  }
}

}  // namespace

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruOpen(void* name, Word* device) {
  return TheLibrary().Call("PassThruOpen", [&] {
    RequireAll({device});
    if (name != nullptr) {
      TheLibrary().Complain("the name of the adapter is reserved");
    }
    TheLibrary().Open();
    *device = kDevice;
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruClose(Word device) {
  return TheLibrary().Call("PassThruClose", [&] {
    static_cast<void>(TheLibrary().Opened(device));
    TheLibrary().Close();
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruConnect(Word device, Word protocol,
                                                                 Word flags, Word baud,
                                                                 Word* channel) {
  return TheLibrary().Call("PassThruConnect", [&] {
    Device& opened = TheLibrary().Opened(device);
    RequireAll({channel});
    *channel = opened.Connect(Narrow(protocol), Narrow(flags), Narrow(baud));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruDisconnect(Word channel) {
  return TheLibrary().Call("PassThruDisconnect", [&] {
    TheLibrary().Channel(channel).Disconnect(Narrow(channel));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruReadMsgs(Word channel,
                                                                  RawMessage* messages, Word* count,
                                                                  Word timeout) {
  return TheLibrary().Call("PassThruReadMsgs",
                           [&] { return Read(channel, messages, count, timeout); });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruWriteMsgs(Word channel,
                                                                   RawMessage* messages,
                                                                   Word* count, Word timeout) {
  return TheLibrary().Call("PassThruWriteMsgs",
                           [&] { return Write(channel, messages, count, timeout); });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruStartPeriodicMsg(Word channel,
                                                                          RawMessage* message,
                                                                          Word* id, Word interval) {
  return TheLibrary().Call("PassThruStartPeriodicMsg", [&] {
    Device& device = TheLibrary().Channel(channel);
    RequireAll({message, id});
    *id = device.StartPeriodic(Narrow(channel), FrameOf(*message), Narrow(interval));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruStopPeriodicMsg(Word channel, Word id) {
  return TheLibrary().Call("PassThruStopPeriodicMsg", [&] {
    TheLibrary().Channel(channel).StopPeriodic(Narrow(channel), Narrow(id));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruStartMsgFilter(Word channel, Word type,
                                                                        RawMessage* mask,
                                                                        RawMessage* pattern,
                                                                        RawMessage* flow_control,
                                                                        Word* id) {
  return TheLibrary().Call("PassThruStartMsgFilter", [&] {
    Device& device = TheLibrary().Channel(channel);
    RequireAll({mask, pattern, id});
    const std::optional<Frame> flow =
        flow_control == nullptr ? std::nullopt : std::optional(FrameOf(*flow_control));
    *id = device.StartFilter(Narrow(channel), Narrow(type), FrameOf(*mask), FrameOf(*pattern),
                             flow ? &*flow : nullptr);
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruStopMsgFilter(Word channel, Word id) {
  return TheLibrary().Call("PassThruStopMsgFilter", [&] {
    TheLibrary().Channel(channel).StopFilter(Narrow(channel), Narrow(id));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruSetProgrammingVoltage(Word device,
                                                                               Word pin,
                                                                               Word millivolts) {
  return TheLibrary().Call("PassThruSetProgrammingVoltage", [&] {
    TheLibrary().Opened(device).SetProgrammingVoltage(Narrow(pin), Narrow(millivolts));
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruReadVersion(Word device, char* firmware,
                                                                     char* library, char* api) {
  return TheLibrary().Call("PassThruReadVersion", [&] {
    static_cast<void>(TheLibrary().Opened(device));
    RequireAll({firmware, library, api});
    StoreText("1.0 simulated", firmware);
    StoreText("1.0", library);
    StoreText("04.04", api);
    return kNoError;
  });
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruGetLastError(char* text) {
  if (text == nullptr) {
    return TheLibrary().Call("PassThruGetLastError", [&] {
      RequireAll({text});
      return kNoError;
    });
  }
  StoreText(TheLibrary().last_error(), text);
  return static_cast<Result>(kNoError);
}

QUILLMARK_EXPORT Result QUILLMARK_PASS_THRU_CALL PassThruIoctl(Word handle, Word id, void* input,
                                                               void* output) {
  return TheLibrary().Call("PassThruIoctl:" + std::to_string(id),
                           [&] { return Control(handle, id, input, output); });
}

}  // namespace quillmark::host::pass_thru
