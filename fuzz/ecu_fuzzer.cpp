// SPDX-License-Identifier: MIT
// The simulated ECU: whatever frames, breaks, resets and pauses reach it, it answers in frames of
// its form, always comes to rest, and does not change its memory for a tester without the key.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

#include "fuzz/support/law.h"
#include "host/ecu/k_message.h"
#include "quillmark/host/simulated_ecu.h"

namespace quillmark::fuzz {
namespace {

using host::Bytes;
using host::ByteView;
using host::Duration;
using host::TransportForm;
using std::chrono::milliseconds;

constexpr std::uint8_t kOldContent = 0x5A;
constexpr std::uint32_t kFlashStart = 0x1000;
constexpr std::uint32_t kFlashSize = 0x100;
constexpr std::uint8_t kTester = 0xF1;

/// A simulated ECU, a clock, and a tester that sends what the input says.
class Bench {
 public:
  explicit Bench(FuzzedDataProvider& data) : data_(data), ecu_(Options()) {}

  void Run() {
    for (int left = 100; left > 0 && data_.remaining_bytes() > 0; --left) {
      Act();
    }
    TakeFrames(kManyFrames);
    Law(!ecu_.NextDue(), "an ECU that is left alone comes to rest");
    RequireMemory();
  }

 private:
  static constexpr int kManyFrames = 2000;

  host::EcuOptions Options() {
    constexpr std::array kForms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                   TransportForm::kKLine};
    host::EcuOptions options;
    options.form = data_.PickValueInArray(kForms);
    options.address = options.form == TransportForm::kGateway ? 0x6E : 0x11;
    options.block_size = data_.ConsumeIntegralInRange<std::uint8_t>(0, 3);
    options.separation_time = data_.ConsumeBool() ? 0 : data_.ConsumeIntegral<std::uint8_t>();
    options.needs_break = data_.ConsumeBool();
    options.timing.erase_time = milliseconds(data_.ConsumeIntegralInRange(0, 1));
    options.timing.check_time = milliseconds(data_.ConsumeIntegralInRange(0, 1));
    options.areas = {
        {.identifier = 0, .start = kFlashStart, .size = kFlashSize, .content = kOldContent}};
    options.key = [this](const Bytes&) {
      key_was_asked_for_ = true;
      return Bytes{1, 2, 3, 4};
    };
    if (data_.ConsumeBool()) {
      options.misbehaviour.pending[data_.ConsumeIntegral<std::uint8_t>()] =
          data_.ConsumeIntegralInRange(0, 20);
    }
    form_ = options.form;
    address_ = options.address;
    return options;
  }

  void Act() {
    switch (data_.ConsumeIntegralInRange(0, 9)) {
      case 0:
        return Send(Input(12));
      case 1:
        return Pass(milliseconds(data_.ConsumeIntegralInRange(0, 6000)));
      case 2:
        return TakeFrames(1);
      case 3:
        return ecu_.OnBreak(milliseconds(data_.ConsumeIntegralInRange(20, 30)), now_);
      case 4:
        return ecu_.Reset(now_);
      case 5:
        return OpenAndUnlock();
      case 6:
        return TakeFrames(kManyFrames);
      default:
        return Ask(Input(data_.ConsumeBool() ? 12 : 300));
    }
  }

  Bytes Input(std::size_t most) {
    return data_.ConsumeBytes<std::uint8_t>(data_.ConsumeIntegralInRange<std::size_t>(0, most));
  }

  void OpenAndUnlock() {
    ecu_.OnBreak(milliseconds(25), now_);
    Pass(milliseconds(25));
    for (const Bytes& request :
         {form_ == TransportForm::kPlainCan ? Bytes{0x10, 0x85} : Bytes{0x81}, Bytes{0x27, 0x81},
          Bytes{0x27, 0x82, 1, 2, 3, 4}}) {
      Ask(request);
    }
  }

  /// A request in its frames, and all that comes back.
  void Ask(const Bytes& request) {
    if (form_ == TransportForm::kPlainCan) {
      AskOnCan(request);
    } else if (!request.empty() && request.size() <= 255) {
      AskInKStyle(request);
    }
    TakeFrames(kManyFrames);
  }

  void AskOnCan(const Bytes& request) {
    Bytes frame;
    if (request.size() <= 7) {
      frame = {static_cast<std::uint8_t>(request.size())};
      frame.insert(frame.end(), request.begin(), request.end());
      return Send(frame);
    }
    frame = {static_cast<std::uint8_t>(0x10 | request.size() >> 8U),
             static_cast<std::uint8_t>(request.size())};
    frame.insert(frame.end(), request.begin(), request.begin() + 6);
    Send(frame);
    std::uint8_t sequence = 1;
    for (std::size_t at = 6; at < request.size(); at += 7) {
      TakeFrames(1);
      Pass(milliseconds(127));
      const ByteView part =
          ByteView(request).subspan(at, std::min<std::size_t>(7, request.size() - at));
      frame = {static_cast<std::uint8_t>(0x20 | (sequence++ & 0x0FU))};
      frame.insert(frame.end(), part.begin(), part.end());
      Send(frame);
    }
  }

  void AskInKStyle(const Bytes& request) {
    Bytes message = host::EncodeKMessage({.target = address_, .source = kTester, .data = request});
    if (form_ == TransportForm::kKLine) {
      return Send(message);
    }
    message.insert(message.begin(), static_cast<std::uint8_t>((message.size() + 8) / 8));
    for (std::size_t at = 0; at < message.size(); at += 8) {
      Send(ByteView(message).subspan(at, std::min<std::size_t>(8, message.size() - at)));
      TakeFrames(1);
    }
  }

  void Send(ByteView frame) {
    ecu_.OnFrame(frame, now_);
    Pass(milliseconds(1));
  }

  void Pass(Duration time) { now_ += time; }

  /// Takes what the ECU sends and answers it as a tester does, so that it continues.
  void TakeFrames(int most) {
    for (; most > 0; --most) {
      const std::optional<Duration> due = ecu_.NextDue();
      if (!due) {
        return;
      }
      now_ = std::max(now_, *due);
      const Bytes frame = ecu_.TakeFrame(now_);
      RequireFrame(frame);
      Acknowledge(frame);
    }
  }

  void RequireFrame(const Bytes& frame) const {
    switch (form_) {
      case TransportForm::kPlainCan:
        return Law(frame.size() == 8, "an ECU's CAN frames have 8 bytes");
      case TransportForm::kGateway:
        return Law(!frame.empty() && frame.size() <= 8, "a gateway's frames have 1 to 8 bytes");
      default:
        return Law(host::DecodeKMessage(frame)->source == address_, "a K line message is whole");
    }
  }

  void Acknowledge(const Bytes& frame) {
    if (form_ == TransportForm::kPlainCan && frame[0] >> 4U == 1) {
      ecu_.OnFrame(Bytes{0x30, 0, 0}, now_);
    } else if (form_ == TransportForm::kGateway && frame != Bytes{0x81}) {
      ecu_.OnFrame(Bytes{0x81}, now_);
    }
  }

  void RequireMemory() const {
    const Bytes cells = ecu_.ReadMemory(kFlashStart, kFlashSize);
    Law(key_was_asked_for_ || cells == Bytes(kFlashSize, kOldContent),
        "without a key the memory stays as it was");
  }

  FuzzedDataProvider& data_;
  TransportForm form_ = TransportForm::kPlainCan;
  std::uint8_t address_ = 0;
  bool key_was_asked_for_ = false;
  host::SimulatedEcu ecu_;
  Duration now_{};
};

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quillmark::fuzz::Bench(provider).Run();
  return 0;
}
