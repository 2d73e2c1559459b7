// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>

#include "host/adapters/k_line_bus.h"
#include "host/adapters/pass_thru_link.h"
#include "host/adapters/real_time_bus.h"

namespace quillmark::host {

/// An adapter behind a SAE J2534 library, which makes the timing of the bus itself. It carries one
/// transport form.
///
/// On a K line a break and the wait behind it are held until the first message: together they
/// become one fast initialisation. Checksums are passed on unchecked, in both directions.
class PassThruBus : public RealTimeBus {
 public:
  /// `form` is plain CAN or K line; `bit_rate` is that of the bus; `timing` matters to a K line
  /// alone.
  PassThruBus(std::unique_ptr<PassThruLink> link, TransportForm form, std::uint32_t bit_rate,
              const KLineTiming& timing);

  void Select(const Exchange& exchange) override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] AdapterVersions Versions() override { return link_->ReadVersions(); }
  [[nodiscard]] std::optional<std::uint32_t> BatteryMillivolts() override {
    return link_->ReadBatteryMillivolts();
  }

 private:
  /// A wake-up that waits for its message.
  struct WakeUp {
    std::chrono::milliseconds low;
    std::optional<std::chrono::milliseconds> high;
  };

  void ConnectCan(const Exchange& exchange);
  void ConnectKLine();
  /// Raises BusError if the adapter keeps another value.
  void SetPause(std::uint32_t parameter, const char* name, std::chrono::milliseconds pause);
  [[nodiscard]] PassThruMessage MessageOf(ByteView frame) const;
  [[nodiscard]] std::chrono::milliseconds WriteLimit(std::size_t size) const;
  void Initialise(const PassThruMessage* request);
  /// Keeps a frame of the exchange; drops everything else, echoes and indications among it.
  void Keep(const PassThruMessage& message);

  std::unique_ptr<PassThruLink> link_;
  TransportForm form_;
  std::uint32_t bit_rate_;
  KLineTiming timing_;
  std::optional<Exchange> exchange_;
  std::optional<WakeUp> wake_up_;
  std::deque<Bytes> received_;
  bool is_in_doubt_ = false;
};

}  // namespace quillmark::host
