// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/bus/pass_thru_api.h"
#include "quillmark/host/bus.h"

namespace quillmark::host {

/// A message without the widths of a library.
struct PassThruMessage {
  std::uint32_t rx_status = 0;
  std::uint32_t tx_flags = 0;
  Bytes data{};
};

/// What one read brought.
struct PassThruReading {
  std::optional<PassThruMessage> message{};
  /// The adapter had no room for what arrived: messages are lost.
  bool overflow = false;
};

/// A pass-thru adapter that is open, with at most one channel. Every operation raises BusError with
/// the name of the function, that of the status and the adapter's own text where the library
/// returns a status that is not mentioned. Threads: used by one thread at a time.
class PassThruLink {
 public:
  using Milliseconds = std::chrono::milliseconds;

  PassThruLink() = default;
  PassThruLink(const PassThruLink&) = delete;
  PassThruLink& operator=(const PassThruLink&) = delete;
  PassThruLink(PassThruLink&&) = delete;
  PassThruLink& operator=(PassThruLink&&) = delete;
  /// Disconnects and closes.
  virtual ~PassThruLink() = default;

  [[nodiscard]] virtual AdapterVersions ReadVersions() = 0;
  /// Nothing if the adapter cannot tell.
  [[nodiscard]] virtual std::optional<std::uint32_t> ReadBatteryMillivolts() = 0;

  /// Opens the channel; one that is open is closed before.
  virtual void Connect(std::uint32_t protocol, std::uint32_t flags, std::uint32_t baud) = 0;
  /// Lets messages pass whose first bytes are `pattern` where `mask` has ones.
  virtual void StartPassFilter(std::uint32_t tx_flags, const Bytes& mask, const Bytes& pattern) = 0;
  virtual void ClearReceiveBuffer() = 0;
  virtual void SetParameter(std::uint32_t parameter, std::uint32_t value) = 0;
  [[nodiscard]] virtual std::uint32_t GetParameter(std::uint32_t parameter) = 0;

  /// Returns once the message is on the bus.
  virtual void Write(const PassThruMessage& message, Milliseconds timeout) = 0;
  /// Waits for a message. A `timeout` of less than 1 ms counts as 1 ms: 0 means for ever to one
  /// library.
  [[nodiscard]] virtual PassThruReading Read(Milliseconds timeout) = 0;
  /// Wakes the ECU with a fast initialisation whose first message is `request`. The reply; nothing
  /// without one, where `failure` says how that was reported. A null `request` makes the wake-up
  /// alone.
  [[nodiscard]] virtual std::optional<PassThruMessage> FastInit(const PassThruMessage* request,
                                                                std::string& failure) = 0;
};

/// Loads the library in the file `path`, whose `unsigned long` has `width` bits, 32 or 64, and
/// opens its adapter.
[[nodiscard]] std::unique_ptr<PassThruLink> OpenPassThruLink(const std::string& path,
                                                             std::uint32_t width);

}  // namespace quillmark::host
