// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmark/export.h"
#include "quillmark/host/bytes.h"

/// @namespace quillmark::host
/// What a host has beside the component: buses and their adapters, the runner and the programmer,
/// image files, traces, reports and a simulated ECU.
namespace quillmark::host {

/// A span of a bus's time, or a moment as the span since a fixed but arbitrary origin.
using Duration = std::chrono::microseconds;

/// How diagnostic messages travel: ISO 15765-2 on CAN, cut into acknowledged pieces for a CAN
/// gateway, or ISO 14230-2 on a K line.
enum class TransportForm : std::uint8_t {
  kPlainCan,  ///< ISO 15765-2 on CAN
  kGateway,   ///< CAN frames of a gateway, which acknowledges each piece of a message
  kKLine,     ///< ISO 14230-2
};

/// "can", "gateway" or "kline", as on the command line, in Python and in artifacts.
[[nodiscard]] QUILLMARK_API const char* NameOf(TransportForm form);

/// The form of a name; nothing for any other text.
[[nodiscard]] QUILLMARK_API std::optional<TransportForm> TransportFormOfName(std::string_view name);

/// Which way a frame travels.
enum class Direction : std::uint8_t {
  kToEcu,     ///< the tester sends
  kToTester,  ///< the ECU sends
};

/// With whom frames are exchanged.
struct Exchange {
  /// Says what the numbers mean.
  TransportForm form = TransportForm::kPlainCan;
  /// Plain CAN: the identifier to receive on (above 0x7FF an extended one). Gateway: the channel.
  /// K line: 0.
  std::uint32_t receive = 0;
  /// Plain CAN: the identifier to send on. Gateway: the line. K line: 0.
  std::uint32_t send = 0;

  friend bool operator==(const Exchange&, const Exchange&) = default;
};

/// The bus itself failed: the adapter is gone, the port cannot be written. A silent ECU is not such
/// an error.
class QUILLMARK_API BusError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A frame was given to the bus, but may not have been sent correctly. The bus goes on; the ECU's
/// answer shows whether it has received the frame.
class QUILLMARK_API DoubtfulFrame : public BusError {
 public:
  using BusError::BusError;
};

/// What an adapter says of its versions, in its own words; empty texts where it says nothing.
struct AdapterVersions {
  std::string firmware{};  ///< of the adapter
  std::string library{};   ///< of the library that reaches it
  std::string api{};       ///< of the interface that this library has
};

/// Carries the frames of one exchange at a time. A frame is a CAN frame's data (1 to 8 bytes) or
/// one whole K line message, from its format byte to its checksum.
///
/// Every operation raises BusError where the bus fails. Threads: used by one thread at a time.
class QUILLMARK_API Bus {
 public:
  Bus() = default;
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  Bus(Bus&&) = delete;
  Bus& operator=(Bus&&) = delete;
  virtual ~Bus() = default;

  /// Makes `exchange` the one that all following frames belong to.
  virtual void Select(const Exchange& exchange) = 0;

  /// Returns once the frame is on the wire. Raises DoubtfulFrame if it may not be.
  virtual void Send(ByteView frame) = 0;

  /// The next frame of the exchange; nothing if none arrived within `timeout`. With a timeout of 0
  /// this is a frame that has arrived already.
  [[nodiscard]] virtual std::optional<Bytes> Receive(std::chrono::milliseconds timeout) = 0;

  /// Lets at least `time` pass.
  virtual void Wait(std::chrono::milliseconds time) = 0;

  /// Pulls the K line low for `low`, which wakes the ECU. On a CAN bus: BusError.
  virtual void Break(std::chrono::milliseconds low) = 0;

  /// The bus's time; it never goes back.
  [[nodiscard]] virtual Duration Now() const = 0;

  /// What the adapter says of itself.
  [[nodiscard]] virtual AdapterVersions Versions() { return {}; }

  /// The voltage of the vehicle's battery in millivolts; nothing from an adapter that cannot tell.
  [[nodiscard]] virtual std::optional<std::uint32_t> BatteryMillivolts() { return std::nullopt; }
};

}  // namespace quillmark::host
